// Tests of the host's expression parser (Model::ParseExpressionText).
#include <gtest/gtest.h>

#include <string>

#include "emulator/Entity.h"
#include "emulator/HostMonitor.h"
#include "emulator/Model.h"

namespace {

using qmemu::Entity;
using qmemu::HostMonitor;
using qmemu::Model;

// A readable dump of parsed entities: `{a, b}` for a list, `Kind(name=v)`
// for an instance (Kind is the "Name" of its "InstanceOf"), `S:text` for a
// string and `N:name` for a name. Bytes are written as they are.
std::string Dump(const Entity* e) {
  if (e == nullptr) return "<null>";
  if (e->meta() == "ListExpr") {
    std::string out = "{";
    const char* separator = "";
    for (const Entity* item : e->list("Expression")) {
      out += separator + Dump(item);
      separator = ", ";
    }
    return out + "}";
  }
  if (e->meta() == "InstanceExpr") {
    const Entity* definition = e->reference("InstanceOf");
    std::string out = (definition == nullptr ? std::string("<no definition>") : definition->name()) + "(";
    const char* separator = "";
    for (const Entity::Link& argument : e->arguments()) {
      out += separator + argument.first + "=" + Dump(argument.second);
      separator = ", ";
    }
    return out + ")";
  }
  if (e->meta() == "CharstringValue") return "S:" + e->value("ValueString");
  if (e->meta() == "Ident") return "N:" + e->value("ValueString");
  return "<" + e->meta() + ">";
}

class ExpressionParserTest : public ::testing::Test {
 protected:
  void SetUp() override {
    HostMonitor::Instance().Reset();
    model.addPredefined();
  }
  void TearDown() override { HostMonitor::Instance().Reset(); }

  // Parses `text` with meta class "Expression"; the dump of the one entity
  // appended, or "none" when nothing was appended.
  std::string Parse(const std::string& text, const std::string& metaClass = "Expression") {
    qm::EntityList entities;
    model.ParseExpressionText(text, entities, metaClass);
    if (entities.empty()) return "none";
    if (entities.size() != 1) return "more than one entity";
    return Dump(Entity::From(entities.front()));
  }

