// Tests of the agent frame helpers against the emulated host.
#include "OrvServer/AgentFrame.h"

#include <gtest/gtest.h>

#include "emulator/HostMonitor.h"
#include "emulator/Model.h"
#include "emulator/Parameters.h"

namespace {

using qmemu::HostMonitor;

class AgentFrameTest : public ::testing::Test {
 protected:
  void SetUp() override {
    HostMonitor::Instance().Reset();
    model.addPredefined();
    list.push_back(qm::AgentParameter::Create("first", qm::_String));
    list.push_back(qm::AgentParameter::Create(7L, qm::_Integer));
    list.push_back(qm::AgentParameter::Create("third", qm::_String));
  }
  void TearDown() override { HostMonitor::Instance().Reset(); }

  qmemu::Model model{"ROOT"};
  qm::AgentParameters list;
};

TEST_F(AgentFrameTest, CountsParameters) {
  EXPECT_EQ(orv::CountParameters(list), 3u);
  qm::AgentParameters empty;
  EXPECT_EQ(orv::CountParameters(empty), 0u);
}

TEST_F(AgentFrameTest, PositionsCountFromOneAndStopAtTheEnd) {
  EXPECT_EQ(orv::ParameterAt(list, 0), nullptr);
  EXPECT_EQ(orv::ParameterAt(list, 1), list.front());
  EXPECT_EQ(orv::ParameterAt(list, 3), list.back());
  EXPECT_EQ(orv::ParameterAt(list, 4), nullptr);
  EXPECT_EQ(orv::ParameterAt(list, static_cast<std::size_t>(-1)), nullptr);
}

TEST_F(AgentFrameTest, ReadTextCopiesAndReadsAbsentAsEmpty) {
  EXPECT_EQ(orv::ReadText(list, 1), "first");
  EXPECT_EQ(orv::ReadText(list, 2), "");  // the host gives no C string for an integer
  EXPECT_EQ(orv::ReadText(list, 9), "");
}

TEST_F(AgentFrameTest, WriteTextSetsAnExistingParameterOnly) {
  orv::WriteText(list, 3, "new");
  EXPECT_EQ(orv::ReadText(list, 3), "new");
  const auto before = HostMonitor::Instance().Count("AgentParameter::Set");
  orv::WriteText(list, 4, "lost");
  EXPECT_EQ(HostMonitor::Instance().Count("AgentParameter::Set"), before);
  EXPECT_EQ(orv::CountParameters(list), 3u);
}

TEST_F(AgentFrameTest, ModelOfAnswersNullWithoutContext) {
  EXPECT_EQ(orv::ModelOf(nullptr), nullptr);
  EXPECT_EQ(orv::ModelOf(model.root().asEntity()), &model);
}

TEST_F(AgentFrameTest, MessageListOfNeedsAnAccessInterface) {
  EXPECT_EQ(orv::MessageListOf(nullptr), nullptr);
  EXPECT_EQ(orv::MessageListOf(&model.access()), &model.messages());
  model.access().SetAnswersAccess(false);
  EXPECT_EQ(orv::MessageListOf(&model.access()), nullptr);
  // An entity is no access object.
  EXPECT_EQ(orv::MessageListOf(model.root().asEntity()), nullptr);
}

TEST_F(AgentFrameTest, ValidateParametersUsesTheAgentsDeclaration) {
  qm::AgentParameters two;
  two.push_back(qm::AgentParameter::Create("G", qm::_String));
  two.push_back(qm::AgentParameter::Create("", qm::_String));
  EXPECT_TRUE(orv::ValidateParameters(&model, "GetNativeLinkInformation", two, &model.messages()));
  EXPECT_FALSE(orv::ValidateParameters(&model, "GetNativeLinkInformation", list, &model.messages()));
  ASSERT_EQ(model.messages().Messages().size(), 1u);
  EXPECT_EQ(model.messages().Messages()[0], "@OrvServer@GetNativeLinkInformation: expected 2 parameters, got 3");
}

TEST_F(AgentFrameTest, ValidateParametersFailsWithoutDeclaration) {
  qmemu::Model bare;
  bare.addPredefined({"@OrvServer@GetNativeLinkInformation"});
  qm::AgentParameters two;
  two.push_back(qm::AgentParameter::Create("G", qm::_String));
  two.push_back(qm::AgentParameter::Create("", qm::_String));
  EXPECT_FALSE(orv::ValidateParameters(&bare, "GetNativeLinkInformation", two, &bare.messages()));
}

TEST_F(AgentFrameTest, FindAgentAnswersNullForAMissingAgent) {
  EXPECT_NE(orv::FindAgent(&model, "@OrvServer@GetModelViewChildNodes"), nullptr);
  EXPECT_EQ(orv::FindAgent(&model, "@Nowhere@Nothing"), nullptr);
  EXPECT_EQ(orv::FindAgent(nullptr, "@OrvServer@GetModelViewChildNodes"), nullptr);
}

TEST_F(AgentFrameTest, AppendedParametersAreReleasedWithTheList) {
  qm::AgentParameters built;
  orv::Append(built, qm::AgentParameter::Create("", qm::_String));
  qm::EntityList entities;
  orv::Append(built, qm::AgentParameter::Create(entities, qm::_EntityList));
  EXPECT_EQ(orv::CountParameters(built), 2u);
  // The list's destructor releases both; the sanitize build reports a leak otherwise.
}

}  // namespace
