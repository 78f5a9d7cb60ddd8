#include "ControlInfoParser/CIParser.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

namespace {

// Writes a tree in a compact notation of its own, so that a row of expected
// bytes shows the whole tree: a string value as "text" (quotes added, text
// raw), a list as {a,b}, an instance as Name(.a,b.), an assignment as
// name=value.
void DumpInto(const CCIExpression* e, std::string& out) {
  switch (e->kind) {
    case kCIStringValue:
      out += '"';
      out += static_cast<const CCIStringValue*>(e)->value;
      out += '"';
      return;
    case kCIAssignmentExpr: {
      const auto* a = static_cast<const CCIAssignmentExpr*>(e);
      out += a->name;
      out += '=';
      DumpInto(a->value, out);
      return;
    }
    case kCIListExpr:
    case kCIInstanceExpr: {
      const bool list = e->kind == kCIListExpr;
      const auto& children = list ? static_cast<const CCIListExpr*>(e)->items
                                  : static_cast<const CCIInstanceExpr*>(e)->arguments;
      if (!list) out += static_cast<const CCIInstanceExpr*>(e)->name;
      out += list ? "{" : "(.";
      const char* separator = "";
      for (const CCIExpression* child : children) {
        out += separator;
        DumpInto(child, out);
        separator = ",";
      }
      out += list ? "}" : ".)";
      return;
    }
  }
  out += "?";
}

// The dump of the parse of `text`, or "null".
std::string ParseDump(const std::string& text) {
  CCIParser parser;
  std::unique_ptr<CCIExpression> root(parser.ParseControlInfoText(text));
  if (!root) return "null";
  std::string out;
  DumpInto(root.get(), out);
  return out;
}

struct ParseRow {
  const char* input;
  const char* tree;  // expected dump, or "null"
};

const ParseRow kParses[] = {
    {"{}", "{}"},
    {"{ }", "{}"},
    {"X(..)", "X(..)"},
    {"X(. .)", "X(..)"},
    {"{a, \"b\"}", "{\"a\",\"b\"}"},
    {"a", "\"a\""},
    {"\"a\"", "\"a\""},
    {"''", "\"\""},
    {"a = b", "a=\"b\""},
    {"a = b = c", "a=b=\"c\""},
    {"'x' = y", "x=\"y\""},
    {"\"x\" = y", "\"x\""},
    {"a b", "\"a\""},
    {"a }", "\"a\""},
    {"{a} {b}", "{\"a\"}"},
    {"X(. a, b = {c}, Y(. .) .)", "X(.\"a\",b={\"c\"},Y(..).)"},
    {"{{{}}}", "{{{}}}"},
    {"a = {}", "a={}"},
    {"a = X(. .)", "a=X(..)"},
    {"{ ControlInfo(. control = EditBox(. text = \"Name\", value = \"Pump\" .), children = { } .) }",
     "{ControlInfo(.control=EditBox(.text=\"Name\",value=\"Pump\".),children={}.)}"},
    {"", "null"},
    {" \r\n\t", "null"},
    {"a = 1", "null"},
    {"{a,}", "null"},
    {"{,a}", "null"},
    {"{a b}", "null"},
    {"{a", "null"},
    {"{", "null"},
    {"}", "null"},
    {",", "null"},
    {"=", "null"},
    {"(.", "null"},
    {".)", "null"},
    {"a =", "null"},
    {"a = ,", "null"},
    {"a = }", "null"},
    {"X(.", "null"},
    {"X(. a", "null"},
    {"X(. a, .)", "null"},
    {"X(. , a .)", "null"},
    {"X(. a b .)", "null"},
    {"X(. a }", "null"},
    {"{a .)", "null"},
    {"{ X(. a = .) }", "null"},
};

TEST(CIParserTest, ParsesTableOfInputsToExactTrees) {
  for (const ParseRow& row : kParses) {
    EXPECT_EQ(row.tree, ParseDump(row.input)) << "input: " << row.input;
  }
}

TEST(CIParserTest, EmptyBracesGiveEmptyList) {
  CCIParser parser;
  std::unique_ptr<CCIExpression> root(parser.ParseControlInfoText("{}"));
  ASSERT_NE(nullptr, root);
  ASSERT_EQ(kCIListExpr, root->kind);
  EXPECT_TRUE(static_cast<CCIListExpr*>(root.get())->items.empty());
}

TEST(CIParserTest, InstanceWithNoArgumentsWithOrWithoutBlank) {
  for (const char* text : {"X(..)", "X(. .)"}) {
    CCIParser parser;
    std::unique_ptr<CCIExpression> root(parser.ParseControlInfoText(text));
    ASSERT_NE(nullptr, root) << text;
    ASSERT_EQ(kCIInstanceExpr, root->kind) << text;
    const auto* instance = static_cast<CCIInstanceExpr*>(root.get());
    EXPECT_EQ("X", instance->name);
    EXPECT_TRUE(instance->arguments.empty());
  }
}

TEST(CIParserTest, IdentifierAndStringItemsGiveSameStringValues) {
  CCIParser parser;
  std::unique_ptr<CCIExpression> root(parser.ParseControlInfoText("{a, \"b\"}"));
  ASSERT_NE(nullptr, root);
  ASSERT_EQ(kCIListExpr, root->kind);
  const auto& items = static_cast<CCIListExpr*>(root.get())->items;
  ASSERT_EQ(2u, items.size());
  ASSERT_EQ(kCIStringValue, items.front()->kind);
  ASSERT_EQ(kCIStringValue, items.back()->kind);
  EXPECT_EQ("a", static_cast<CCIStringValue*>(items.front())->value);
  EXPECT_EQ("b", static_cast<CCIStringValue*>(items.back())->value);
}

TEST(CIParserTest, TrailingLeadingOrMissingSeparatorGivesNull) {
  EXPECT_EQ("null", ParseDump("{a,}"));
  EXPECT_EQ("null", ParseDump("{,a}"));
  EXPECT_EQ("null", ParseDump("{a b}"));
}

TEST(CIParserTest, ChainedAssignmentNestsToTheRight) {
  CCIParser parser;
  std::unique_ptr<CCIExpression> root(parser.ParseControlInfoText("a = b = c"));
  ASSERT_NE(nullptr, root);
  ASSERT_EQ(kCIAssignmentExpr, root->kind);
  const auto* outer = static_cast<CCIAssignmentExpr*>(root.get());
  EXPECT_EQ("a", outer->name);
  ASSERT_EQ(kCIAssignmentExpr, outer->value->kind);
  const auto* inner = static_cast<CCIAssignmentExpr*>(outer->value);
  EXPECT_EQ("b", inner->name);
  ASSERT_EQ(kCIStringValue, inner->value->kind);
  EXPECT_EQ("c", static_cast<CCIStringValue*>(inner->value)->value);
}

TEST(CIParserTest, AssignmentWithoutValueIsNullButLoneIdentifierIsString) {
  EXPECT_EQ("null", ParseDump("a ="));
  CCIParser parser;
  std::unique_ptr<CCIExpression> root(parser.ParseControlInfoText("a"));
  ASSERT_NE(nullptr, root);
  ASSERT_EQ(kCIStringValue, root->kind);
  EXPECT_EQ("a", static_cast<CCIStringValue*>(root.get())->value);
}

TEST(CIParserTest, QuotedStringIsNeverNameButSingleQuotedNameIs) {
  EXPECT_EQ("\"x\"", ParseDump("\"x\" = y"));
  CCIParser parser;
  std::unique_ptr<CCIExpression> root(parser.ParseControlInfoText("'x' = y"));
  ASSERT_NE(nullptr, root);
  ASSERT_EQ(kCIAssignmentExpr, root->kind);
  EXPECT_EQ("x", static_cast<CCIAssignmentExpr*>(root.get())->name);
}

TEST(CIParserTest, TokensAfterFirstExpressionAreIgnored) {
  CCIParser parser;
  std::unique_ptr<CCIExpression> root(parser.ParseControlInfoText("{a} {b}"));
  ASSERT_NE(nullptr, root);
  EXPECT_EQ(6u, parser.Tokens().size());
  std::string dump;
  DumpInto(root.get(), dump);
  EXPECT_EQ("{\"a\"}", dump);
}

TEST(CIParserTest, BlankOrUnscannableTextGivesNull) {
  EXPECT_EQ("null", ParseDump("  \t\r\n "));
  EXPECT_EQ("null", ParseDump("{ a = 1 }"));
  EXPECT_EQ("null", ParseDump("{ \"open }"));
}

TEST(CIParserTest, ParseAssignmentExprNeedsThreeTokensAndConsumesNothingOtherwise) {
  CCIParser parser;
  std::unique_ptr<CCIExpression> root(parser.ParseControlInfoText("a ="));
  EXPECT_EQ(nullptr, root);
  ASSERT_EQ(2u, parser.Tokens().size());
  std::int32_t pos = 0;
  EXPECT_EQ(nullptr, parser.ParseAssignmentExpr(pos));
  EXPECT_EQ(0, pos);
}

TEST(CIParserTest, ParseExprLeavesPositionOnDelimiter) {
  CCIParser parser;
  std::unique_ptr<CCIExpression> root(parser.ParseControlInfoText("a , b"));
  ASSERT_NE(nullptr, root);
  std::int32_t pos = 1;
  EXPECT_EQ(nullptr, parser.ParseExpr(pos));
  EXPECT_EQ(1, pos);
  pos = 3;
  EXPECT_EQ(nullptr, parser.ParseExpr(pos));
  pos = -1;
  EXPECT_EQ(nullptr, parser.ParseExpr(pos));
}

TEST(CIParserTest, ParseFunctionsAdvancePastWhatTheyConsume) {
  CCIParser parser;
  std::unique_ptr<CCIExpression> root(parser.ParseControlInfoText("{x} X(. .) a = b \"s\""));
  ASSERT_NE(nullptr, root);
  std::int32_t pos = 0;
  std::unique_ptr<CCIExpression> list(parser.ParseListExpr(pos));
  ASSERT_NE(nullptr, list);
  EXPECT_EQ(3, pos);
  std::unique_ptr<CCIExpression> instance(parser.ParseInstanceExpr(pos));
  ASSERT_NE(nullptr, instance);
  EXPECT_EQ(6, pos);
  std::unique_ptr<CCIExpression> assignment(parser.ParseAssignmentExpr(pos));
  ASSERT_NE(nullptr, assignment);
  EXPECT_EQ(9, pos);
  std::unique_ptr<CCIExpression> string(parser.ParseStringValue(pos));
  ASSERT_NE(nullptr, string);
  EXPECT_EQ(10, pos);
  EXPECT_EQ(nullptr, parser.ParseIdentStringValue(pos));
}

TEST(CIParserTest, FormFunctionsRejectWrongStartingToken) {
  CCIParser parser;
  std::unique_ptr<CCIExpression> root(parser.ParseControlInfoText("a , {"));
  ASSERT_NE(nullptr, root);
  std::int32_t pos = 0;
  EXPECT_EQ(nullptr, parser.ParseListExpr(pos));
  EXPECT_EQ(nullptr, parser.ParseInstanceExpr(pos));
  pos = 1;
  EXPECT_EQ(nullptr, parser.ParseStringValue(pos));
  EXPECT_EQ(1, pos);
}

TEST(CIParserTest, ParserIsReusableAndClearsItsTokens) {
  CCIParser parser;
  std::unique_ptr<CCIExpression> first(parser.ParseControlInfoText("{a, b, c}"));
  ASSERT_NE(nullptr, first);
  std::unique_ptr<CCIExpression> second(parser.ParseControlInfoText("x"));
  ASSERT_NE(nullptr, second);
  EXPECT_EQ(1u, parser.Tokens().size());
}

std::string Nested(const std::string& open, const std::string& inner, const std::string& close,
                   int depth) {
  std::string text;
  for (int i = 0; i < depth; ++i) text += open;
  text += inner;
  for (int i = 0; i < depth; ++i) text += close;
  return text;
}

TEST(CIParserTest, NestingUpToTheBoundIsAccepted) {
  const int bound = CCIParser::kMaxNestingDepth;
  EXPECT_NE("null", ParseDump(Nested("{", "", "}", bound)));
  EXPECT_NE("null", ParseDump(Nested("X(.", "", ".)", bound)));
  // The innermost string value is a level of its own.
  EXPECT_NE("null", ParseDump(Nested("{", "a", "}", bound - 1)));
  std::string chain;
  for (int i = 1; i < bound; ++i) chain += "a = ";
  EXPECT_NE("null", ParseDump(chain + "b"));
}

TEST(CIParserTest, NestingBeyondTheBoundFails) {
  const int bound = CCIParser::kMaxNestingDepth;
  EXPECT_EQ("null", ParseDump(Nested("{", "", "}", bound + 1)));
  EXPECT_EQ("null", ParseDump(Nested("X(.", "", ".)", bound + 1)));
  EXPECT_EQ("null", ParseDump(Nested("{", "a", "}", bound)));
  std::string chain;
  for (int i = 0; i < bound; ++i) chain += "a = ";
  EXPECT_EQ("null", ParseDump(chain + "b"));
}

TEST(CIParserTest, HostileDeepNestingFailsWithoutExhaustingStack) {
  EXPECT_EQ("null", ParseDump(std::string(100000, '{')));
  EXPECT_EQ("null", ParseDump(Nested("{", "", "}", 100000)));
  std::string chain;
  for (int i = 0; i < 100000; ++i) chain += "a=";
  EXPECT_EQ("null", ParseDump(chain + "b"));
}

TEST(CIParserTest, DepthIsCountedPerParseNotAccumulated) {
  CCIParser parser;
  const std::string deep = Nested("{", "", "}", CCIParser::kMaxNestingDepth);
  for (int i = 0; i < 3; ++i) {
    std::unique_ptr<CCIExpression> root(parser.ParseControlInfoText(deep));
    EXPECT_NE(nullptr, root);
    std::unique_ptr<CCIExpression> failed(parser.ParseControlInfoText(deep + "{"));
    EXPECT_NE(nullptr, failed);  // the extra "{" after the first expression is not read
    std::unique_ptr<CCIExpression> broken(parser.ParseControlInfoText("{" + deep));
    EXPECT_EQ(nullptr, broken);
  }
}

}  // namespace
