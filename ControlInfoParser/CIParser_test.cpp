#include "ControlInfoParser/CIParser.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "testing/AllocationFaults.h"
#include "testing/Stacks.h"

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

// Deeply nested inputs with the number of nodes on the way down their tree
// (0: no tree).
struct DeepInput {
  std::string text;
  int nodes;
};

std::vector<DeepInput> DeepInputs(int depth) {
  std::string chain;
  for (int i = 0; i < depth; ++i) chain += "a=";
  return {{Nested("{", "", "}", depth), depth},
          {Nested("{", "a", "}", depth), depth + 1},
          {Nested("X(.", "", ".)", depth), depth},
          {Nested("X(. a = ", "b", " .)", depth), 2 * depth + 1},
          {chain + "b", depth + 1},
          // Unclosed, or with a fault at the bottom: no tree.
          {std::string(static_cast<std::size_t>(depth), '{'), 0},
          {"{" + Nested("{", "", "}", depth), 0},
          {Nested("{", "a,", "}", depth), 0},
          {chain, 0}};
}

// The number of nodes from `root` down through first children, counted
// without recursion.
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

// Parses each of `inputs`, in order and with one parser, on `stack`; the
// nodes down each tree, 0 for none.
std::vector<int> ParseOnStack(const std::vector<DeepInput>& inputs, const orvtest::StackKind& stack) {
  std::vector<int> nodes;
  EXPECT_TRUE(orvtest::RunOnStack(stack, [&] {
    CCIParser parser;
    for (const DeepInput& input : inputs) {
      std::unique_ptr<CCIExpression> root(parser.ParseControlInfoText(input.text));
      nodes.push_back(NodesDown(root.get()));
    }
  })) << stack.name;
  return nodes;
}

// The parse keeps its work on the heap: every stack a host may call on,
// however small or switched, gives the same trees, also 100,000 levels deep.
TEST(CIParserTest, SameTreesOnEveryStack) {
  std::vector<DeepInput> inputs = DeepInputs(100000);
  inputs.push_back({"{}", 1});
  inputs.push_back({"{ ControlInfo(. control = X(. .) .) }", 4});
  inputs.push_back({Nested("{", "a", "}", 100), 101});
  std::vector<int> expected;
  for (const DeepInput& input : inputs) expected.push_back(input.nodes);
  for (const orvtest::StackKind& stack : orvtest::EveryStack()) {
    EXPECT_EQ(expected, ParseOnStack(inputs, stack)) << stack.name;
  }
}

TEST(CIParserTest, ShallowDumpsAreTheSameOnEveryStack) {
  for (const orvtest::StackKind& stack : orvtest::EveryStack()) {
    std::vector<std::string> dumps;
    ASSERT_TRUE(orvtest::RunOnStack(stack, [&] {
      for (const ParseRow& row : kParses) dumps.push_back(ParseDump(row.input));
    })) << stack.name;
    std::size_t i = 0;
    for (const ParseRow& row : kParses) EXPECT_EQ(row.tree, dumps[i++]) << stack.name << ": " << row.input;
  }
}

// A million levels give their tree (or, should memory run out, no tree),
// and everything is freed again.
TEST(CIParserTest, MillionLevelsGiveATreeAndFreeEverything) {
  const long live = orvtest::LiveBlocksOnThisThread();
  {
    CCIParser parser;
    for (const DeepInput& input : DeepInputs(1000000)) {
      std::unique_ptr<CCIExpression> root(parser.ParseControlInfoText(input.text));
      if (root != nullptr) {
        EXPECT_EQ(input.nodes, NodesDown(root.get()));
      }
      if (input.nodes == 0) {
        EXPECT_EQ(nullptr, root);
      }
    }
  }
  EXPECT_EQ(live, orvtest::LiveBlocksOnThisThread());
}

