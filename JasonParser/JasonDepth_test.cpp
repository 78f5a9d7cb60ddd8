// Depth: documents of any depth parse (the parser keeps its open containers
// on the heap), and trees of any depth, parsed or built by program code, are
// encoded, searched and deleted without using the machine stack per level.
// The same inputs on every kind of stack are in JasonStacks_test.cpp.

#include <gtest/gtest.h>

#include <string>

#include "JasonParser/JasonElementFinder.h"
#include "JasonParser/JasonParser.h"
#include "testing/AllocationFaults.h"
#include "testing/JasonTestDump.h"

namespace {

std::string NestedArrays(int depth) { return std::string(depth, '[') + std::string(depth, ']'); }

std::string Repeat(const std::string& piece, int times) {
  std::string text;
  text.reserve(piece.size() * static_cast<std::size_t>(times));
  for (int i = 0; i < times; ++i) text += piece;
  return text;
}

TEST(JasonDepth, MillionLevelsParseEncodeAndDelete) {
  // A million levels of arrays, then of objects: a tree in every build
  // (memory, not the stack, bounds the depth), with the exact compact text;
  // deleting it frees every block.
  const int depth = 1000000;
  struct Row {
    std::string text;
    std::string compact;
  };
  const Row rows[] = {
      {NestedArrays(depth), Repeat("[ ", depth) + std::string(depth, ']')},
      {Repeat("{\"k\":", depth) + "null" + std::string(depth, '}'), Repeat("{ \"k\" : ", depth) + "null" + std::string(depth, '}')},
  };
  for (const Row& row : rows) {
    std::string text = row.text;
    const long start = orvtest::LiveBlocksOnThisThread();
    CJasonTreeRoot* root;
    {
      CJasonParser parser;
      root = parser.ParseJasonText(text);
    }
    ASSERT_NE(root, nullptr);
    std::string out;
    root->EncodeToString(out, true, 0);
    EXPECT_TRUE(out == row.compact) << "size " << out.size() << ", expected " << row.compact.size();
    std::string().swap(out);  // frees its block (assigning an empty string would keep it)
    delete root;
    EXPECT_EQ(orvtest::LiveBlocksOnThisThread(), start);
  }
}

TEST(JasonDepth, ParserMembersWorkAfterADeepFailure) {
  // Two million levels, then a second array: trailing tokens fail the text.
  CJasonParser parser;
  std::string text = NestedArrays(2000000) + " []";
  EXPECT_EQ(parser.ParseJasonText(text), nullptr);
  // The parser keeps nothing of the failed parse: its members still accept
  // the deep array and the last (shallow) one.
  int index = 0;
  CJasonTreeArray* deep = parser.ParseJasonArray(index);
  ASSERT_NE(deep, nullptr);
  EXPECT_EQ(index, 4000000);
  delete deep;
  CJasonTreeArray* array = parser.ParseJasonArray(index);
  ASSERT_NE(array, nullptr);
  EXPECT_EQ(index, 4000002);
  delete array;
}

TEST(JasonDepth, DeepFailuresLeaveTheIndexAndFreeWhatWasBuilt) {
  struct Row {
    std::string text;
    int firstToken;  // where the member is called
  };
  std::string unclosed = std::string(100000, '[');
  std::string commaAtEnd = Repeat("{\"a\":[", 50000) + "1," + Repeat("]}", 50000);
  std::string pairWithoutValue = "[" + Repeat("{\"a\":", 50000) + "}";
  const Row rows[] = {{unclosed, 0}, {commaAtEnd, 0}, {pairWithoutValue, 1}};
  for (const Row& row : rows) {
    std::string text = row.text;
    CJasonParser parser;
    CJasonScanner scanner;
    ASSERT_TRUE(scanner.ScanJasonText(text, parser.tokens));
    const long start = orvtest::LiveBlocksOnThisThread();
    int index = row.firstToken;
    EXPECT_EQ(parser.ParseJasonValue(index), nullptr);
    EXPECT_EQ(index, row.firstToken);
    EXPECT_EQ(orvtest::LiveBlocksOnThisThread(), start);
  }
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
  // A million levels: arrays holding objects whose one pair holds the next
  // array, deleted through the top container; every block comes back.
  const long start = orvtest::LiveBlocksOnThisThread();
  CJasonTreeArray* top = new CJasonTreeArray;
  CJasonTreeArray* current = top;
  for (int i = 0; i < 500000; ++i) {
    CJasonTreeObject* object = new CJasonTreeObject;
    current->values.push_back(object);
    CJasonTreePair* pair = new CJasonTreePair;
    object->pairs.push_back(pair);
    pair->name = CreateStringFromString("next");
    CJasonTreeArray* child = new CJasonTreeArray;
    pair->value = child;
    current = child;
  }
  EXPECT_GT(orvtest::LiveBlocksOnThisThread(), start + 1000000);  // the list cells alone
  const long calls = orvtest::NewCallsOnThisThread();
  delete top;
  EXPECT_EQ(orvtest::NewCallsOnThisThread(), calls);
  EXPECT_EQ(orvtest::LiveBlocksOnThisThread(), start);
}

}  // namespace
