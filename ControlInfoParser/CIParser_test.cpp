#include "ControlInfoParser/CIParser.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "Utils/ThreadWithStack.h"

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

// The dump of the parse of `text` by `parser`, or "null".
std::string ParseDumpWith(CCIParser& parser, const std::string& text) {
  std::unique_ptr<CCIExpression> root(parser.ParseControlInfoText(text));
  if (!root) return "null";
  std::string out;
  DumpInto(root.get(), out);
  return out;
}

// The dump of the parse of `text` by a fresh parser, or "null".
std::string ParseDump(const std::string& text) {
  CCIParser parser;
  return ParseDumpWith(parser, text);
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

// The form functions trust the choice of ParseExpr: called directly, they
// take the token at the position for the one their form starts with.
struct FormRow {
  const char* text;
  char form;  // 'L' list, 'I' instance, 'A' assignment, 'S' string, 'D' ident string
  std::int32_t start;
  const char* tree;  // expected dump, or "null"
  std::int32_t end;  // expected position after a tree (not checked for null)
};

const FormRow kForms[] = {
    {"a b }", 'L', 0, "{\"b\"}", 3},
    {"a }", 'L', 0, "{}", 2},
    {"a , {", 'L', 0, "null", 0},   // "," cannot start an item
    {"a , {", 'L', 2, "null", 0},   // nothing after the "{"
    {"a , {", 'I', 0, "null", 0},   // "{" cannot start an argument
    {"{ = x .)", 'I', 0, "{(.\"x\".)", 4},
    {"a b", 'I', 0, "null", 0},     // nothing after the two tokens
    {"a", 'I', 0, "null", 0},       // no token to take for the "(."
    {"a b c .)", 'I', 0, "a(.\"c\".)", 4},
    {"a , {", 'S', 1, "\",\"", 2},
    {"a , {", 'D', 2, "\"{\"", 3},
    {"a , {", 'S', 3, "null", 0},
    {"\"s\" = t", 'A', 0, "s=\"t\"", 3},
    {"a b c", 'A', 0, "null", 0},   // the second token must be "="
    {"a =", 'A', 0, "null", 0},
};

CCIExpression* ParseForm(CCIParser& parser, char form, std::int32_t& pos) {
  switch (form) {
    case 'L':
      return parser.ParseListExpr(pos);
    case 'I':
      return parser.ParseInstanceExpr(pos);
    case 'A':
      return parser.ParseAssignmentExpr(pos);
    case 'S':
      return parser.ParseStringValue(pos);
    default:
      return parser.ParseIdentStringValue(pos);
  }
}

TEST(CIParserTest, FormFunctionsTakeTheirStartingTokenAsGiven) {
  for (const FormRow& row : kForms) {
    CCIParser parser;
    std::unique_ptr<CCIExpression> whole(parser.ParseControlInfoText(row.text));
    ASSERT_FALSE(parser.Tokens().empty()) << row.text;
    std::int32_t pos = row.start;
    std::unique_ptr<CCIExpression> tree(ParseForm(parser, row.form, pos));
    std::string dump = "null";
    if (tree) {
      dump.clear();
      DumpInto(tree.get(), dump);
      EXPECT_EQ(row.end, pos) << row.text << " as " << row.form;
    }
    EXPECT_EQ(row.tree, dump) << row.text << " as " << row.form << " from " << row.start;
  }
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

// Deeply nested inputs, each 100,000 levels deep, with the number of nodes
// on the way down their tree.
struct DeepInput {
  std::string text;
  int nodes;
};

std::vector<DeepInput> DeepInputs() {
  const int depth = 100000;
  std::string chain;
  for (int i = 0; i < depth; ++i) chain += "a=";
  return {{Nested("{", "", "}", depth), depth},
          {Nested("{", "a", "}", depth), depth + 1},
          {Nested("X(.", "", ".)", depth), depth},
          {chain + "b", depth + 1}};
}

// The number of nodes from `root` down through first children, counted
// without recursion (the dump would recurse once per level).
int NodesDown(const CCIExpression* root) {
  int nodes = 0;
  for (const CCIExpression* e = root; e != nullptr; ++nodes) {
    const CCIExpression* next = nullptr;
    if (e->kind == kCIListExpr && !static_cast<const CCIListExpr*>(e)->items.empty()) {
      next = static_cast<const CCIListExpr*>(e)->items.front();
    } else if (e->kind == kCIInstanceExpr && !static_cast<const CCIInstanceExpr*>(e)->arguments.empty()) {
      next = static_cast<const CCIInstanceExpr*>(e)->arguments.front();
    } else if (e->kind == kCIAssignmentExpr) {
      next = static_cast<const CCIAssignmentExpr*>(e)->value;
    }
    e = next;
  }
  return nodes;
}

// Parses each of `inputs`, in order and with one parser, on a new thread
// with a stack of `stackSize` bytes; the nodes down each tree, 0 for none.
std::vector<int> ParseOnThread(const std::vector<std::string>& inputs, std::size_t stackSize) {
  std::vector<int> nodes;
  EXPECT_TRUE(RunOnThreadWithStack(stackSize, [&] {
    CCIParser parser;
    for (const std::string& text : inputs) {
      std::unique_ptr<CCIExpression> root(parser.ParseControlInfoText(text));
      nodes.push_back(NodesDown(root.get()));
    }
  }));
  return nodes;
}

std::vector<std::string> TextsOf(const std::vector<DeepInput>& inputs) {
  std::vector<std::string> texts;
  for (const DeepInput& input : inputs) texts.push_back(input.text);
  return texts;
}

TEST(CIParserTest, HundredThousandLevelsParseOnTheDefaultStack) {
  SKIP_DEEP_RECURSION_UNDER_THREAD_SANITIZER();
  const std::vector<DeepInput> inputs = DeepInputs();
  std::vector<int> expected;
  for (const DeepInput& input : inputs) expected.push_back(input.nodes);
  if (kSanitizerFrames) {
    // Sanitizer frames are several times the size of those of a normal
    // build: there the same depth gets a thread with a stack big enough for
    // it, which runs the same code.
    EXPECT_EQ(expected, ParseOnThread(TextsOf(inputs), kHugeThreadStack));
    return;
  }
  std::vector<int> nodes;
  CCIParser parser;
  for (const DeepInput& input : inputs) {
    std::unique_ptr<CCIExpression> root(parser.ParseControlInfoText(input.text));
    nodes.push_back(NodesDown(root.get()));
  }
  EXPECT_EQ(expected, nodes);
}

TEST(CIParserTest, HundredThousandLevelsFailCleanlyOnASmallStack) {
  const std::vector<DeepInput> inputs = DeepInputs();
  EXPECT_EQ(std::vector<int>(inputs.size(), 0), ParseOnThread(TextsOf(inputs), 256 * 1024));
}

TEST(CIParserTest, ShallowTextStillParsesOnASmallStack) {
  EXPECT_EQ(std::vector<int>({101, 4}),
            ParseOnThread({Nested("{", "a", "}", 100), "{ ControlInfo(. control = X(. .) .) }"},
                          kSmallStackAboveMargin));
}

TEST(CIParserTest, UnclosedDeepNestingFails) {
  SKIP_DEEP_RECURSION_UNDER_THREAD_SANITIZER();
  EXPECT_EQ("null", ParseDump(std::string(100000, '{')));
  EXPECT_EQ("null", ParseDump("{" + Nested("{", "", "}", 100000)));
}

TEST(CIParserTest, ParserIsReusableAfterRunningOutOfStack) {
  std::vector<std::string> texts = TextsOf(DeepInputs());
  texts.push_back("{a, b}");
  std::vector<int> expected(texts.size(), 0);
  expected.back() = 2;
  EXPECT_EQ(expected, ParseOnThread(texts, kSmallStackAboveMargin));
}

}  // namespace
