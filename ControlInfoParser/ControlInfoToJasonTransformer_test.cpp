#include "ControlInfoParser/ControlInfoToJasonTransformer.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "ControlInfoParser/CIParser.h"
#include "testing/AllocationFaults.h"
#include "testing/Stacks.h"

namespace {

std::unique_ptr<CCIExpression> Parse(const std::string& text) {
  CCIParser parser;
  return std::unique_ptr<CCIExpression>(parser.ParseControlInfoText(text));
}

// Parses `text`, transforms the list and encodes the result; "null" when the
// parse or the transform gives nothing.
std::string TransformList(const std::string& text, bool compact) {
  std::unique_ptr<CCIExpression> tree = Parse(text);
  if (!tree) return "null";
  std::unique_ptr<CJasonTreeArray> json(CControlInfoToJasonTransformer::TransformControlInfoList(tree.get()));
  if (!json) return "null";
  std::string out;
  json->EncodeToString(out, compact, 0);
  return out;
}

std::string TransformList(const std::string& text) { return TransformList(text, true); }

// The same for one control.
std::string TransformControl(const std::string& text) {
  std::unique_ptr<CCIExpression> tree = Parse(text);
  if (!tree) return "null";
  std::unique_ptr<CJasonTreeObject> json(CControlInfoToJasonTransformer::TransformControl(tree.get()));
  if (!json) return "null";
  std::string out;
  json->EncodeToString(out, true, 0);
  return out;
}

struct Row {
  const char* input;
  const char* json;  // compact encoding, or "null"
};

// Expected texts follow the encoder's compact layout: "{ " and "[ " open,
// ", " separates, " : " follows a name, "}" and "]" close with no blank.
const Row kLists[] = {
    {"{}", "[ ]"},
    {"{ ControlInfo(. .) }", "[ { }]"},
    {"{ ControlInfo(. .), ControlInfo(..) }", "[ { }, { }]"},
    {"{ ControlInfo(. control = EditBox(. text = \"Name\", value = \"Pump\" .), children = { } .) }",
     "[ { \"control\" : { \"controlKind\" : \"EditBox\", \"text\" : \"Name\", \"value\" : \"Pump\"}, "
     "\"children\" : [ ]}]"},
    // The pairs follow the order of the assignments.
    {"{ ControlInfo(. children = {}, control = B(..) .) }",
     "[ { \"children\" : [ ], \"control\" : { \"controlKind\" : \"B\"}}]"},
    // Other names, non-assignments and a control that is not an instance are ignored.
    {"{ ControlInfo(. x = A(..), \"s\", control = \"notAnInstance\", children = {} .) }",
     "[ { \"children\" : [ ]}]"},
    {"{ ControlInfo(. children = { ControlInfo(. control = A(. text = t .) .) } .) }",
     "[ { \"children\" : [ { \"control\" : { \"controlKind\" : \"A\", \"text\" : \"t\"}}]}]"},
    {"{ ControlInfo(. control = A(..), control = B(..) .) }",
     "[ { \"control\" : { \"controlKind\" : \"A\"}, \"control\" : { \"controlKind\" : \"B\"}}]"},
    {"{ Other(. .) }", "null"},
    {"{ ControlInfo(. .), Other(. .) }", "null"},
    {"{ controlinfo(. .) }", "null"},
    {"{ \"ControlInfo\" }", "null"},
    {"{ ControlInfo }", "null"},
    {"{ ControlInfo = x }", "null"},
    {"ControlInfo(. .)", "null"},
    {"\"x\"", "null"},
    {"a = {}", "null"},
};

TEST(ControlInfoToJasonTransformerTest, TransformsTableOfListsToExactJson) {
  for (const Row& row : kLists) {
    EXPECT_EQ(row.json, TransformList(row.input)) << "input: " << row.input;
  }
}

const Row kControls[] = {
    {"Edit(..)", "{ \"controlKind\" : \"Edit\"}"},
    {"Edit(. text = \"T\", value = \"V\" .)",
     "{ \"controlKind\" : \"Edit\", \"text\" : \"T\", \"value\" : \"V\"}"},
    {"Edit(. value = \"V\", text = \"T\" .)",
     "{ \"controlKind\" : \"Edit\", \"value\" : \"V\", \"text\" : \"T\"}"},
    {"Edit(. value = x .)", "{ \"controlKind\" : \"Edit\", \"value\" : \"x\"}"},
    {"Edit(. value = \"{a, b}\" .)", "{ \"controlKind\" : \"Edit\", \"value\" : \"{a, b}\"}"},
    {"Edit(. text = {a}, value = X(..), other = \"o\", \"lone\", value = v = w .)",
     "{ \"controlKind\" : \"Edit\"}"},
    {"Edit(. text = a, text = b, value = c, value = d .)",
     "{ \"controlKind\" : \"Edit\", \"text\" : \"a\", \"text\" : \"b\", \"value\" : \"c\", "
     "\"value\" : \"d\"}"},
    {"EntityList(. value = \"{a, b}\" .)",
     "{ \"controlKind\" : \"EntityList\", \"value\" : [ \"a\", \"b\"]}"},
    {"EntityList(. value = \"{}\" .)", "{ \"controlKind\" : \"EntityList\", \"value\" : [ ]}"},
    {"EntityList(. value = \"{a, B(. .), c}\" .)",
     "{ \"controlKind\" : \"EntityList\", \"value\" : [ \"a\", \"c\"]}"},
    {"EntityList(. value = \"{a, (. .)}\" .)",
     "{ \"controlKind\" : \"EntityList\", \"value\" : \"{a, (. .)}\"}"},
    {"EntityList(. value = \"a\" .)", "{ \"controlKind\" : \"EntityList\", \"value\" : \"a\"}"},
    {"EntityList(. value = \"\" .)", "{ \"controlKind\" : \"EntityList\", \"value\" : \"\"}"},
    {"EntityList(. value = \"{x} {y}\" .)",
     "{ \"controlKind\" : \"EntityList\", \"value\" : [ \"x\"]}"},
    {"EntityList(. text = \"{a}\" .)", "{ \"controlKind\" : \"EntityList\", \"text\" : \"{a}\"}"},
    {"'Entity List'(. value = \"{a}\" .)",
     "{ \"controlKind\" : \"Entity List\", \"value\" : \"{a}\"}"},
    {"{ Edit(..) }", "null"},
    {"\"Edit\"", "null"},
    {"a = Edit(..)", "null"},
};

TEST(ControlInfoToJasonTransformerTest, TransformsTableOfControlsToExactJson) {
  for (const Row& row : kControls) {
    EXPECT_EQ(row.json, TransformControl(row.input)) << "input: " << row.input;
  }
}

TEST(ControlInfoToJasonTransformerTest, NullExpressionGivesNull) {
  EXPECT_EQ(nullptr, CControlInfoToJasonTransformer::TransformControlInfoList(nullptr));
  EXPECT_EQ(nullptr, CControlInfoToJasonTransformer::TransformControl(nullptr));
}

TEST(ControlInfoToJasonTransformerTest, EmptyListGivesEmptyArray) {
  std::unique_ptr<CCIExpression> tree = Parse("{}");
  std::unique_ptr<CJasonTreeArray> json(CControlInfoToJasonTransformer::TransformControlInfoList(tree.get()));
  ASSERT_NE(nullptr, json);
  EXPECT_EQ(NodeKind::Array, json->kind);
  EXPECT_TRUE(json->values.empty());
}

TEST(ControlInfoToJasonTransformerTest, ControlInfoWithoutArgumentsGivesOneEmptyObject) {
  std::unique_ptr<CCIExpression> tree = Parse("{ ControlInfo(. .) }");
  std::unique_ptr<CJasonTreeArray> json(CControlInfoToJasonTransformer::TransformControlInfoList(tree.get()));
  ASSERT_NE(nullptr, json);
  ASSERT_EQ(1u, json->values.size());
  ASSERT_EQ(NodeKind::Object, json->values.front()->kind);
  EXPECT_TRUE(static_cast<CJasonTreeObject*>(json->values.front())->pairs.empty());
}

TEST(ControlInfoToJasonTransformerTest, OtherInstanceOrInstanceRootGivesNoJson) {
  EXPECT_EQ("null", TransformList("{ Other(. .) }"));
  EXPECT_EQ("null", TransformList("ControlInfo(. control = Edit(..) .)"));
}

TEST(ControlInfoToJasonTransformerTest, FailingChildrenListIsLeftOutButItsOwnerKept) {
  EXPECT_EQ("[ { \"control\" : { \"controlKind\" : \"A\"}}]",
            TransformList("{ ControlInfo(. control = A(..), children = { x } .) }"));
}

// The same fault spoils the whole answer at the top but only one pair below.
TEST(ControlInfoToJasonTransformerTest, NestedChildrenFaultIsSilentWhileTopFaultIsFatal) {
  EXPECT_EQ("null", TransformList("{ x }"));
  EXPECT_EQ("[ { }]", TransformList("{ ControlInfo(. children = { x } .) }"));
  EXPECT_EQ("[ { }]", TransformList("{ ControlInfo(. children = { ControlInfo(..), Other(..) } .) }"));
  EXPECT_EQ("[ { }]", TransformList("{ ControlInfo(. children = Edit(..) .) }"));
  EXPECT_EQ("[ { \"children\" : [ { }]}]",
            TransformList("{ ControlInfo(. children = { ControlInfo(. children = { x } .) } .) }"));
}

TEST(ControlInfoToJasonTransformerTest, EntityListValueThatFailsToParseStaysString) {
  EXPECT_EQ("{ \"controlKind\" : \"EntityList\", \"value\" : \"{a, (. .)}\"}",
            TransformControl("EntityList(. value = \"{a, (. .)}\" .)"));
}

TEST(ControlInfoToJasonTransformerTest, EntityListValueKeepsOnlyStringItems) {
  EXPECT_EQ("{ \"controlKind\" : \"EntityList\", \"value\" : [ \"a\", \"c\"]}",
            TransformControl("EntityList(. value = \"{a, B(. .), c}\" .)"));
}

TEST(ControlInfoToJasonTransformerTest, IdentifierValueIsStringValue) {
  EXPECT_EQ("{ \"controlKind\" : \"Edit\", \"value\" : \"x\"}", TransformControl("Edit(. value = x .)"));
}

TEST(ControlInfoToJasonTransformerTest, EntityListValueThatIsNotListStaysString) {
  EXPECT_EQ("{ \"controlKind\" : \"EntityList\", \"value\" : \"a\"}",
            TransformControl("EntityList(. value = \"a\" .)"));
}

TEST(ControlInfoToJasonTransformerTest, RepeatedNamesGiveRepeatedPairs) {
  EXPECT_EQ("{ \"controlKind\" : \"Edit\", \"text\" : \"a\", \"text\" : \"b\"}",
            TransformControl("Edit(. text = a, text = b .)"));
  EXPECT_EQ("[ { \"children\" : [ ], \"children\" : [ { }]}]",
            TransformList("{ ControlInfo(. children = {}, children = { ControlInfo(..) } .) }"));
}

TEST(ControlInfoToJasonTransformerTest, LabelWithQuotesAndControlCharactersIsEscaped) {
  // The label holds: say "hi" <tab> <line feed> <carriage return> a\b <0x01> <0xC3 0xA4>.
  EXPECT_EQ("{ \"controlKind\" : \"Edit\", \"text\" : \"say \\\"hi\\\" \\u0009 \\n \\r a\\\\b "
            "\\u0001 \xC3\xA4\"}",
            TransformControl("Edit(. text = \"say \\\"hi\\\" \\t \\n \\r a\\\\b \x01 \xC3\xA4\" .)"));
  EXPECT_EQ("{ \"controlKind\" : \"Edit\", \"value\" : \"\\u0008\\u000C\"}",
            TransformControl("Edit(. value = \"\\b\\f\" .)"));
}

TEST(ControlInfoToJasonTransformerTest, ExpressionTreeIsUnchanged) {
  std::unique_ptr<CCIExpression> tree = Parse("{ ControlInfo(. control = EntityList(. value = \"{a}\" .) .) }");
  ASSERT_NE(nullptr, tree);
  for (int i = 0; i < 2; ++i) {
    std::unique_ptr<CJasonTreeArray> json(CControlInfoToJasonTransformer::TransformControlInfoList(tree.get()));
    ASSERT_NE(nullptr, json);
    std::string out;
    json->EncodeToString(out, true, 0);
    EXPECT_EQ("[ { \"control\" : { \"controlKind\" : \"EntityList\", \"value\" : [ \"a\"]}}]", out);
  }
}

// The example page with an entity list, in the pretty layout: every line but
// the last ends in carriage return and line feed, each level indents four
// blanks, a nested container starts on a line of its own one level deeper
// than its pair, and "{ ", "[ " and ", " keep their blank before the line end.
TEST(ControlInfoToJasonTransformerTest, EntityListExampleEncodesPrettyByteForByte) {
  const std::string expected =
      "[ \r\n"
      "    { \r\n"
      "        \"control\" : \r\n"
      "            { \r\n"
      "                \"controlKind\" : \"EntityList\", \r\n"
      "                \"text\" : \"Owners\", \r\n"
      "                \"value\" : \r\n"
      "                    [ \r\n"
      "                        \"a\", \r\n"
      "                        \"b\"\r\n"
      "                    ]\r\n"
      "            }\r\n"
      "    }\r\n"
      "]";
  EXPECT_EQ(expected,
            TransformList("{ ControlInfo(. control = EntityList(. text = \"Owners\", value = \"{a, b}\" .) .) }",
                          false));
}

TEST(ControlInfoToJasonTransformerTest, EditBoxExampleEncodesCompactByteForByte) {
  EXPECT_EQ("[ { \"control\" : { \"controlKind\" : \"EditBox\", \"text\" : \"Name\", \"value\" : \"Pump\"}, "
            "\"children\" : [ ]}]",
            TransformList("{ ControlInfo(. control = EditBox(. text = \"Name\", value = \"Pump\" .), children = { } .) }"));
}

// A page with `levels` levels of children, each a "ControlInfo" with only
// its children, around an empty list.
std::string NestedChildrenPage(int levels) {
  std::string text;
  for (int i = 0; i < levels; ++i) text += "{ ControlInfo(. children = ";
  text += "{}";
  for (int i = 0; i < levels; ++i) text += " .) }";
  return text;
}

// Its compact JSON: each level writes `[ { "children" : ` and `}]` around the
// innermost `[ ]`.
std::string NestedChildrenJson(int levels) {
  std::string json;
  for (int i = 0; i < levels; ++i) json += "[ { \"children\" : ";
  json += "[ ]";
  for (int i = 0; i < levels; ++i) json += "}]";
  return json;
}

// 171 levels of children were once beyond a fixed nesting bound.
TEST(ControlInfoToJasonTransformerTest, PageOf171LevelsOfChildrenTransforms) {
  EXPECT_EQ(NestedChildrenJson(171), TransformList(NestedChildrenPage(171)));
  EXPECT_EQ(std::size_t{171} * 19 + 3, NestedChildrenJson(171).size());
}

// A page as the host writes it: controls with labels and values, an entity
// list, an empty and a filled list of children.
const char kTypicalPage[] =
    "{ ControlInfo(. control = EditBox(. text = \"Name\", value = \"Pump 1\" .), children = { } .),\r\n"
    "  ControlInfo(. control = EntityList(. text = \"Owners\", value = \"{a, 'b c', \\\"d\\\", X(..)}\" .) .),\r\n"
    "  ControlInfo(. control = GroupBox(. text = \"Settings\" .), children = {\r\n"
    "    ControlInfo(. control = CheckBox(. text = \"Enabled\", value = \"true\" .) .) } .) }";
const char kTypicalJson[] =
    "[ { \"control\" : { \"controlKind\" : \"EditBox\", \"text\" : \"Name\", \"value\" : \"Pump 1\"}, "
    "\"children\" : [ ]}, "
    "{ \"control\" : { \"controlKind\" : \"EntityList\", \"text\" : \"Owners\", \"value\" : [ \"a\", \"b c\", \"d\"]}}, "
    "{ \"control\" : { \"controlKind\" : \"GroupBox\", \"text\" : \"Settings\"}, "
    "\"children\" : [ { \"control\" : { \"controlKind\" : \"CheckBox\", \"text\" : \"Enabled\", \"value\" : \"true\"}}]}]";

// A page with one entity list whose value text is `value` (written into
// the page's double quotes as it is: it must hold no quote or backslash).
std::string EntityListPage(const std::string& value) {
  return "{ ControlInfo(. control = EntityList(. text = \"Owners\", value = \"" + value + "\" .) .) }";
}

// Its compact JSON when the value is the array or the string `value`.
std::string EntityListJson(const std::string& value) {
  return "[ { \"control\" : { \"controlKind\" : \"EntityList\", \"text\" : \"Owners\", \"value\" : " + value +
         "}}]";
}

std::string Repeat(const std::string& text, int times) {
  std::string out;
  for (int i = 0; i < times; ++i) out += text;
  return out;
}

struct StackRow {
  std::string name;
  std::string page;
  std::string json;  // compact, or "null"
};

std::vector<StackRow> StackRows() {
  const int deep = 100000;
  const std::string deepList = Repeat("{", deep) + Repeat("}", deep);
  return {
      {"empty list", "{}", "[ ]"},
      {"typical page", kTypicalPage, kTypicalJson},
      {"entity list", EntityListPage("{a, b}"), EntityListJson("[ \"a\", \"b\"]")},
      // The nested parse of the value goes 100,000 levels deep; the list
      // there is no string item and is skipped.
      {"deep entity list", EntityListPage("{a, " + deepList + ", b}"), EntityListJson("[ \"a\", \"b\"]")},
      {"deep unclosed entity list", EntityListPage("{a, " + Repeat("{", deep)),
       EntityListJson("\"{a, " + Repeat("{", deep) + "\"")},
      {"deep children", NestedChildrenPage(deep), NestedChildrenJson(deep)},
      // 100,000 levels of children whose innermost list holds a wrong item:
      // only the innermost pair is lost.
      {"deep children with a fault at the bottom",
       Repeat("{ ControlInfo(. children = ", deep) + "{ x }" + Repeat(" .) }", deep),
       Repeat("[ { \"children\" : ", deep - 1) + "[ { }]" + Repeat("}]", deep - 1)},
      {"deep list of lists", deepList, "null"},
  };
}

// Parses, transforms and encodes each row's page on `stack`.
std::vector<std::string> TransformOnStack(const std::vector<StackRow>& rows, const orvtest::StackKind& stack) {
  std::vector<std::string> out;
  EXPECT_TRUE(orvtest::RunOnStack(stack, [&] {
    for (const StackRow& row : rows) out.push_back(TransformList(row.page));
  })) << stack.name;
  return out;
}

// The walks keep their work on the heap: every stack a host may call on,
// however small or switched, gives the same JSON, also 100,000 levels deep.
TEST(ControlInfoToJasonTransformerTest, SameJsonOnEveryStack) {
  const std::vector<StackRow> rows = StackRows();
  for (const orvtest::StackKind& stack : orvtest::EveryStack()) {
    const std::vector<std::string> json = TransformOnStack(rows, stack);
    ASSERT_EQ(rows.size(), json.size()) << stack.name;
    for (std::size_t i = 0; i < rows.size(); ++i) {
      // Compared as a truth value: a mismatch of megabytes is not printed.
      EXPECT_TRUE(rows[i].json == json[i]) << stack.name << ": " << rows[i].name;
    }
  }
}

// Transforms `tree` with each allocation failing in turn. Every failure
// answers null and frees all that was made; only the run without a failure
// gives JSON, and that is `expected`.
void SweepTransform(const CCIExpression* tree, bool list, const std::string& expected) {
  std::string json;
  long live = 0;
  const long runs = orvtest::SweepAllocationFailures(
      [&] {
        live = orvtest::LiveBlocksOnThisThread();
        std::unique_ptr<CJasonTreeNode> node;
        if (list) {
          node.reset(CControlInfoToJasonTransformer::TransformControlInfoList(tree));
        } else {
          node.reset(CControlInfoToJasonTransformer::TransformControl(tree));
        }
        json = node ? "made" : "null";
        node.reset();
        live = orvtest::LiveBlocksOnThisThread() - live;
      },
      [&](long failedAt) {
        EXPECT_EQ(0, live) << "failed at " << failedAt;
        EXPECT_EQ(failedAt == 0 ? "made" : "null", json) << "failed at " << failedAt;
      });
  EXPECT_GT(runs, 10);
  std::unique_ptr<CJasonTreeNode> node(list ? static_cast<CJasonTreeNode*>(
                                                  CControlInfoToJasonTransformer::TransformControlInfoList(tree))
                                            : CControlInfoToJasonTransformer::TransformControl(tree));
  ASSERT_NE(nullptr, node);
  std::string out;
  node->EncodeToString(out, true, 0);
  EXPECT_EQ(expected, out);
}

// Memory running out anywhere, also in the nested parse of an entity list's
// value, fails the whole page: never a page whose value fell back to the
// plain string, never one with a part left out.
TEST(ControlInfoToJasonTransformerTest, EveryAllocationFailureGivesNoJsonAndFreesEverything) {
  const struct {
    std::string page;
    std::string json;
  } rows[] = {
      {kTypicalPage, kTypicalJson},
      {EntityListPage("{a, b}"), EntityListJson("[ \"a\", \"b\"]")},
      {NestedChildrenPage(20), NestedChildrenJson(20)},
  };
  for (const auto& row : rows) {
    std::unique_ptr<CCIExpression> tree = Parse(row.page);
    ASSERT_NE(nullptr, tree);
    SweepTransform(tree.get(), true, row.json);
  }
  std::unique_ptr<CCIExpression> control = Parse("EntityList(. text = \"Owners\", value = \"{a, b}\" .)");
  ASSERT_NE(nullptr, control);
  SweepTransform(control.get(), false,
                 "{ \"controlKind\" : \"EntityList\", \"text\" : \"Owners\", \"value\" : [ \"a\", \"b\"]}");
}

}  // namespace
