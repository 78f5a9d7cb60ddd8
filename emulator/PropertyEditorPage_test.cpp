// Tests of the host agent "@VELExtensionManagement@GetPropertyEditorPage".
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "emulator/Entity.h"
#include "emulator/HostMonitor.h"
#include "emulator/Model.h"
#include "emulator/ModelFile.h"
#include "emulator/Parameters.h"

namespace {

using qmemu::Entity;
using qmemu::HostMonitor;
using qmemu::Model;
using qmemu::ParameterValue;
using qmemu::ParamKind;
using qmemu::TextAt;

const char kPath[] = "@VELExtensionManagement@GetPropertyEditorPage";

const char kModel[] = R"({"root": {"guid": "ROOT", "name": "Root", "children": [
  {"guid": "WITH-PAGE", "meta": "Block", "name": "Pump",
   "values": {"PropertyPage": "{ ControlInfo(. control = Label(. text = \"a\\tb\", 'value' = \"x\" .) .) }"}},
  {"guid": "EMPTY-PAGE", "meta": "Block", "name": "Empty", "values": {"PropertyPage": ""}},
  {"guid": "NO-PAGE", "meta": "Block", "name": "Gauge"},
  {"guid": "TRICKY", "meta": "Block", "name": "say \"hi\"\\now\t!"}]}})";

class PropertyEditorPageTest : public ::testing::Test {
 protected:
  void SetUp() override {
    HostMonitor::Instance().Reset();
    std::string error;
    model = qmemu::LoadModelText(kModel, "pages.json", error);
    ASSERT_NE(model, nullptr) << error;
  }
  void TearDown() override { HostMonitor::Instance().Reset(); }

  // Runs the page agent on `guid` with a text parameter holding "before",
  // a null interface and an entity list; the text of the first parameter.
  std::string Page(const std::string& guid) {
    qm::EntityList list;
    qm::AgentParameters parameters;
    parameters.push_back(qm::AgentParameter::Create("before", qm::_String));
    parameters.push_back(qm::AgentParameter::Create(static_cast<const qm::IUnknown*>(nullptr), qm::_UnknownInterface));
    parameters.push_back(qm::AgentParameter::Create(list, qm::_EntityList));
    model->InvokeAgent(model->FindEntity(kPath), model->FindEntity(guid), parameters);
    EXPECT_TRUE(list.empty());
    return TextAt(parameters, 1);
  }

  std::unique_ptr<Model> model;
};

