// Tests of the emulated model: lookup, creation, agents and the predefined library.
#include "emulator/Model.h"

#include <gtest/gtest.h>

#include "emulator/HostMonitor.h"
#include "emulator/Parameters.h"

namespace qmemu {
namespace {

// A host agent registered only in this test program: writes "seen:" and the
// context's GUID into its first parameter.
void EchoAgent(HostAgentCall& call) {
  SetTextAt(call.parameters, 1, "seen:" + (call.context == nullptr ? std::string() : call.context->guid()));
}
const HostAgentRegistration kEcho{"@TestAgents@Echo", {{"out", ParamKind::Text, false}}, EchoAgent};

class ModelTest : public ::testing::Test {
 protected:
  void SetUp() override { HostMonitor::Instance().Reset(); }
  void TearDown() override { HostMonitor::Instance().Reset(); }
};

TEST_F(ModelTest, TheModelAnswersItsRootEntity) {
  Model model("ROOT", "Model", "Station");
  void* p = nullptr;
  model.QueryInterface(qm::IVelEntity::guid, &p);
  EXPECT_EQ(p, static_cast<void*>(model.root().asEntity()));
  p = nullptr;
  model.QueryInterface(qm::IVelModel::guid, &p);
  EXPECT_EQ(p, static_cast<void*>(static_cast<qm::IVelModel*>(&model)));
  p = nullptr;
  model.QueryInterface(qm::IVelExpression::guid, &p);
  EXPECT_EQ(p, nullptr);
}

TEST_F(ModelTest, PredefinedEntitiesAreFoundByTheirPaths) {
  Model model;
  model.addPredefined();
  for (const std::string& path : PredefinedPaths()) {
    qm::IVelEntity* e = model.FindEntity(path);
    ASSERT_NE(e, nullptr) << path;
    std::string guid;
    e->GetValue("Guid", guid, 0);
    EXPECT_EQ(guid, path);
  }
  EXPECT_TRUE(model.FindEntity("@Predefined@ExternalObject")->IsKindOf("PersistentEntity"));
  for (const char* agent : {"@OrvServer@GetNativeLinkInformation", "@OrvServer@GetModelViewChildNodes",
                            "@TestAgents@Echo"}) {
    EXPECT_NE(model.FindEntity(agent), nullptr) << agent;
  }
}

TEST_F(ModelTest, OmittedPredefinedEntitiesAreAbsent) {
  Model model;
  model.addPredefined({"@Predefined@deriveReqt", "@TestAgents@Echo", "@OrvServer@GetPropertyPageControls"});
  EXPECT_EQ(model.FindEntity("@Predefined@deriveReqt"), nullptr);
  EXPECT_EQ(model.FindEntity("@TestAgents@Echo"), nullptr);
  EXPECT_EQ(model.FindEntity("@OrvServer@GetPropertyPageControls"), nullptr);
  EXPECT_NE(model.FindEntity("@Predefined@trace"), nullptr);
}

TEST_F(ModelTest, FindEntityByGuidAndByQualifiedPath) {
  Model model;
  Entity* pkg = model.create("Package", "PKG", &model.root());
  pkg->setValue("Name", "Pumps");
  Entity* blk = model.create("Block", "BLK", pkg);
  blk->setValue("Name", "Pump");
  EXPECT_EQ(model.FindEntity("BLK"), blk->asEntity());
  EXPECT_EQ(model.FindEntity("@Pumps@Pump"), blk->asEntity());
  EXPECT_EQ(model.FindEntity("@Pumps@Valve"), nullptr);
  EXPECT_EQ(model.FindEntity(""), nullptr);
  EXPECT_EQ(model.FindEntity("@"), nullptr);
}

TEST_F(ModelTest, CreateEntityMakesUnattachedEntities) {
  Model model;
  qm::IVelEntity* e = model.CreateEntity("InstanceExpr");
  ASSERT_NE(e, nullptr);
  EXPECT_EQ(e->GetOwner(), nullptr);
  EXPECT_TRUE(e->IsKindOf("Expression"));
  EXPECT_EQ(model.CreateEntity("NoSuchClass"), nullptr);
  std::string guid;
  e->GetValue("Guid", guid, 0);
  EXPECT_EQ(model.FindEntity(guid), e);
}

TEST_F(ModelTest, CreateEntityFailsOnCommand) {
  Model model;
  HostMonitor::Instance().FailCreateEntity(2);
  EXPECT_NE(model.CreateEntity("Ident"), nullptr);
  EXPECT_EQ(model.CreateEntity("Ident"), nullptr);
  EXPECT_NE(model.CreateEntity("Ident"), nullptr);
  HostMonitor::Instance().FailCreateEntity(1, true);
  EXPECT_EQ(model.CreateEntity("Ident"), nullptr);
  EXPECT_EQ(model.CreateEntity("Ident"), nullptr);
}

TEST_F(ModelTest, InvokeAgentRunsARegisteredHostAgent) {
  Model model("ROOT");
  model.addPredefined();
  qm::AgentParameters parameters;
  parameters.push_back(qm::AgentParameter::Create("", qm::_String));
  model.InvokeAgent(model.FindEntity("@TestAgents@Echo"), model.root().asEntity(), parameters);
  EXPECT_STREQ(parameters.front()->GetString(), "seen:ROOT");
}

TEST_F(ModelTest, InvokeAgentWithoutAgentOrPluginDoesNothing) {
  Model model;
  model.addPredefined();
  qm::AgentParameters parameters;
  parameters.push_back(qm::AgentParameter::Create("keep", qm::_String));
  EXPECT_NE(model.InvokeAgent(nullptr, nullptr, parameters), 0);
  // No plug-in loaded: the plug-in's declarations have nothing to run.
  EXPECT_NE(model.InvokeAgent(model.FindEntity("@OrvServer@GetNativeLinkInformation"), nullptr, parameters), 0);
  EXPECT_STREQ(parameters.front()->GetString(), "keep");
}

TEST_F(ModelTest, AgentDeclarationsCarryTheirFormalParameters) {
  Model model;
  model.addPredefined();
  Entity* declaration = model.find("@OrvServer@GetModelViewChildNodes");
  ASSERT_NE(declaration, nullptr);
  ASSERT_EQ(declaration->list("Parameter").size(), 5u);
  EXPECT_EQ(declaration->list("Parameter")[4]->value("Optional"), "true");
  EXPECT_EQ(declaration->list("Parameter")[0]->value("Kind"), "text");
}

TEST_F(ModelTest, DefinedMetaClassesDeriveFromTheirBases) {
  MetaClasses classes;
  std::string error;
  EXPECT_TRUE(classes.Define("ValveBlock", {"Block"}, error));
  EXPECT_FALSE(classes.Define("ValveBlock", {"Block"}, error));
  EXPECT_EQ(error, "meta class 'ValveBlock' is already defined");
  EXPECT_FALSE(classes.Define("X", {"Nope"}, error));
  EXPECT_EQ(error, "unknown base meta class 'Nope'");
  Model model(classes, "R", "ValveBlock", "Root");
  EXPECT_TRUE(model.root().IsKindOf("Definition"));
  EXPECT_EQ(model.root().meta(), "ValveBlock");
}

}  // namespace
}  // namespace qmemu