  Model model{"ROOT"};
};

struct Row {
  const char* input;
  const char* tree;
};

const Row kParses[] = {
    {"{}", "{}"},
    {" {\t\r\n} ", "{}"},
    {"{a, \"b\"}", "{N:a, S:b}"},
    {"X(..)", "X()"},
    {"X(. .)", "X()"},
    {"X (. .)", "X()"},
    {"x", "N:x"},
    {"_", "N:_"},
    {"x_1", "N:x_1"},
    {"\"x\"", "S:x"},
    {"\"\"", "S:"},
    {"Edit(. text = \"A\\tB\" .)", "Edit(text=S:A\tB)"},
    {"Edit(. 'value' = x .)", "Edit('value'=N:x)"},
    {"Edit(. value = x .)", "Edit(value=N:x)"},
    {"'my kind'(. 'a b' = 'c d' .)", "my kind('a b'=N:c d)"},
    {"{'it\\'s'}", "{N:it's}"},
    {"\"a\\\"b\\\\c\\b\\n\\r\\f\"", "S:a\"b\\c\b\n\r\f"},
    {"\"line\nbreak\xC3\xA9\"", "S:line\nbreak\xC3\xA9"},
    {"{{a}, {}}", "{{N:a}, {}}"},
    {"A(. x = B(. y = {c, \"d\"} .), z = e .)", "A(x=B(y={N:c, S:d}), z=N:e)"},
    {"{ ControlInfo(. control = EditBox(. text = \"Name\", 'value' = \"Pump\" .), children = { } .) }",
     "{ControlInfo(control=EditBox(text=S:Name, 'value'=S:Pump), children={})}"},
    {"{ ControlInfo(. control = EntityList(. text = \"Owners\", 'value' = \"{a, b}\" .) .) }",
     "{ControlInfo(control=EntityList(text=S:Owners, 'value'=S:{a, b}))}"},
};

TEST_F(ExpressionParserTest, ParsesTheTableOfTexts) {
  for (const Row& row : kParses) {
    EXPECT_EQ(Parse(row.input), row.tree) << row.input;
  }
}

const char* const kFailures[] = {
    "",                       // no expression
    "  \t\n",                 // blanks only
    "a = b",                  // an assignment is no expression of its own
    "X(. a .)",               // instance arguments are named
    "X(. a = .)",             // no value
    "X(. a = b, .)",          // separator before the end
    "X(. , a = b .)",         // separator first
    "X(. a = b c = d .)",     // no separator
    "{a,}",
    "{,a}",
    "{a b}",
    "{a} {b}",                // the whole text must be one expression
    "x y",
    "\"x\" = y",              // a string is never a name
    "a = 12",
    "12",
    "{a1, 2b}",
    "\"abc",                  // no closing quote
    "\"ab\\",                 // backslash at the end
    "\"a\\'b\"",              // only the enclosing quote may be escaped
    "'a\\\"b'",
    "\"a\\/b\"",
    "( .",
    ". )",
    "X( . .)",                // "(." is one symbol
    "X(. . )",                // and so is ".)"
    "X(.",
    "X(. .",
    "{",
    "}",
    "X(",
    "x.",
    "\xC3\xA9t\xC3\xA9",      // bytes from 0x80 up are not letters
    "a\xC3\xA9",
    "{a}\x0B",                // vertical tab is no blank
};

TEST_F(ExpressionParserTest, TextsThatDoNotParseAppendNothingAndChangeNothing) {
  const std::size_t entities = model.entities().size();
  for (const char* input : kFailures) {
    EXPECT_EQ(Parse(input), "none") << input;
  }
  EXPECT_EQ(model.entities().size(), entities);
}

TEST_F(ExpressionParserTest, NestingIsBoundedAt256Levels) {
  std::string deepest = std::string(256, '{') + std::string(256, '}');
  EXPECT_NE(Parse(deepest), "none");
  std::string tooDeep = std::string(257, '{') + std::string(257, '}');
  EXPECT_EQ(Parse(tooDeep), "none");
  std::string hostile(100000, '{');
  EXPECT_EQ(Parse(hostile), "none");
}

TEST_F(ExpressionParserTest, InstanceOfIsADefinitionNamedAfterTheKind) {
  qm::EntityList entities;
  model.ParseExpressionText("{ EditBox(..), EditBox(..), Label(..) }", entities, "Expression");
  ASSERT_EQ(entities.size(), 1u);
  const auto& items = Entity::From(entities.front())->list("Expression");
  ASSERT_EQ(items.size(), 3u);
  qm::IVelEntity* edit = items[0]->GetEntity("InstanceOf", 0);
  ASSERT_NE(edit, nullptr);
  EXPECT_TRUE(edit->IsKindOf("Definition"));
  std::string name;
  edit->GetValue("Name", name, 0);
  EXPECT_EQ(name, "EditBox");
  // One definition per kind, kept in the host's package and found by path.
  EXPECT_EQ(items[1]->GetEntity("InstanceOf", 0), edit);
  EXPECT_EQ(model.FindEntity("@ControlKinds@EditBox"), edit);
  EXPECT_EQ(Entity::From(edit)->owner(), model.find("@ControlKinds"));
  EXPECT_EQ(Entity::From(items[2]->GetEntity("InstanceOf", 0))->name(), "Label");
  // A later parse finds the same definition.
  qm::EntityList again;
  model.ParseExpressionText("EditBox(..)", again, "Expression");
  ASSERT_EQ(again.size(), 1u);
  EXPECT_EQ(again.front()->GetEntity("InstanceOf", 0), edit);
}

TEST_F(ExpressionParserTest, DefinitionsOfTheModelsOwnControlKindsPackageAreUsed) {
  Entity* package = model.create("Package", "MY-KINDS", &model.root());
  package->setValue("Name", "ControlKinds");
  Entity* slider = model.create("Class", "SLIDER", package);
  slider->setValue("Name", "Slider");
  qm::EntityList entities;
  model.ParseExpressionText("Slider(..)", entities, "Expression");
  ASSERT_EQ(entities.size(), 1u);
  EXPECT_EQ(Entity::From(entities.front())->reference("InstanceOf"), slider);
}

TEST_F(ExpressionParserTest, ArgumentsAreAnsweredByNameAsWritten) {
  qm::EntityList entities;
  model.ParseExpressionText("EditBox(. text = \"Name\", 'value' = \"Pump\", mode = auto .)", entities, "Expression");
  ASSERT_EQ(entities.size(), 1u);
  void* p = nullptr;
  entities.front()->QueryInterface(qm::IVelExpression::guid, &p);
  ASSERT_NE(p, nullptr);
  auto* expression = static_cast<qm::IVelExpression*>(p);
  EXPECT_EQ(Entity::From(expression->GetArgument("text"))->value("ValueString"), "Name");
  EXPECT_EQ(Entity::From(expression->GetArgument("'value'"))->value("ValueString"), "Pump");
  EXPECT_EQ(expression->GetArgument("value"), nullptr);
  Entity* mode = Entity::From(expression->GetArgument("mode"));
  ASSERT_NE(mode, nullptr);
  EXPECT_EQ(mode->meta(), "Ident");
  EXPECT_EQ(mode->name(), "auto");
  EXPECT_EQ(mode->value("ValueString"), "auto");
  EXPECT_EQ(Entity::From(expression->GetArgument("text"))->meta(), "CharstringValue");
}

TEST_F(ExpressionParserTest, TheTopEntityIsUnattachedAndOwnsTheRest) {
  qm::EntityList entities;
  model.ParseExpressionText("{ A(. x = y .) }", entities, "Expression");
  ASSERT_EQ(entities.size(), 1u);
  Entity* top = Entity::From(entities.front());
  EXPECT_EQ(top->owner(), nullptr);
  Entity* instance = top->list("Expression").at(0);
  EXPECT_EQ(instance->owner(), top);
  EXPECT_EQ(instance->argument("x")->owner(), instance);
  // Deleting the top entity takes everything below it.
  const std::size_t before = model.entities().size();
  model.destroy(top);
  EXPECT_EQ(model.entities().size(), before - 3);
}

TEST_F(ExpressionParserTest, TheTopExpressionMustBeOfTheMetaClassAskedFor) {
  EXPECT_EQ(Parse("{a}", "ListExpr"), "{N:a}");
  EXPECT_EQ(Parse("{a}", "InstanceExpr"), "none");
  EXPECT_EQ(Parse("X(..)", "InstanceExpr"), "X()");
  EXPECT_EQ(Parse("{a}", "Block"), "none");
  EXPECT_EQ(Parse("{a}", "NoSuchMetaClass"), "none");
}

TEST_F(ExpressionParserTest, AppendsToTheCallersListAndCountsOneHostOperation) {
  qm::EntityList entities{nullptr};
  HostMonitor::Instance().SetLogging(true);
  model.ParseExpressionText("{a}", entities, "Expression");
  EXPECT_EQ(entities.size(), 2u);
  EXPECT_EQ(entities.front(), nullptr);
  EXPECT_EQ(HostMonitor::Instance().Log(), std::vector<std::string>{"ParseExpressionText({a})"});
}

TEST_F(ExpressionParserTest, AFailingParseCanBeInjected) {
  qm::EntityList entities;
  HostMonitor::Instance().FailOperation("ParseExpressionText");
  EXPECT_THROW(model.ParseExpressionText("{a}", entities, "Expression"), qmemu::InjectedFault);
  EXPECT_TRUE(entities.empty());
}

TEST_F(ExpressionParserTest, DiscardingParsedExpressionsFreesOnlyThoseStillUnattached) {
  const std::size_t before = model.entities().size();
  qm::EntityList kept, dropped;
  model.ParseExpressionText("{ EditBox(. text = \"a\" .) }", kept, "Expression");
  model.ParseExpressionText("Label(..)", dropped, "Expression");
  model.ParseExpressionText("1 +", dropped, "Expression");  // appends nothing
  ASSERT_EQ(kept.size(), 1u);
  ASSERT_EQ(dropped.size(), 1u);
  Entity* attached = Entity::From(kept.front());
  model.root().addArgument("kept", attached);  // now owned by the model's tree: not the host's to drop
  const std::size_t afterParsing = model.entities().size();
  std::string droppedGuid = Entity::From(dropped.front())->guid();
  EXPECT_EQ(model.discardParsedExpressions(), 1u);
  EXPECT_EQ(model.find(droppedGuid), nullptr);
  EXPECT_EQ(model.find(attached->guid()), attached);
  EXPECT_LT(model.entities().size(), afterParsing);
  EXPECT_GT(model.entities().size(), before);  // the attached list and the control kinds stay
  EXPECT_NE(model.find("@ControlKinds@Label"), nullptr);
  EXPECT_EQ(model.discardParsedExpressions(), 0u);  // forgotten once discarded
}

}  // namespace
