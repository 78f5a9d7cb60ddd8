// What the library's JSON memory costs and keeps: deleting allocates
// nothing, the pool holds nothing once the last node or token is freed,
// threads are independent, the encoder reserves in proportion to what it
// writes, and (in the sanitizer build, where the pool is bypassed) a node
// used after it was freed is reported.

#include <gtest/gtest.h>

#include <condition_variable>
#include <cstdio>
#include <deque>
#include <future>
#include <mutex>
#include <new>
#include <string>
#include <thread>
#include <vector>

#include "JasonParser/JasonParser.h"
#include "JasonParser/JasonPool.h"
#include "testing/AllocationFaults.h"
#include "testing/JasonTestDump.h"

namespace {

// Builds `depth` levels: arrays and objects alternately, each object with
// a string pair, a number and a constant beside the pair leading deeper.
CJasonTreeArray* BuildDeepMixedTree(int depth) {
  CJasonTreeArray* top = new CJasonTreeArray;
  CJasonTreeNode* current = top;
  for (int level = 1; level < depth; ++level) {
    CJasonTreeValue* child;
    if (level % 2 == 1) {
      CJasonTreeObject* object = new CJasonTreeObject;
      object->pairs.push_back(CreatePairFromStrings("name", "a text longer than the inline buffer"));
      CJasonTreePair* number = new CJasonTreePair;
      number->name = CreateStringFromString("n");
      CJasonTreeNumber* value = new CJasonTreeNumber;
      value->text = "1.5";
      number->value = value;
      object->pairs.push_back(number);
      child = object;
    } else {
      CJasonTreeArray* array = new CJasonTreeArray;
      CJasonTreeConst* constant = new CJasonTreeConst;
      constant->text = "null";
      array->values.push_back(constant);
      child = array;
    }
    if (current->kind == NodeKind::Array) {
      static_cast<CJasonTreeArray*>(current)->values.push_back(child);
    } else {
      CJasonTreePair* pair = new CJasonTreePair;
      pair->name = CreateStringFromString("next");
      pair->value = child;
      static_cast<CJasonTreeObject*>(current)->pairs.push_back(pair);
    }
    current = child;
  }
  return top;
}

TEST(JasonMemory, DeletingADeepTreeAllocatesNothing) {
  for (int depth : {1, 2, 3, 100, 100000}) {
    SCOPED_TRACE(depth);
    CJasonTreeRoot* root = new CJasonTreeRoot;
    root->value = BuildDeepMixedTree(depth);
    const long before = orvtest::NewCallsOnThisThread();
    delete root;
    EXPECT_EQ(orvtest::NewCallsOnThisThread(), before);
  }
}

TEST(JasonMemory, DeletingATreeWorksWhileAllocationFails) {
  CJasonTreeArray* tree = BuildDeepMixedTree(100000);
  std::string text = "[{\"a\":[1,2,{\"b\":\"a text longer than the inline buffer\"}]},[[[]]]]";
  CJasonParser* parser = new CJasonParser;
  CJasonTreeRoot* parsed = parser->ParseJasonText(text);
  ASSERT_NE(parsed, nullptr);
  orvtest::FailNewOnThisThread(true);
  EXPECT_THROW(static_cast<void>(CreateStringFromString("a text longer than the inline buffer")), std::bad_alloc);
  delete tree;
  delete parsed;
  delete parser;
  orvtest::FailNewOnThisThread(false);
}

TEST(JasonMemory, PoolHoldsNothingAfterTheLastFree) {
  if (!JasonPoolIsInUse()) GTEST_SKIP() << "the pool is bypassed in AddressSanitizer builds";
  const long start = JasonPoolChunkBalanceOfThisThread();
  {
    CJasonTreeString* node = CreateStringFromString("x");
    EXPECT_EQ(JasonPoolChunkBalanceOfThisThread(), start + 1);
    delete node;
    EXPECT_EQ(JasonPoolChunkBalanceOfThisThread(), start);
  }
  {
    // Many chunks of several sizes, freed in an order unlike allocation.
    std::string text = "[";
    for (int i = 0; i < 20000; ++i) text += i == 0 ? "{\"k\":[1,\"s\",true]}" : ",{\"k\":[1,\"s\",true]}";
    text += "]";
    CJasonParser* parser = new CJasonParser;
    CJasonTreeRoot* root = parser->ParseJasonText(text);
    ASSERT_NE(root, nullptr);
    EXPECT_GT(JasonPoolChunkBalanceOfThisThread(), start + 10);
    delete parser;
    EXPECT_GT(JasonPoolChunkBalanceOfThisThread(), start);
    delete root;
    EXPECT_EQ(JasonPoolChunkBalanceOfThisThread(), start);
  }
  {
    // A failed parse frees its partial nodes at once and its tokens with
    // the parser.
    std::string text = "[1, 2, {\"a\" : }]";
    CJasonParser* parser = new CJasonParser;
    EXPECT_EQ(parser->ParseJasonText(text), nullptr);
    delete parser;
    EXPECT_EQ(JasonPoolChunkBalanceOfThisThread(), start);
  }
  {
    // Slots freed and reused within one chunk, then the last one freed.
    std::vector<CJasonTreeString*> nodes;
    for (int round = 0; round < 3; ++round) {
      for (int i = 0; i < 1000; ++i) nodes.push_back(CreateStringFromString("x"));
      for (std::size_t i = 0; i < nodes.size(); i += 2) delete nodes[i];
      std::vector<CJasonTreeString*> kept;
      for (std::size_t i = 1; i < nodes.size(); i += 2) kept.push_back(nodes[i]);
      nodes.swap(kept);
    }
    for (CJasonTreeString* node : nodes) delete node;
    EXPECT_EQ(JasonPoolChunkBalanceOfThisThread(), start);
  }
}

// A small answer like the agents build, and its compact text written by
// hand from the layout rules.
CJasonTreeObject* BuildAnswer(const std::string& name) {
  CJasonTreeObject* object = new CJasonTreeObject;
  object->pairs.push_back(CreatePairFromStrings("name", name));
  CJasonTreeArray* list = new CJasonTreeArray;
  list->values.push_back(CreateStringFromString("x"));
  list->values.push_back(CreateStringFromString("y\n"));
  CJasonTreePair* pair = new CJasonTreePair;
  pair->name = CreateStringFromString("list");
  pair->value = list;
  object->pairs.push_back(pair);
  return object;
}

std::string AnswerText(const std::string& name) {
  return "{ \"name\" : \"" + name + "\", \"list\" : [ \"x\", \"y\\n\"]}";
}

// Builds, encodes, parses and re-encodes `rounds` times; returns the number
// of texts that differ from the expected one.
int BuildAndParse(const std::string& name, int rounds) {
  const std::string expected = AnswerText(name);
  int differences = 0;
  for (int i = 0; i < rounds; ++i) {
    CJasonTreeObject* built = BuildAnswer(name);
    std::string text;
    built->EncodeToString(text, true, 0);
    delete built;
    CJasonParser parser;
    CJasonTreeRoot* root = parser.ParseJasonText(text);
    std::string again;
    if (root != nullptr) root->EncodeToString(again, true, 0);
    delete root;
    if (text != expected || again != expected) ++differences;
  }
  return differences;
}

TEST(JasonMemory, TwoThreadsBuildAndParseAtOnce) {
  int differences[2] = {-1, -1};
  long balances[2] = {-1, -1};
  auto work = [&](int which) {
    differences[which] = BuildAndParse(which == 0 ? "first" : "second one, longer than sixteen", 20000);
    balances[which] = JasonPoolChunkBalanceOfThisThread();
  };
  std::thread first(work, 0);
  std::thread second(work, 1);
  first.join();
  second.join();
  EXPECT_EQ(differences[0], 0);
  EXPECT_EQ(differences[1], 0);
  EXPECT_EQ(balances[0], 0);
  EXPECT_EQ(balances[1], 0);
}

TEST(JasonMemory, NodesFreedOnAnotherThreadGoBackToTheirChunks) {
  if (!JasonPoolIsInUse()) GTEST_SKIP() << "the pool is bypassed in AddressSanitizer builds";
  // A thread builds trees that this thread deletes, then goes on building
  // and deleting its own; once it has freed its own last node, the chunks
  // of both threads are given back.
  const long start = JasonPoolChunkBalanceOfThisThread();
  std::vector<CJasonTreeObject*> handed(2000, nullptr);
  std::promise<void> built;
  std::promise<void> deleted;
  long builderBalance = -1;
  std::thread builder([&] {
    for (CJasonTreeObject*& tree : handed) tree = BuildAnswer("handed over to another thread");
    built.set_value();
    deleted.get_future().wait();
    EXPECT_EQ(BuildAndParse("afterwards", 10), 0);
    builderBalance = JasonPoolChunkBalanceOfThisThread();
  });
  built.get_future().wait();
  for (CJasonTreeObject* tree : handed) delete tree;
  const long deleterBalance = JasonPoolChunkBalanceOfThisThread() - start;
  deleted.set_value();
  builder.join();
  // Full chunks were given back here, the builder's current ones there.
  EXPECT_LT(deleterBalance, 0);
  EXPECT_EQ(builderBalance + deleterBalance, 0);
}

TEST(JasonMemory, TreesDeletedOnAnotherThreadWhileTheBuilderGoesOn) {
  if (!JasonPoolIsInUse()) GTEST_SKIP() << "the pool is bypassed in AddressSanitizer builds";
  // The builder allocates from its current chunks while this thread frees
  // slots of the same chunks; at the end the builder frees its own last
  // node, and the chunks of both threads are given back.
  const long start = JasonPoolChunkBalanceOfThisThread();
  std::mutex mutex;
  std::condition_variable changed;
  std::deque<CJasonTreeObject*> queue;
  bool done = false;
  std::promise<void> drained;
  long builderBalance = -1;
  std::thread builder([&] {
    for (int i = 0; i < 20000; ++i) {
      CJasonTreeObject* tree = BuildAnswer("built here, deleted there");
      std::lock_guard<std::mutex> lock(mutex);
      queue.push_back(tree);
      changed.notify_one();
    }
    {
      std::lock_guard<std::mutex> lock(mutex);
      done = true;
      changed.notify_one();
    }
    drained.get_future().wait();
    EXPECT_EQ(BuildAndParse("afterwards", 10), 0);
    builderBalance = JasonPoolChunkBalanceOfThisThread();
  });
  int deleted = 0;
  for (;;) {
    std::unique_lock<std::mutex> lock(mutex);
    changed.wait(lock, [&] { return done || !queue.empty(); });
    if (queue.empty()) break;
    CJasonTreeObject* tree = queue.front();
    queue.pop_front();
    lock.unlock();
    std::string text;
    tree->EncodeToString(text, true, 0);
    if (text == AnswerText("built here, deleted there")) ++deleted;
    delete tree;
  }
  drained.set_value();
  builder.join();
  EXPECT_EQ(deleted, 20000);
  EXPECT_EQ(builderBalance + (JasonPoolChunkBalanceOfThisThread() - start), 0);
}

TEST(JasonMemory, EncoderCapacityStaysProportional) {
  // Five thousand numbers, then 50 MB of blanks before the closing bracket.
  std::string text = "[";
  for (int i = 0; i < 5000; ++i) text += i == 0 ? "1" : ",1";
  text += std::string(50u * 1024 * 1024, ' ');
  text += "]";
  CJasonParser parser;
  CJasonTreeRoot* root = parser.ParseJasonText(text);
  ASSERT_NE(root, nullptr);
  std::string compact;
  for (int i = 0; i < 5000; ++i) compact += i == 0 ? "[ 1" : ", 1";
  compact += "]";
  std::string pretty = "[ ";
  for (int i = 0; i < 5000; ++i) pretty += i == 0 ? "\r\n    1" : ", \r\n    1";
  pretty += "\r\n]";
  struct Row {
    bool compact;
    std::string prefix;
    std::string expected;
  };
  const Row rows[] = {
      {true, "", compact},
      {false, "", pretty},
      {true, "already here: ", "already here: " + compact},
      {false, std::string(100000, 'p'), std::string(100000, 'p') + pretty},
  };
  for (const Row& row : rows) {
    std::string out = row.prefix;
    root->EncodeToString(out, row.compact, 0);
    EXPECT_EQ(out, row.expected);
    EXPECT_LE(out.capacity(), 2 * out.size());
  }
  delete root;
}

TEST(JasonMemory, RepeatedAppendsGrowTheStringGeometrically) {
  CJasonTreeObject* answer = BuildAnswer("n");
  std::string out;
  std::size_t growths = 0;
  std::size_t capacity = out.capacity();
  for (int i = 0; i < 10000; ++i) {
    answer->EncodeToString(out, true, 0);
    if (out.capacity() != capacity) ++growths;
    capacity = out.capacity();
  }
  EXPECT_EQ(out.size(), 10000 * AnswerText("n").size());
  EXPECT_LT(growths, 40u);
  EXPECT_LE(out.capacity(), 2 * out.size());
  delete answer;
}

#if defined(__SANITIZE_ADDRESS__)
TEST(JasonMemoryDeathTest, NodeUseAfterFreeIsReported) {
  EXPECT_DEATH(
      {
        // Were nodes pooled here, the second one would keep the chunk (and
        // so the freed slot) alive and the use would go unseen.
        CJasonTreeString* kept = CreateStringFromString("kept");
        CJasonTreeString* freed = CreateStringFromString("freed");
        CJasonTreeString* volatile stale = freed;
        delete freed;
        std::printf("%d\n", stale->kind);
        delete kept;
      },
      "heap-use-after-free");
}
#endif

}  // namespace
