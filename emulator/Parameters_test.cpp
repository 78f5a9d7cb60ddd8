// Tests of the agent parameters and of parameter validation.
#include "emulator/Parameters.h"

#include <gtest/gtest.h>

#include "emulator/HostMonitor.h"
#include "emulator/Model.h"

namespace qmemu {
namespace {

class ParametersTest : public ::testing::Test {
 protected:
  void SetUp() override {
    HostMonitor::Instance().Reset();
    model.addPredefined();
  }
  void TearDown() override { HostMonitor::Instance().Reset(); }
  Model model;
};

TEST_F(ParametersTest, CreateOverloadsAreChosenByTheirTags) {
  qm::EntityList entities;
  qm::AgentParameters list;
  list.push_back(qm::AgentParameter::Create("text", qm::_String));
  list.push_back(qm::AgentParameter::Create(0, qm::_Integer));
  list.push_back(qm::AgentParameter::Create(true, qm::_Boolean));
  list.push_back(qm::AgentParameter::Create(entities, qm::_EntityList));
  list.push_back(qm::AgentParameter::Create(nullptr, qm::_UnknownInterface));
  list.push_back(qm::AgentParameter::Create(static_cast<const char*>(nullptr), qm::_String));
  const ParamKind expected[] = {ParamKind::Text,       ParamKind::Integer,   ParamKind::Boolean,
                                ParamKind::EntityList, ParamKind::Interface, ParamKind::Text};
  std::size_t i = 0;
  for (qm::AgentParameter* p : list) EXPECT_EQ(ParameterValue::Of(*p).kind, expected[i++]);
  EXPECT_STREQ(ParameterAt(list, 1)->GetString(), "text");
  EXPECT_EQ(ParameterAt(list, 2)->GetString(), nullptr);  // not a text parameter
  EXPECT_STREQ(ParameterAt(list, 6)->GetString(), "");
  EXPECT_EQ(ParameterAt(list, 7), nullptr);
}

TEST_F(ParametersTest, ValuesReadBackAndSetReplacesText) {
  qm::AgentParameters list;
  list.push_back(qm::AgentParameter::Create(42L, qm::_Integer));
  list.push_back(qm::AgentParameter::Create(model.root().asEntity(), qm::_UnknownInterface));
  list.push_back(qm::AgentParameter::Create("a", qm::_String));
  EXPECT_EQ(ParameterAt(list, 1)->GetInteger(), 42);
  EXPECT_EQ(ParameterAt(list, 2)->GetUnknown(), static_cast<qm::IUnknown*>(model.root().asEntity()));
  EXPECT_EQ(ParameterAt(list, 3)->GetUnknown(), nullptr);
  ParameterAt(list, 3)->Set(std::string("bytes\0kept", 10), qm::_String);
  EXPECT_EQ(TextAt(list, 3), std::string("bytes\0kept", 10));
  ParameterAt(list, 3)->Set("c-string", qm::_String);
  EXPECT_STREQ(ParameterAt(list, 3)->GetString(), "c-string");
}

TEST_F(ParametersTest, EntityListParametersBindTheCallersList) {
  qm::EntityList entities;
  qm::AgentParameters list;
  list.push_back(qm::AgentParameter::Create(entities, qm::_EntityList));
  ParameterValue::Of(*list.front()).list->push_back(model.root().asEntity());
  EXPECT_EQ(entities.size(), 1u);
}

// A lone parameter is freed through a list's destructor, the host's only
// release operation (the sanitize build's leak check sees a parameter that
// is not freed). Releasing calls no other host operation.
TEST_F(ParametersTest, ReleaseFreesALoneParameterThroughTheList) {
  qm::EntityList entities;
  qm::AgentParameter* lone[] = {qm::AgentParameter::Create("text", qm::_String),
                                qm::AgentParameter::Create(entities, qm::_EntityList),
                                qm::AgentParameter::Create(nullptr, qm::_UnknownInterface)};
  HostMonitor::Instance().Reset();
  for (qm::AgentParameter* parameter : lone) qm::AgentParameter::Release(parameter);
  EXPECT_EQ(HostMonitor::Instance().Count(), 0u);
}

TEST_F(ParametersTest, ValidationChecksCountAndKinds) {
  struct Row {
    const char* agent;
    std::vector<ParamKind> actual;
    bool ok;
    const char* message;
  } rows[] = {
      {"GetNativeLinkInformation", {ParamKind::Text, ParamKind::Text}, true, ""},
      {"GetNativeLinkInformation", {ParamKind::Text}, false,
       "@OrvServer@GetNativeLinkInformation: expected 2 parameters, got 1"},
      {"GetModelViewChildNodes", {ParamKind::Text, ParamKind::Text, ParamKind::Text}, false,
       "@OrvServer@GetModelViewChildNodes: expected 4 to 5 parameters, got 3"},
      {"GetModelViewChildNodes", {ParamKind::Text, ParamKind::Text, ParamKind::Text, ParamKind::Text}, true, ""},
      {"GetModelViewChildNodes",
       {ParamKind::Text, ParamKind::Text, ParamKind::Text, ParamKind::Text, ParamKind::Text}, true, ""},
      {"GetPropertyPageControls", {ParamKind::Text, ParamKind::Integer, ParamKind::Text}, false,
       "@OrvServer@GetPropertyPageControls: parameter 2 (json) must be text, got integer"},
      {"GenerateSVGWithAnnotationsCustomizationAgent", {}, false,
       "@OrvServer@GenerateSVGWithAnnotationsCustomizationAgent: expected 1 parameter, got 0"},
  };
  for (const Row& row : rows) {
    qm::AgentParameters list;
    for (ParamKind kind : row.actual) list.push_back(new ParameterValue(kind));
    MessageList messages;
    bool ok = qm::ValidateAgentActualParameters(model.FindEntity(std::string("@OrvServer@") + row.agent), list,
                                                true, &messages);
    EXPECT_EQ(ok, row.ok) << row.message;
    if (row.ok) {
      EXPECT_TRUE(messages.Messages().empty());
    } else {
      ASSERT_EQ(messages.Messages().size(), 1u);
      EXPECT_EQ(messages.Messages()[0], row.message);
    }
  }
}

TEST_F(ParametersTest, ValidationWithoutDeclarationFails) {
  qm::AgentParameters list;
  MessageList messages;
  EXPECT_FALSE(qm::ValidateAgentActualParameters(nullptr, list, true, &messages));
  ASSERT_EQ(messages.Messages().size(), 1u);
  EXPECT_EQ(messages.Messages()[0], "agent declaration not found");
  EXPECT_FALSE(qm::ValidateAgentActualParameters(nullptr, list, true, nullptr));
}

TEST_F(ParametersTest, AccessObjectAnswersItsMessageListOrNothing) {
  MessageList messages;
  ModelAccess access(messages);
  void* p = nullptr;
  access.QueryInterface(qm::IVelModelAccess::guid, &p);
  ASSERT_NE(p, nullptr);
  EXPECT_EQ(static_cast<qm::IVelModelAccess*>(p)->GetMessageList(), &messages);
  access.SetAnswersAccess(false);
  p = nullptr;
  access.QueryInterface(qm::IVelModelAccess::guid, &p);
  EXPECT_EQ(p, nullptr);
}

}  // namespace
}  // namespace qmemu
