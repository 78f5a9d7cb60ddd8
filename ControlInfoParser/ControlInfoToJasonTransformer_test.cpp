#include "ControlInfoParser/ControlInfoToJasonTransformer.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "ControlInfoParser/CIParser.h"
#include "Utils/ThreadWithStack.h"

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

// Transforms the parsed page `tree` on a thread with `stackSize` bytes of
// stack; the compact JSON, or "null".
std::string TransformOnThread(const CCIExpression* tree, std::size_t stackSize) {
  std::string out = "null";
  EXPECT_TRUE(RunOnThreadWithStack(stackSize, [&] {
    std::unique_ptr<CJasonTreeArray> json(CControlInfoToJasonTransformer::TransformControlInfoList(tree));
    if (json) {
      out.clear();
      json->EncodeToString(out, true, 0);
    }
  }));
  return out;
}

TEST(ControlInfoToJasonTransformerTest, DeepPageTransformsAsDeepAsTheStackHolds) {
  SKIP_DEEP_RECURSION_UNDER_THREAD_SANITIZER();
  const int levels = 10000;
  const std::string page = NestedChildrenPage(levels);
  if (kSanitizerFrames) {
    // Sanitizer frames are several times the size of those of a normal
    // build: there the page gets a thread with a stack big enough for it.
    std::string json;
    RunOnThreadWithStack(kHugeThreadStack, [&] { json = TransformList(page); });
    EXPECT_EQ(NestedChildrenJson(levels), json);
    return;
  }
  EXPECT_EQ(NestedChildrenJson(levels), TransformList(page));
}

// The stack runs out deep inside the page: the whole transformation fails,
// rather than answering the page with its deepest levels cut off.
TEST(ControlInfoToJasonTransformerTest, PageDeeperThanTheStackGivesNull) {
  SKIP_DEEP_RECURSION_UNDER_THREAD_SANITIZER();
  const int levels = 10000;
  std::unique_ptr<CCIExpression> tree;
  RunOnThreadWithStack(kHugeThreadStack, [&] { tree = Parse(NestedChildrenPage(levels)); });
  ASSERT_NE(nullptr, tree);
  EXPECT_EQ("null", TransformOnThread(tree.get(), kSmallStackAboveMargin));
  // A shallow page still transforms on the same small stack.
  std::unique_ptr<CCIExpression> shallow = Parse(NestedChildrenPage(3));
  EXPECT_EQ(NestedChildrenJson(3), TransformOnThread(shallow.get(), kSmallStackAboveMargin));
}

}  // namespace
