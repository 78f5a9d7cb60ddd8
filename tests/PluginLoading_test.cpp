// The plug-in as the host sees it: loaded with dlopen, agents found by their
// unmangled names, every agent silent when the host gives it nothing to work on.
#include <gtest/gtest.h>

#include "emulator/Parameters.h"
#include "tests/E2eSupport.h"

namespace {

const char* const kAgents[] = {"TransformControlInfoToJason", "GetPropertyPageControls",
                               "GetNativeLinkInformation",    "GetModelViewChildNodes",
                               "GenerateSVGWithAnnotations",  "GenerateSVGWithAnnotationsCustomizationAgent"};

class PluginE2eTest : public ::testing::Test {
 protected:
  void SetUp() override {
    qmemu::HostMonitor::Instance().Reset();
    session = orvtest::OpenSessionFile("tests/data/minimal.json");
    ASSERT_NE(session, nullptr);
  }
  void TearDown() override { qmemu::HostMonitor::Instance().Reset(); }
  std::unique_ptr<qmemu::Session> session;
};

TEST_F(PluginE2eTest, EveryAgentIsFoundByItsName) {
  for (const char* name : kAgents) EXPECT_NE(session->plugin()->Find(name), nullptr) << name;
  EXPECT_NE(session->plugin()->FindData("g_strJasonText"), nullptr);
  EXPECT_EQ(session->plugin()->Find("EncodeLinkInformationInJason"), nullptr);
}

TEST_F(PluginE2eTest, EveryAgentIsDeclaredInTheModel) {
  for (const char* name : kAgents) {
    EXPECT_NE(session->model().FindEntity(std::string("@OrvServer@") + name), nullptr) << name;
  }
}

TEST_F(PluginE2eTest, WithoutContextOrAccessNoAgentWritesAnything) {
  for (const char* name : kAgents) {
    qm::AgentParameters parameters;
    for (int i = 0; i < 5; ++i) {
      auto* p = new qmemu::ParameterValue(qmemu::ParamKind::Text);
      p->text = "keep";
      parameters.push_back(p);
    }
    session->plugin()->Find(name)(nullptr, nullptr, nullptr, nullptr, parameters);
    for (std::size_t i = 0; i < 5; ++i) EXPECT_EQ(qmemu::TextAt(parameters, i + 1), "keep") << name;
  }
}

TEST_F(PluginE2eTest, WithAnEmptyParameterListNoAgentFails) {
  for (const char* name : kAgents) {
    qm::AgentParameters parameters;
    session->plugin()->Find(name)(nullptr, nullptr, session->model().root().asEntity(),
                                  &session->model().access(), parameters);
    EXPECT_TRUE(parameters.empty()) << name;
  }
}

}  // namespace
