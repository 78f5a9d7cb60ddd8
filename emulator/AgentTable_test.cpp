#include "emulator/AgentTable.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "emulator/HostAgents.h"
#include "emulator/Model.h"

namespace qmemu {
namespace {

TEST(AgentTable, PositionsCountFromOneWithoutGaps) {
  for (const AgentEntry& entry : AgentTable()) {
    for (std::size_t i = 0; i < entry.parameters.size(); ++i) {
      EXPECT_EQ(entry.parameters[i].position, i + 1) << entry.path;
    }
    // Optional parameters only at the end, as validation counts them.
    bool optional = false;
    for (const AgentParameterEntry& p : entry.parameters) {
      if (optional) {
        EXPECT_EQ(p.role, ParameterRole::kOptional) << entry.path << " " << p.name;
      }
      optional = optional || p.role == ParameterRole::kOptional;
    }
  }
}

TEST(AgentTable, RolesOfThePluginAgents) {
  const struct {
    const char* agent;
    std::size_t answer, error;
    AgentConcurrency concurrency;
  } rows[] = {
      {"TransformControlInfoToJason", 1, 0, AgentConcurrency::kIndependent},
      {"GetPropertyPageControls", 2, 3, AgentConcurrency::kIndependent},
      {"GetNativeLinkInformation", 2, 0, AgentConcurrency::kIndependent},
      {"GetModelViewChildNodes", 3, 4, AgentConcurrency::kIndependent},
      {"GenerateSVGWithAnnotations", 2, 0, AgentConcurrency::kSvg},
      {"GenerateSVGWithAnnotationsCustomizationAgent", 0, 0, AgentConcurrency::kSvg},
  };
  std::size_t plugin = 0;
  for (const AgentEntry& entry : AgentTable()) plugin += entry.plugin();
  EXPECT_EQ(plugin, sizeof rows / sizeof rows[0]);
  for (const auto& row : rows) {
    const AgentEntry* entry = FindAgentEntry(row.agent);
    ASSERT_NE(entry, nullptr) << row.agent;
    EXPECT_EQ(entry->path, std::string("@OrvServer@") + row.agent);
    EXPECT_EQ(entry->name(), row.agent);
    EXPECT_EQ(FindAgentEntry(entry->path), entry);
    EXPECT_EQ(entry->PositionOf(ParameterRole::kAnswer), row.answer) << row.agent;
    EXPECT_EQ(entry->PositionOf(ParameterRole::kError), row.error) << row.agent;
    EXPECT_EQ(entry->concurrency, row.concurrency) << row.agent;
  }
  EXPECT_EQ(FindAgentEntry("NoSuchAgent"), nullptr);
  EXPECT_EQ(FindAgentEntry(""), nullptr);
}

TEST(AgentTable, EveryHostAgentHasARowAndEveryHostRowABody) {
  for (const HostAgentInfo& info : HostAgents()) {
    const AgentEntry* entry = FindAgentEntry(info.path);
    if (info.path.rfind("@Test", 0) == 0) continue;  // agents of other tests
    ASSERT_NE(entry, nullptr) << info.path;
    EXPECT_FALSE(entry->plugin()) << info.path;
  }
  for (const AgentEntry& entry : AgentTable()) {
    if (!entry.plugin()) {
      EXPECT_NE(FindHostAgent(entry.path), nullptr) << entry.path;
    }
  }
}

// Every declaration the emulated model makes matches its row: names, kinds
// and optionality in order.
TEST(AgentTable, DeclarationsInTheModelMatchTheTable) {
  Model model;
  model.addPredefined();
  for (const AgentEntry& entry : AgentTable()) {
    Entity* declaration = model.find(entry.path);
    ASSERT_NE(declaration, nullptr) << entry.path;
    EXPECT_EQ(declaration->meta(), "AgentDeclaration");
    const std::vector<Entity*>& formals = declaration->list("Parameter");
    ASSERT_EQ(formals.size(), entry.parameters.size()) << entry.path;
    for (std::size_t i = 0; i < formals.size(); ++i) {
      const AgentParameterEntry& p = entry.parameters[i];
      EXPECT_EQ(formals[i]->name(), p.name) << entry.path;
      EXPECT_EQ(formals[i]->value("Kind"), ParamKindName(p.kind)) << entry.path << " " << p.name;
      EXPECT_EQ(formals[i]->value("Optional"), p.role == ParameterRole::kOptional ? "true" : "false");
    }
  }
}

TEST(AgentTable, TextsOfACallByParameterName) {
  const struct {
    const char* agent;
    std::vector<std::pair<std::string, std::string>> inputs;
    std::vector<std::string> texts;
  } rows[] = {
      {"GetNativeLinkInformation", {{"guid", "BLK-PUMP"}}, {"BLK-PUMP", ""}},
      {"GetPropertyPageControls", {{"guid", "G"}}, {"G", "", ""}},
      {"GetModelViewChildNodes", {{"parentGuid", "P"}, {"parentMetaGuid", "M"}}, {"P", "M", "", ""}},
      {"GetModelViewChildNodes", {{"extraGuid", "X"}}, {"", "", "", "", "X"}},
      {"TransformControlInfoToJason", {}, {""}},
      {"GenerateSVGWithAnnotations", {{"clientJson", "{}"}, {"refresh", "t"}}, {"{}", "", "t"}},
      {"GenerateSVGWithAnnotations", {{"clientJson", "{}"}, {"nothing", "t"}}, {"{}", ""}},
  };
  for (const auto& row : rows) EXPECT_EQ(FindAgentEntry(row.agent)->Texts(row.inputs), row.texts) << row.agent;
}

TEST(AgentTable, AgentPathPutsNamesUnderThePluginPackage) {
  EXPECT_EQ(AgentPath("GetNativeLinkInformation"), "@OrvServer@GetNativeLinkInformation");
  EXPECT_EQ(AgentPath("@VELXMLFramework@WriteXMLToString"), "@VELXMLFramework@WriteXMLToString");
  EXPECT_EQ(AgentPath(""), "@OrvServer@");
}

}  // namespace
}  // namespace qmemu
