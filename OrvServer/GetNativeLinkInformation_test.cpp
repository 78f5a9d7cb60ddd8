// Tests of the agent GetNativeLinkInformation called directly, as the host
// calls it: parameter count, missing model, unknown GUID, and faults thrown
// by every host operation it makes.
#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "emulator/HostMonitor.h"
#include "emulator/Model.h"
#include "emulator/ModelFile.h"
#include "emulator/Parameters.h"
#include "host/Agent.h"
#include "testing/HostFaults.h"

namespace {

using qmemu::HostMonitor;

// X has one link of each kind (see the Links tests for the bytes).
const char kModel[] = R"({"root": {"guid": "ROOT", "name": "Root", "children": [
  {"guid": "REQ-A", "meta": "Requirement", "name": "Req A"},
  {"guid": "BLK-X", "meta": "Block", "name": "X", "children": [
     {"guid": "DEP-OUT", "meta": "Dependency", "in": "ClientDependency",
      "refs": {"Supplier": "REQ-A"}, "stereotypes": [{"apply": "@Predefined@satisfy"}]},
     {"guid": "DEP-EXT", "meta": "Dependency", "in": "ClientDependency",
      "refs": {"Supplier": "@Predefined@ExternalObject"},
      "stereotypes": [{"apply": "@Predefined@trace"},
                      {"apply": "@Predefined@externalObjectReference",
                       "tags": {"source": "vorn:qm:BLK-X", "target": "vorn:qm:REQ-A"}}]}],
   "stereotypes": [{"apply": "@VELLinks@HYPERLINK", "tags": {"URL": "https://e.org/x", "name": "Doc"}}]},
  {"guid": "TC-1", "meta": "TestCase", "name": "T1", "children": [
     {"guid": "DEP-IN", "meta": "Dependency", "in": "ClientDependency",
      "refs": {"Supplier": "BLK-X"}, "stereotypes": [{"apply": "@Predefined@verify"}]}],
   "stereotypes": [{"apply": "@VELLinks@HYPERLINK", "tags": {"URL": "vorn:qm:BLK-X", "name": "to X"}}]}
]}})";

const char kUntouched[] = "untouched";

class GetNativeLinkInformationTest : public ::testing::Test {
 protected:
  void SetUp() override {
    HostMonitor::Instance().Reset();
    std::string error;
    model = qmemu::LoadModelText(kModel, "links.json", error);
    ASSERT_NE(model, nullptr) << error;
  }
  void TearDown() override { HostMonitor::Instance().Reset(); }

  // Runs the agent on the root with one text parameter per entry; returns
  // the texts afterwards. The monitor counts the agent's operations alone.
  std::vector<std::string> Call(const std::vector<std::string>& texts, bool withContext = true) {
    qm::AgentParameters parameters;
    for (const std::string& text : texts) parameters.push_back(qm::AgentParameter::Create(text.c_str(), qm::_String));
    HostMonitor::Instance().Reset();
    GetNativeLinkInformation(nullptr, nullptr, withContext ? model->root().asEntity() : nullptr, nullptr, parameters);
    std::vector<std::string> after;
    for (std::size_t i = 0; i < texts.size(); ++i) after.push_back(qmemu::TextAt(parameters, i + 1));
    return after;
  }

  std::unique_ptr<qmemu::Model> model;
};

TEST_F(GetNativeLinkInformationTest, WritesTheLinkInformationIntoTheSecondParameter) {
  std::vector<std::string> after = Call({"BLK-X", kUntouched});
  EXPECT_EQ(after[0], "BLK-X");
  const std::string start = "[ \r\n    { \r\n        \"linkTypeId\" : \"ORV_INCOMING_DEPENDENCIES\", ";
  EXPECT_EQ(after[1].substr(0, start.size()), start);
  EXPECT_NE(after[1].find("ORV_OUTGOING_HYPERLINKS"), std::string::npos);
  EXPECT_EQ(HostMonitor::Instance().Count("AgentParameter::Set"), 1u);
}

TEST_F(GetNativeLinkInformationTest, OneOrThreeParametersWriteNothingNotEvenAnError) {
  for (const std::vector<std::string>& texts :
       {std::vector<std::string>{"BLK-X"}, std::vector<std::string>{"BLK-X", kUntouched, kUntouched},
        std::vector<std::string>{}}) {
    EXPECT_EQ(Call(texts), texts);
    // Not even the model is asked for.
    EXPECT_EQ(HostMonitor::Instance().Count(), 0u);
  }
}

TEST_F(GetNativeLinkInformationTest, UnknownGuidWritesTheEmptyText) {
  EXPECT_EQ(Call({"NO-SUCH-GUID", kUntouched}), (std::vector<std::string>{"NO-SUCH-GUID", ""}));
  EXPECT_EQ(Call({"", kUntouched}), (std::vector<std::string>{"", ""}));
}

TEST_F(GetNativeLinkInformationTest, ElementWithoutLinksWritesTheEmptyText) {
  EXPECT_EQ(Call({"ROOT", kUntouched}), (std::vector<std::string>{"ROOT", ""}));
}

TEST_F(GetNativeLinkInformationTest, NoContextLeavesTheOutputUntouched) {
  EXPECT_EQ(Call({"BLK-X", kUntouched}, false), (std::vector<std::string>{"BLK-X", kUntouched}));
  EXPECT_EQ(HostMonitor::Instance().Count("AgentParameter::Set"), 0u);
}

TEST_F(GetNativeLinkInformationTest, AFaultAtAnyHostOperationLeavesTheOutputUntouched) {
  // The number of host operations of a full call.
  const std::string full = Call({"BLK-X", kUntouched})[1];
  const std::uint64_t operations = HostMonitor::Instance().Count();
  ASSERT_GT(operations, 100u);
  std::unique_ptr<qm::AgentParameters> parameters;
  orvtest::HostFaultSweep sweep;
  sweep.prepare = [&] {  // the parameters are made outside the count
    parameters = std::make_unique<qm::AgentParameters>();
    parameters->push_back(qm::AgentParameter::Create("BLK-X", qm::_String));
    parameters->push_back(qm::AgentParameter::Create(kUntouched, qm::_String));
  };
  const std::uint64_t runs = orvtest::SweepHostFaults(
      [&] { GetNativeLinkInformation(nullptr, nullptr, model->root().asEntity(), nullptr, *parameters); },
      [&](std::uint64_t failedAt) {
        // Without a fault the call completes as before.
        EXPECT_EQ(qmemu::TextAt(*parameters, 1), failedAt == 0 ? full : std::string(kUntouched))
            << "fault at host operation " << failedAt;
      },
      sweep);
  EXPECT_EQ(runs, operations + 1);
}

TEST_F(GetNativeLinkInformationTest, CallLimitEndsTheAgentQuietly) {
  qm::AgentParameters parameters;
  parameters.push_back(qm::AgentParameter::Create("BLK-X", qm::_String));
  parameters.push_back(qm::AgentParameter::Create(kUntouched, qm::_String));
  HostMonitor::Instance().LimitCalls(10);
  GetNativeLinkInformation(nullptr, nullptr, model->root().asEntity(), nullptr, parameters);
  HostMonitor::Instance().LimitCalls(0);
  EXPECT_EQ(qmemu::TextAt(parameters, 2), kUntouched);
}

}  // namespace
