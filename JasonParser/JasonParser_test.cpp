#include "JasonParser/JasonParser.h"

#include <gtest/gtest.h>

#include <string>
#include <type_traits>

#include "testing/AllocationFaults.h"
#include "testing/JasonTestDump.h"

namespace {

// Parses `text` with a fresh parser; returns the tree dump or "FAIL".
std::string ParseDump(std::string text) {
  CJasonParser parser;
  CJasonTreeRoot* root = parser.ParseJasonText(text);
  if (root == nullptr) return "FAIL";
  std::string dump = DumpJasonTree(root);
  delete root;
  return dump;
}

struct ParseRow {
  std::string input;
  std::string tree;  // DumpJasonTree of the result, or FAIL
};

// Expected trees written from the grammar by hand.
const ParseRow kParseRows[] = {
    {"{}", "root({})"},
    {"[]", "root([])"},
    {" { } ", "root({})"},
    {"[1]", "root([#1])"},
    {"[1,2,3]", "root([#1,#2,#3])"},
    {"[\"a\",true,false,null,-0.5e+2]", "root([\"a\",true,false,null,#-0.5e+2])"},
    {"{\"a\":1}", "root({\"a\":#1})"},
    {"{\"a\":1,\"b\":[{},[]]}", "root({\"a\":#1,\"b\":[{},[]]})"},
    {"{\"b\":1,\"a\":2,\"b\":3}", "root({\"b\":#1,\"a\":#2,\"b\":#3})"},
    {"[[[[]]]]", "root([[[[]]]])"},
    {"{\"\":\"\"}", "root({\"\":\"\"})"},
    {"{\"k\\n\":\"\\u0041\\t\"}", "root({\"k\\x0A\":\"A\\x09\"})"},
    {"[{\"a\":{\"b\":{\"c\":null}}}]", "root([{\"a\":{\"b\":{\"c\":null}}}])"},
    {"", "FAIL"},
    {"   ", "FAIL"},
    {"1", "FAIL"},
    {"\"a\"", "FAIL"},
    {"true", "FAIL"},
    {"null", "FAIL"},
    {"[", "FAIL"},
    {"]", "FAIL"},
    {"{", "FAIL"},
    {"[1,]", "FAIL"},
    {"[,1]", "FAIL"},
    {"[,]", "FAIL"},
    {"[1,,2]", "FAIL"},
    {"[1 2]", "FAIL"},
    {"{\"a\" 1}", "FAIL"},
    {"{\"a\":}", "FAIL"},
    {"{\"a\"}", "FAIL"},
    {"{\"a\"", "FAIL"},
    {"{\"a\":", "FAIL"},
    {"{\"a\":1", "FAIL"},
    {"{\"a\":1,}", "FAIL"},
    {"{,}", "FAIL"},
    {"{1:1}", "FAIL"},
    {"{null:1}", "FAIL"},
    {"{\"a\":1 \"b\":2}", "FAIL"},
    {"{:1}", "FAIL"},
    {"[][]", "FAIL"},
    {"{}[]", "FAIL"},
    {"[]1", "FAIL"},
    {"[1]]", "FAIL"},
    {"[}", "FAIL"},
    {"{]", "FAIL"},
    {"[:]", "FAIL"},
    {"[1:2]", "FAIL"},
    {"[01]", "FAIL"},
    {"[\"\\x\"]", "FAIL"},
};

TEST(JasonParser, TableOfTexts) {
  for (const ParseRow& row : kParseRows) {
    EXPECT_EQ(ParseDump(row.input), row.tree) << "input: " << row.input;
  }
}

TEST(JasonParser, EmptyBracesOrBracketsParseToEmptyContainer) {
  std::string text = "{}";
  CJasonParser parser;
  CJasonTreeRoot* root = parser.ParseJasonText(text);
  ASSERT_NE(root, nullptr);
  ASSERT_NE(root->value, nullptr);
  EXPECT_EQ(root->value->kind, NodeKind::Object);
  EXPECT_TRUE(static_cast<CJasonTreeObject*>(root->value)->pairs.empty());
  delete root;
  EXPECT_EQ(ParseDump("[]"), "root([])");
}

TEST(JasonParser, EmptyBlankBareNumberOrBareStringDoNotParse) {
  EXPECT_EQ(ParseDump(""), "FAIL");
  EXPECT_EQ(ParseDump(" \r\n\t"), "FAIL");
  EXPECT_EQ(ParseDump("42"), "FAIL");
  EXPECT_EQ(ParseDump("\"text\""), "FAIL");
}

TEST(JasonParser, TrailingOrLeadingCommaInArrayFails) {
  EXPECT_EQ(ParseDump("[1,2,]"), "FAIL");
  EXPECT_EQ(ParseDump("[,1,2]"), "FAIL");
}

TEST(JasonParser, MemberWithoutColonFails) { EXPECT_EQ(ParseDump("{\"a\" \"b\"}"), "FAIL"); }

TEST(JasonParser, MemberWithNumberNameFails) { EXPECT_EQ(ParseDump("{1:\"b\"}"), "FAIL"); }

TEST(JasonParser, TwoArraysInARowFailOnTrailingTokens) {
  EXPECT_EQ(ParseDump("[1][2]"), "FAIL");
  EXPECT_EQ(ParseDump("[1]"), "root([#1])");
}

TEST(JasonParser, NestedDocumentKeepsOrderAndPositions) {
  // Positions:   0         1         2         3
  //              0123456789012345678901234567890123456
  std::string text = "{\"z\":[3,\"y\",{}],\"a\":true, \"m\":null}";
  CJasonParser parser;
  CJasonTreeRoot* root = parser.ParseJasonText(text);
  ASSERT_NE(root, nullptr);
  EXPECT_EQ(DumpJasonTree(root), "root({\"z\":[#3,\"y\",{}],\"a\":true,\"m\":null})");
  EXPECT_EQ(DumpJasonPositions(root),
            "R0-35 O0-35 P1-15 S1-4 A5-15 N6-7 S8-11 O12-14 P16-24 S16-19 C20-24 "
            "P26-34 S26-29 C30-34");
  delete root;
}

TEST(JasonParser, PositionsOfEveryNodeKind) {
  std::string text = " [ {\"k\" : -12.5} , \"s\\n\" , false ] ";
  CJasonParser parser;
  CJasonTreeRoot* root = parser.ParseJasonText(text);
  ASSERT_NE(root, nullptr);
  // Root and array: "[" at 1 to "]" ending at 34; object 3-16; pair from the
  // name's quote (4) to the number's end (15); string with escape 19-24.
  EXPECT_EQ(DumpJasonPositions(root), "R1-34 A1-34 O3-16 P4-15 S4-7 N10-15 S19-24 C27-32");
  delete root;
}

TEST(JasonParser, DeletingRootFreesTreeAndParserFreesTokens) {
  std::string text = "{\"a\":[1,{\"b\":\"a string longer than the inline buffer\"}],\"c\":{}}";
  const long start = orvtest::LiveBlocksOnThisThread();
  CJasonParser* parser = new CJasonParser;
  CJasonTreeRoot* root = parser->ParseJasonText(text);
  ASSERT_NE(root, nullptr);
  EXPECT_EQ(parser->tokens.size(), 18u);
  delete parser;  // the tree shares nothing with the tokens
  EXPECT_EQ(DumpJasonTree(root),
            "root({\"a\":[#1,{\"b\":\"a string longer than the inline buffer\"}],\"c\":{}})");
  delete root;
  EXPECT_EQ(orvtest::LiveBlocksOnThisThread(), start);
}

TEST(JasonParser, FailedParseKeepsTokensForTheParserToFree) {
  std::string text = "[1, 2, {\"a\" : }]";
  CJasonParser parser;
  EXPECT_EQ(parser.ParseJasonText(text), nullptr);
  EXPECT_EQ(parser.tokens.size(), 10u);
}

TEST(JasonParser, FailedScanKeepsTokensMadeSoFar) {
  std::string text = "[1, 2, x]";
  CJasonParser parser;
  EXPECT_EQ(parser.ParseJasonText(text), nullptr);
  EXPECT_EQ(parser.tokens.size(), 5u);
}

TEST(JasonParser, TokensEndingRightAfterMemberNameFailWithoutLeak) {
  EXPECT_EQ(ParseDump("{\"name\""), "FAIL");
  EXPECT_EQ(ParseDump("{\"name\" :"), "FAIL");
  EXPECT_EQ(ParseDump("[{\"name\""), "FAIL");
}

TEST(JasonParser, SecondCallOnSameParserFails) {
  CJasonParser parser;
  std::string text = "[1]";
  CJasonTreeRoot* root = parser.ParseJasonText(text);
  ASSERT_NE(root, nullptr);
  delete root;
  EXPECT_EQ(parser.ParseJasonText(text), nullptr);
  EXPECT_EQ(parser.tokens.size(), 6u);
}

TEST(JasonParser, MembersLeaveIndexUnchangedOnFailure) {
  CJasonParser parser;
  std::string text = "[1, \"a\" : {\"k\" 2}]";
  CJasonScanner scanner;
  ASSERT_TRUE(scanner.ScanJasonText(text, parser.tokens));
  int index = 1;
  EXPECT_EQ(parser.ParseJasonString(index), nullptr);
  EXPECT_EQ(parser.ParseJasonConst(index), nullptr);
  EXPECT_EQ(parser.ParseJasonObject(index), nullptr);
  EXPECT_EQ(parser.ParseJasonArray(index), nullptr);
  EXPECT_EQ(parser.ParseJasonPair(index), nullptr);
  EXPECT_EQ(parser.ParseJasonRoot(index), nullptr);
  EXPECT_EQ(index, 1);
  CJasonTreeNumber* number = parser.ParseJasonNumber(index);
  ASSERT_NE(number, nullptr);
  EXPECT_EQ(number->text, "1");
  EXPECT_EQ(index, 2);
  delete number;
  index = 5;  // {"k" 2}
  EXPECT_EQ(parser.ParseJasonValue(index), nullptr);
  EXPECT_EQ(index, 5);
  index = 3;  // "a" : { ... fails inside the value
  EXPECT_EQ(parser.ParseJasonPair(index), nullptr);
  EXPECT_EQ(index, 3);
  index = 100;
  EXPECT_EQ(parser.ParseJasonValue(index), nullptr);
  index = -1;
  EXPECT_EQ(parser.ParseJasonValue(index), nullptr);
  EXPECT_EQ(index, -1);
}

// A token for each leaf kind, parsed twice from the same index: the texts of
// the leaves are copies, so both are equal and the token keeps its text.
struct LeafRow {
  std::string text;  // one token
  int kind;          // NodeKind of the leaf
  std::string leafText;
};

const LeafRow kLeafRows[] = {
    {"\"abc\"", NodeKind::String, "abc"},
    {"\"a string longer than the inline buffer\"", NodeKind::String,
     "a string longer than the inline buffer"},
    {"-12.5e+3", NodeKind::Number, "-12.5e+3"},
    {"12345678901234567890.5", NodeKind::Number, "12345678901234567890.5"},
    {"true", NodeKind::Const, "true"},
    {"false", NodeKind::Const, "false"},
    {"null", NodeKind::Const, "null"},
};

// Parses the leaf at token 0 of `parser` with the member for `kind`.
CJasonTreeValue* ParseLeaf(CJasonParser& parser, int kind) {
  int index = 0;
  CJasonTreeValue* leaf = nullptr;
  if (kind == NodeKind::String) leaf = parser.ParseJasonString(index);
  if (kind == NodeKind::Number) leaf = parser.ParseJasonNumber(index);
  if (kind == NodeKind::Const) leaf = parser.ParseJasonConst(index);
  EXPECT_EQ(index, leaf != nullptr ? 1 : 0);
  return leaf;
}

TEST(JasonParser, ParseTwiceFromTheSameTokenGivesTheSameText) {
  for (const LeafRow& row : kLeafRows) {
    SCOPED_TRACE(row.text);
    CJasonParser parser;
    std::string text = row.text;
    CJasonScanner scanner;
    ASSERT_TRUE(scanner.ScanJasonText(text, parser.tokens));
    ASSERT_EQ(parser.tokens.size(), 1u);
    const std::string before = DumpJasonTokens(parser.tokens);
    for (int round = 0; round < 2; ++round) {
      CJasonTreeValue* leaf = ParseLeaf(parser, row.kind);
      ASSERT_NE(leaf, nullptr);
      EXPECT_EQ(DumpJasonTree(leaf), row.kind == NodeKind::String ? "\"" + row.leafText + "\""
                                     : row.kind == NodeKind::Number ? "#" + row.leafText
                                                                     : row.leafText);
      delete leaf;
    }
    EXPECT_EQ(DumpJasonTokens(parser.tokens), before);
  }
}

TEST(JasonParser, SuccessfulParseLeavesTokensAsScanned) {
  std::string text = "{\"name\":[\"a string longer than the inline buffer\",-1.25e10,null]}";
  CJasonParser parser;
  CJasonScanner scanner;
  ASSERT_TRUE(scanner.ScanJasonText(text, parser.tokens));
  const std::string before = DumpJasonTokens(parser.tokens);
  int index = 0;
  CJasonTreeRoot* root = parser.ParseJasonRoot(index);
  ASSERT_NE(root, nullptr);
  EXPECT_EQ(DumpJasonTokens(parser.tokens), before);
  delete root;
}

// Member calls that fail, each on the tokens of its text from `index`.
struct FailedMemberRow {
  std::string text;
  int index;
  const char* member;  // "pair", "object", "array" or "value"
};

const FailedMemberRow kFailedMemberRows[] = {
    {"{\"k\" 1}", 1, "pair"},
    {"{\"k\" 1}", 0, "object"},
    {"{\"a long member name beyond the inline buffer\" : }", 1, "pair"},
    {"{\"k\" : \"value\" \"more\"}", 0, "object"},
    {"[\"a long element text beyond the inline buffer\", 12345678901234567890,]", 0, "array"},
    {"[\"x\", {\"k\" : 1.5e300 \"y\"}]", 0, "value"},
};

CJasonTreeNode* ParseMember(CJasonParser& parser, const std::string& member, int& index) {
  if (member == "pair") return parser.ParseJasonPair(index);
  if (member == "object") return parser.ParseJasonObject(index);
  if (member == "array") return parser.ParseJasonArray(index);
  return parser.ParseJasonValue(index);
}

TEST(JasonParser, FailedPairLeavesTokensUnchanged) {
  for (const FailedMemberRow& row : kFailedMemberRows) {
    SCOPED_TRACE(row.text);
    CJasonParser parser;
    std::string text = row.text;
    CJasonScanner scanner;
    ASSERT_TRUE(scanner.ScanJasonText(text, parser.tokens));
    const std::string before = DumpJasonTokens(parser.tokens);
    int index = row.index;
    EXPECT_EQ(ParseMember(parser, row.member, index), nullptr);
    EXPECT_EQ(index, row.index);
    EXPECT_EQ(DumpJasonTokens(parser.tokens), before);
  }
}

TEST(JasonParser, PairMemberParsesNameColonValue) {
  CJasonParser parser;
  std::string text = "\"k\" : [true]";
  CJasonScanner scanner;
  ASSERT_TRUE(scanner.ScanJasonText(text, parser.tokens));
  int index = 0;
  CJasonTreePair* pair = parser.ParseJasonPair(index);
  ASSERT_NE(pair, nullptr);
  EXPECT_EQ(index, 5);
  EXPECT_EQ(DumpJasonTree(pair), "\"k\":[true]");
  EXPECT_EQ(DumpJasonPositions(pair), "P0-12 S0-3 A6-12 C7-11");
  delete pair;
}

TEST(JasonParser, RootRequiresIndexZero) {
  CJasonParser parser;
  std::string text = "[] []";
  CJasonScanner scanner;
  ASSERT_TRUE(scanner.ScanJasonText(text, parser.tokens));
  int index = 2;
  EXPECT_EQ(parser.ParseJasonRoot(index), nullptr);
  EXPECT_EQ(index, 2);
}

TEST(JasonParser, NotCopyable) {
  EXPECT_FALSE(std::is_copy_constructible<CJasonParser>::value);
  EXPECT_FALSE(std::is_copy_assignable<CJasonParser>::value);
}

TEST(JasonParser, ManyMembersParse) {
  std::string text = "{";
  for (int i = 0; i < 20000; ++i) {
    if (i > 0) text += ',';
    text += "\"k" + std::to_string(i) + "\":" + std::to_string(i);
  }
  text += '}';
  CJasonParser parser;
  CJasonTreeRoot* root = parser.ParseJasonText(text);
  ASSERT_NE(root, nullptr);
  const auto& pairs = static_cast<CJasonTreeObject*>(root->value)->pairs;
  EXPECT_EQ(pairs.size(), 20000u);
  EXPECT_EQ(pairs.back()->name->text, "k19999");
  delete root;
}

}  // namespace
