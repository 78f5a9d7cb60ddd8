// Depth: documents parse as deep as the calling thread's stack allows and
// fail cleanly beyond it, on the default stack and on a small thread stack;
// trees of any depth (built by program code) are encoded, searched and
// deleted without exhausting the machine stack.

#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "JasonParser/JasonElementFinder.h"
#include "JasonParser/JasonParser.h"
#include "JasonParser/JasonTestDump.h"
#include "Utils/ThreadWithStack.h"

namespace {

std::string NestedArrays(int depth) { return std::string(depth, '[') + std::string(depth, ']'); }

std::string NestedObjects(int depth) {
  std::string text;
  for (int i = 0; i < depth; ++i) text += "{\"a\":";
  text += "1";
  text += std::string(depth, '}');
  return text;
}

bool Parses(std::string text) {
  CJasonParser parser;
  CJasonTreeRoot* root = parser.ParseJasonText(text);
  const bool ok = root != nullptr;
  delete root;
  return ok;
}

// Runs `body` on a new thread whose stack is `stackBytes` large and waits
// for it.
void RunOnThread(std::size_t stackBytes, const std::function<void()>& body) {
  ASSERT_TRUE(RunOnThreadWithStack(stackBytes, body));
}

TEST(JasonDepth, HundredThousandNestedArraysParseOnTheDefaultStack) {
  SKIP_DEEP_RECURSION_UNDER_THREAD_SANITIZER();
  auto check = [] {
    EXPECT_TRUE(Parses(NestedArrays(100000)));
    EXPECT_FALSE(Parses(std::string(100000, '[')));  // never closed
    EXPECT_FALSE(Parses(NestedArrays(100000) + "]"));
  };
  if (kSanitizerFrames) {
    // The sanitizer build is unoptimised and AddressSanitizer pads every
    // frame, so a level takes several times the stack of the shipped build;
    // there the same input runs on a thread with a stack large enough for it.
    RunOnThread(256u * 1024 * 1024, check);
  } else {
    check();
  }
}

TEST(JasonDepth, DeepObjectsAndMixedNestingParse) {
  SKIP_DEEP_RECURSION_UNDER_THREAD_SANITIZER();
  auto check = [] {
    EXPECT_TRUE(Parses(NestedObjects(10000)));
    std::string mixed;
    for (int i = 0; i < 10000; ++i) mixed += "{\"k\":[";
    mixed += "0";
    for (int i = 0; i < 10000; ++i) mixed += "]}";
    EXPECT_TRUE(Parses(mixed));
    EXPECT_FALSE(Parses(mixed + "]"));
  };
  if (kSanitizerFrames) {
    RunOnThread(256u * 1024 * 1024, check);  // as above: bigger frames there
  } else {
    check();
  }
}

TEST(JasonDepth, DeepDocumentsFailCleanlyOnASmallThreadStack) {
  RunOnThread(256u * 1024, [] {
    EXPECT_FALSE(Parses(NestedArrays(100000)));
    EXPECT_FALSE(Parses(NestedObjects(100000)));
    EXPECT_FALSE(Parses(std::string(100000, '[')));
    std::string mixed;
    for (int i = 0; i < 50000; ++i) mixed += "[{\"k\":";
    EXPECT_FALSE(Parses(mixed));
  });
}

TEST(JasonDepth, ShallowDocumentsStillParseOnASmallThreadStack) {
  RunOnThread(kSmallStackAboveMargin, [] {
    EXPECT_TRUE(Parses(NestedArrays(100)));
    EXPECT_TRUE(Parses(NestedObjects(100)));
  });
}

TEST(JasonDepth, ParserMembersWorkAfterADeepFailure) {
  SKIP_DEEP_RECURSION_UNDER_THREAD_SANITIZER();
  // Two million levels are beyond the default stack in every build.
  CJasonParser parser;
  std::string text = NestedArrays(2000000) + " []";
  EXPECT_EQ(parser.ParseJasonText(text), nullptr);
  // The parser keeps nothing of the failed descent: its members still
  // accept the last (shallow) array.
  int index = 4000000;
  CJasonTreeArray* array = parser.ParseJasonArray(index);
  ASSERT_NE(array, nullptr);
  EXPECT_EQ(index, 4000002);
  delete array;
}

// Builds arrays and objects alternately, `depth` containers in all; every
// object carries an "objID" naming its depth and its child as "relInfo".
CJasonTreeRoot* BuildDeepTree(int depth) {
  CJasonTreeRoot* root = new CJasonTreeRoot;
  CJasonTreeArray* top = new CJasonTreeArray;
  root->value = top;
  CJasonTreeObjectOrArray* current = top;
  for (int level = 1; level < depth; ++level) {
    CJasonTreeObjectOrArray* child;
    if (level % 2 == 1) {
      CJasonTreeObject* object = new CJasonTreeObject;
      object->pairs.push_back(CreatePairFromStrings("objID", std::to_string(level)));
      child = object;
    } else {
      child = new CJasonTreeArray;
    }
    if (current->kind == NodeKind::Array) {
      static_cast<CJasonTreeArray*>(current)->values.push_back(child);
    } else {
      CJasonTreePair* pair = new CJasonTreePair;
      pair->name = CreateStringFromString("relInfo");
      pair->value = child;
      static_cast<CJasonTreeObject*>(current)->pairs.push_back(pair);
    }
    current = child;
  }
  return root;
}

TEST(JasonDepth, MillionDeepBuiltTreeIsEncodedSearchedAndDeleted) {
  const int depth = 1000000;
  CJasonTreeRoot* root = BuildDeepTree(depth);
  std::string out;
  root->EncodeToString(out, true, 0);
  const std::string head = "[ { \"objID\" : \"1\", \"relInfo\" : [ { \"objID\" : \"3\", ";
  EXPECT_EQ(out.substr(0, head.size()), head);
  EXPECT_EQ(out.back(), ']');
  EXPECT_GT(out.size(), static_cast<std::size_t>(depth) * 3);

  CJasonElementFinder finder;
  finder.Visit(root);
  EXPECT_EQ(finder.elements.size(), static_cast<std::size_t>(depth / 2));
  ASSERT_EQ(finder.elements.count("1"), 1u);
  ASSERT_NE(finder.elements["1"], nullptr);
  EXPECT_EQ(finder.elements["1"]->kind, NodeKind::Array);
  EXPECT_EQ(finder.elements.count(std::to_string(depth - 1)), 1u);

  EXPECT_GT(DumpJasonTree(root).size(), static_cast<std::size_t>(depth));
  delete root;
}

TEST(JasonDepth, DeepBuiltTreeEncodesPretty) {
  const int depth = 2000;
  CJasonTreeRoot* root = BuildDeepTree(depth);
  std::string out;
  root->EncodeToString(out, false, 0);
  // Object number i (odd) sits at indentation level 1 + 3 * (i - 1) / 2: an
  // array element is one level deeper than its array, a pair one level
  // deeper than its object and the pair's container one more. So the objID
  // pair of the innermost object (1999) has level 2999.
  const std::string innermost = "\"objID\" : \"1999\"\r\n";
  const std::size_t at = out.find(innermost);
  ASSERT_NE(at, std::string::npos);
  EXPECT_EQ(out.substr(at - 4 * 2999 - 2, 4 * 2999 + 2), "\r\n" + std::string(4 * 2999, ' '));
  EXPECT_EQ(out.substr(at + innermost.size(), 4 * 2998 + 1), std::string(4 * 2998, ' ') + "}");
  EXPECT_EQ(out.substr(out.size() - 3), "\r\n]");
  delete root;
}

TEST(JasonDepth, DeepTreeSurvivesPrettyRoundTrip) {
  CJasonTreeRoot* built = BuildDeepTree(2000);
  std::string pretty;
  built->EncodeToString(pretty, false, 0);
  CJasonParser parser;
  CJasonTreeRoot* parsed = parser.ParseJasonText(pretty);
  ASSERT_NE(parsed, nullptr);
  EXPECT_EQ(DumpJasonTree(parsed), DumpJasonTree(built));
  delete parsed;
  delete built;
}

TEST(JasonDepth, ParsedDeepAndWideDocumentSurvivesPrettyRoundTrip) {
  SKIP_DEEP_RECURSION_UNDER_THREAD_SANITIZER();
  // Thousands of members 500 levels down: pretty lines of 2000 blanks.
  std::string text = std::string(500, '[');
  for (int i = 0; i < 6000; ++i) text += i == 0 ? "1" : ",1";
  text += std::string(500, ']');
  CJasonParser parser;
  CJasonTreeRoot* root = parser.ParseJasonText(text);
  ASSERT_NE(root, nullptr);
  std::string pretty;
  root->EncodeToString(pretty, false, 0);
  EXPECT_NE(pretty.find(",\x20\r\n" + std::string(4 * 500, ' ') + "1, \r\n"), std::string::npos);
  CJasonParser again;
  CJasonTreeRoot* reparsed = again.ParseJasonText(pretty);
  ASSERT_NE(reparsed, nullptr);
  EXPECT_EQ(DumpJasonTree(reparsed), DumpJasonTree(root));
  delete reparsed;
  delete root;
}

TEST(JasonDepth, DeepChainOfPairsAndArraysIsDeleted) {
  // One long chain of arrays only, deleted through its top container.
  CJasonTreeArray* top = new CJasonTreeArray;
  CJasonTreeArray* current = top;
  for (int i = 0; i < 1000000; ++i) {
    CJasonTreeArray* child = new CJasonTreeArray;
    current->values.push_back(child);
    current = child;
  }
  delete top;
  SUCCEED();
}

}  // namespace