TEST_F(PropertyEditorPageTest, IsDeclaredInEveryModelWithItsThreeParameters) {
  Entity* declaration = model->find(kPath);
  ASSERT_NE(declaration, nullptr);
  EXPECT_EQ(declaration->meta(), "AgentDeclaration");
  const auto& formals = declaration->list("Parameter");
  ASSERT_EQ(formals.size(), 3u);
  EXPECT_EQ(formals[0]->value("Kind"), "text");
  EXPECT_EQ(formals[1]->value("Kind"), "interface");
  EXPECT_EQ(formals[2]->value("Kind"), "entity list");
  std::string error;
  auto without = qmemu::LoadModelText(std::string(R"({"omit": [")") + kPath + R"("], "root": {}})", "m.json", error);
  ASSERT_NE(without, nullptr) << error;
  EXPECT_EQ(without->FindEntity(kPath), nullptr);
}

TEST_F(PropertyEditorPageTest, WritesThePropertyPageValueByteForByte) {
  EXPECT_EQ(Page("WITH-PAGE"), "{ ControlInfo(. control = Label(. text = \"a\\tb\", 'value' = \"x\" .) .) }");
}

TEST_F(PropertyEditorPageTest, AnEmptyPropertyPageValueIsAnEmptyPage) { EXPECT_EQ(Page("EMPTY-PAGE"), ""); }

TEST_F(PropertyEditorPageTest, AnEntityWithoutAPageGetsAnEditBoxShowingItsName) {
  EXPECT_EQ(Page("NO-PAGE"),
            "{ ControlInfo(. control = EditBox(. text = \"Name\", 'value' = \"Gauge\" .), children = { } .) }");
}

TEST_F(PropertyEditorPageTest, TheDefaultPageQuotesTheNameAsAControlInfoString) {
  const std::string page = Page("TRICKY");
  EXPECT_EQ(page, "{ ControlInfo(. control = EditBox(. text = \"Name\", 'value' = \"say \\\"hi\\\"\\\\now\t!\" .), "
                  "children = { } .) }");
  // The host reads the name back exactly.
  qm::EntityList parsed;
  model->ParseExpressionText(page, parsed, "Expression");
  ASSERT_EQ(parsed.size(), 1u);
  Entity* info = Entity::From(parsed.front())->list("Expression").at(0);
  Entity* value = info->argument("control")->argument("'value'");
  ASSERT_NE(value, nullptr);
  EXPECT_EQ(value->value("ValueString"), "say \"hi\"\\now\t!");
}

TEST_F(PropertyEditorPageTest, NeedsOnlyTheTextParameter) {
  qm::AgentParameters parameters;
  parameters.push_back(qm::AgentParameter::Create("", qm::_String));
  model->InvokeAgent(model->FindEntity(kPath), model->FindEntity("NO-PAGE"), parameters);
  EXPECT_NE(TextAt(parameters, 1).find("\"Gauge\""), std::string::npos);
  qm::AgentParameters none;
  model->InvokeAgent(model->FindEntity(kPath), model->FindEntity("NO-PAGE"), none);
  EXPECT_TRUE(none.empty());
}

TEST_F(PropertyEditorPageTest, LeavesTheParameterWithoutContextOrWhenItIsNoText) {
  qm::AgentParameters parameters;
  parameters.push_back(qm::AgentParameter::Create("kept", qm::_String));
  model->InvokeAgent(model->FindEntity(kPath), nullptr, parameters);
  EXPECT_EQ(TextAt(parameters, 1), "kept");
  qm::AgentParameters number;
  number.push_back(qm::AgentParameter::Create(5L, qm::_Integer));
  model->InvokeAgent(model->FindEntity(kPath), model->FindEntity("NO-PAGE"), number);
  EXPECT_EQ(ParameterValue::Of(*number.front()).kind, ParamKind::Integer);
  EXPECT_EQ(ParameterValue::Of(*number.front()).text, "");
}

// The parameters after the page text are checked as declared (interface,
// then entity list): a caller that swaps them, or passes something else,
// gets no page and a message naming the parameter.
struct PageListRow {
  const char* what;
  std::vector<ParamKind> kinds;  // the first is always the text
  const char* message;           // "" when accepted
};

TEST_F(PropertyEditorPageTest, ChecksTheKindsOfTheParametersItIsGiven) {
  const char* const swapped =
      "@VELExtensionManagement@GetPropertyEditorPage: parameter 2 (context) must be interface, got entity list";
  const PageListRow rows[] = {
      {"text alone", {ParamKind::Text}, ""},
      {"text and interface", {ParamKind::Text, ParamKind::Interface}, ""},
      {"as declared", {ParamKind::Text, ParamKind::Interface, ParamKind::EntityList}, ""},
      {"interface and entity list swapped", {ParamKind::Text, ParamKind::EntityList, ParamKind::Interface}, swapped},
      {"entity list without interface", {ParamKind::Text, ParamKind::EntityList}, swapped},
      {"text where the interface belongs",
       {ParamKind::Text, ParamKind::Text, ParamKind::EntityList},
       "@VELExtensionManagement@GetPropertyEditorPage: parameter 2 (context) must be interface, got text"},
      {"interface twice",
       {ParamKind::Text, ParamKind::Interface, ParamKind::Interface},
       "@VELExtensionManagement@GetPropertyEditorPage: parameter 3 (entities) must be entity list, got interface"},
      {"a fourth parameter",
       {ParamKind::Text, ParamKind::Interface, ParamKind::EntityList, ParamKind::Text},
       "@VELExtensionManagement@GetPropertyEditorPage: expected 1 to 3 parameters, got 4"},
  };
  for (const PageListRow& row : rows) {
    qm::EntityList list;
    qm::AgentParameters parameters;
    for (ParamKind kind : row.kinds) {
      auto* p = new ParameterValue(kind);
      if (kind == ParamKind::Text) p->text = "before";
      if (kind == ParamKind::EntityList) p->list = &list;
      parameters.push_back(p);
    }
    model->messages().Clear();
    model->InvokeAgent(model->FindEntity(kPath), model->FindEntity("WITH-PAGE"), parameters);
    const bool accepted = *row.message == '\0';
    EXPECT_EQ(accepted ? "{ ControlInfo(. control = Label(. text = \"a\\tb\", 'value' = \"x\" .) .) }" : "before",
              TextAt(parameters, 1))
        << row.what;
    EXPECT_EQ(accepted ? std::vector<std::string>{} : std::vector<std::string>{row.message},
              model->messages().Messages())
        << row.what;
    EXPECT_TRUE(list.empty()) << row.what;
  }
}

TEST_F(PropertyEditorPageTest, ItsWorkIsNotCountedAsHostOperations) {
  qm::AgentParameters parameters;
  parameters.push_back(qm::AgentParameter::Create("", qm::_String));
  qm::IVelEntity* agent = model->FindEntity(kPath);
  qm::IVelEntity* context = model->FindEntity("WITH-PAGE");
  HostMonitor::Instance().Reset();
  HostMonitor::Instance().SetLogging(true);
  model->InvokeAgent(agent, context, parameters);
  EXPECT_EQ(HostMonitor::Instance().Log(), std::vector<std::string>{std::string("InvokeAgent(") + kPath + ")"});
}

}  // namespace