// Fails each allocation of a parse in turn. Every failure is a null tree
// reported as memory running out, and frees all that was built; the run
// without a failure gives the whole tree.
TEST(CIParserTest, EveryAllocationFailureGivesNoTreeAndFreesEverything) {
  const char* const texts[] = {
      "{ ControlInfo(. control = EditBox(. text = \"Name of the pump in the main circuit\", value = Pump .), "
      "children = { ControlInfo(. control = EntityList(. value = \"{a, b}\" .) .) } .) }",
      "a = b = c = {x, 'a long single-quoted name that needs memory of its own', Y(..)}",
  };
  for (const std::string text : texts) {
    const std::string expected = ParseDump(text);
    ASSERT_NE("null", expected);
    // The runs call the parser only; the checks, with failures off, look
    // at what it gave.
    std::unique_ptr<CCIExpression> root;
    CCIOutcome outcome = CCIOutcome::kDone;
    long live = 0;
    const long runs = orvtest::SweepAllocationFailures(
        [&] {
          live = orvtest::LiveBlocksOnThisThread();
          CCIParser parser;
          root.reset(parser.ParseControlInfoTextWithOutcome(text, outcome));
        },
        [&](long failedAt) {
          {
            std::string dump = "null";
            if (root) {
              dump.clear();
              DumpInto(root.get(), dump);
            }
            EXPECT_EQ(failedAt == 0 ? expected : "null", dump) << "failed at " << failedAt;
            EXPECT_EQ(failedAt == 0 ? CCIOutcome::kDone : CCIOutcome::kOutOfMemory, outcome)
                << "failed at " << failedAt;
          }
          root.reset();
          EXPECT_EQ(live, orvtest::LiveBlocksOnThisThread()) << "failed at " << failedAt;
        });
    EXPECT_GT(runs, 20) << text;
  }
}

// The form functions called on their own turn a failed allocation into
// null as well.
TEST(CIParserTest, FormFunctionsAnswerNullWhenMemoryRunsOut) {
  CCIParser parser;
  ASSERT_NE(nullptr, std::unique_ptr<CCIExpression>(parser.ParseControlInfoText("{x = {a, b}} Y(. c .)")));
  using Form = CCIExpression* (CCIParser::*)(std::int32_t&);
  const struct {
    Form form;
    std::int32_t start;
  } rows[] = {{&CCIParser::ParseExpr, 0},          {&CCIParser::ParseListExpr, 0},
              {&CCIParser::ParseAssignmentExpr, 1}, {&CCIParser::ParseInstanceExpr, 9},
              {&CCIParser::ParseStringValue, 1},    {&CCIParser::ParseIdentStringValue, 1}};
  for (const auto& row : rows) {
    const long live = orvtest::LiveBlocksOnThisThread();
    std::int32_t pos = row.start;
    orvtest::FailNewOnThisThread(true);
    CCIExpression* e = (parser.*row.form)(pos);
    orvtest::FailNewOnThisThread(false);
    EXPECT_EQ(nullptr, e) << "start " << row.start;
    EXPECT_EQ(live, orvtest::LiveBlocksOnThisThread()) << "start " << row.start;
    pos = row.start;
    std::unique_ptr<CCIExpression> parsed((parser.*row.form)(pos));
    EXPECT_NE(nullptr, parsed) << "start " << row.start;
  }
}

TEST(CIParserTest, ParserIsReusableAfterMemoryRanOut) {
  CCIParser parser;
  orvtest::FailNthNewOnThisThread(3);
  EXPECT_EQ(nullptr, parser.ParseControlInfoText("{a, b, c, d}"));
  orvtest::FailNthNewOnThisThread(0);
  EXPECT_EQ("{\"a\",\"b\"}", ParseDumpWith(parser, "{a, b}"));
}

TEST(CIParserTest, OutcomeTellsInvalidTextFromDone) {
  const struct {
    const char* text;
    CCIOutcome outcome;
  } rows[] = {{"{a}", CCIOutcome::kDone}, {"", CCIOutcome::kInvalid}, {"  ", CCIOutcome::kInvalid},
              {"a = 1", CCIOutcome::kInvalid}, {"{a,}", CCIOutcome::kInvalid}, {"}", CCIOutcome::kInvalid}};
  for (const auto& row : rows) {
    CCIParser parser;
    CCIOutcome outcome = CCIOutcome::kOutOfMemory;
    std::unique_ptr<CCIExpression> root(parser.ParseControlInfoTextWithOutcome(row.text, outcome));
    EXPECT_EQ(row.outcome, outcome) << row.text;
    EXPECT_EQ(row.outcome == CCIOutcome::kDone, root != nullptr) << row.text;
  }
}

}  // namespace
