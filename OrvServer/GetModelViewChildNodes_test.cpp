// Tests of the agent GetModelViewChildNodes, called directly against the
// emulated host: answers byte for byte, every failure row (message, and
// parameter 3 untouched), the host calls in order, and an injected exception
// at every host operation the agent reaches.
#include <cstdint>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "testing/ModelViewTestModel.h"
#include "emulator/HostMonitor.h"
#include "testing/HostFaults.h"

namespace {

using orvtest::CallChildNodes;
using qmemu::HostMonitor;

// Answers of the shared model (see ModelViewTestModel.h), written from the
// encoding rules: one compact line, seven string pairs per node.
const char kRootAnswer[] =
    R"([ { "text" : "Plant", "hasChildren" : "yes", "visual" : "no", "icon" : "0", )"
    R"("metaclassType" : "Model", "modelguid" : "ROOT", "metaguid" : ""}])";
const char kMainAnswer[] =
    R"([ { "text" : "A", "hasChildren" : "yes", "visual" : "yes", "icon" : "12", )"
    R"("metaclassType" : "Block", "modelguid" : "BLK-A", "metaguid" : ""}, )"
    R"({ "text" : "B", "hasChildren" : "no", "visual" : "no", "icon" : "7", )"
    R"("metaclassType" : "Requirement", "modelguid" : "REQ-B", "metaguid" : ""}, )"
    R"({ "text" : "D", "hasChildren" : "no", "visual" : "no", "icon" : "20", )"
    R"("metaclassType" : "Diagram", "modelguid" : "DIA", "metaguid" : ""}])";
// Without the host's presentation agent every presentation element that
// refers to a node counts: the symbol SYM-A refers to its diagram DIA too.
const char kMainAnswerByReferrers[] =
    R"([ { "text" : "A", "hasChildren" : "yes", "visual" : "yes", "icon" : "12", )"
    R"("metaclassType" : "Block", "modelguid" : "BLK-A", "metaguid" : ""}, )"
    R"({ "text" : "B", "hasChildren" : "no", "visual" : "no", "icon" : "7", )"
    R"("metaclassType" : "Requirement", "modelguid" : "REQ-B", "metaguid" : ""}, )"
    R"({ "text" : "D", "hasChildren" : "no", "visual" : "yes", "icon" : "20", )"
    R"("metaclassType" : "Diagram", "modelguid" : "DIA", "metaguid" : ""}])";
const char kFoldersAnswer[] =
    R"([ { "text" : "Shows", "hasChildren" : "yes", "visual" : "no", "icon" : "-1", )"
    R"("metaclassType" : "", "modelguid" : "FOLDERS", "metaguid" : "MM-SHOWS"}])";
const char kOnlyB[] =
    R"([ { "text" : "B", "hasChildren" : "no", "visual" : "no", "icon" : "7", )"
    R"("metaclassType" : "Requirement", "modelguid" : "REQ-B", "metaguid" : ""}])";
const char kEmptyArray[] = "[ ]";

const char kInternalError[] = "Internal error (GetModelViewChildNodes).";

class GetModelViewChildNodesTest : public ::testing::Test {
 protected:
  void SetUp() override { HostMonitor::Instance().Reset(); }
  void TearDown() override { HostMonitor::Instance().Reset(); }

  void Load(const std::string& omit = "[]", const std::string& faults = "{}") {
    model_ = orvtest::LoadModelViewModel(omit, faults);
    ASSERT_NE(model_, nullptr);
  }
  // Runs the agent with (parent, meta, "keep-3", "keep-4"[, extra]).
  std::vector<std::string> Expand(const std::string& parent, const std::string& meta = "") {
    return CallChildNodes(*model_, {parent, meta, "keep-3", "keep-4"});
  }

  std::unique_ptr<qmemu::Model> model_;
};

// ---------------------------------------------------------------------------
// Answers

TEST_F(GetModelViewChildNodesTest, EmptyFirstParameterAnswersTheRootAlone) {
  Load();
  auto after = Expand("");
  EXPECT_EQ(after[2], kRootAnswer);
  EXPECT_EQ(after[3], "keep-4");
}

TEST_F(GetModelViewChildNodesTest, OrdinaryChildrenInHostOrderWithEmptyMetaguid) {
  Load();
  auto after = Expand("PKG");
  EXPECT_EQ(after[2], kMainAnswer);
  EXPECT_EQ(after[3], "keep-4");
}

TEST_F(GetModelViewChildNodesTest, AttributeNodeCarriesMinusOneIconEmptyMetaclassAndDefinitionGuid) {
  Load();
  // FOLDERS has two attribute nodes; "Nothing" has no children and is left out.
  EXPECT_EQ(Expand("FOLDERS")[2], kFoldersAnswer);
}

TEST_F(GetModelViewChildNodesTest, WithoutPresentationAgentReferringPresentationElementsMakeANodeVisual) {
  Load(R"(["@VELDiagramAgents@CollectPresentations"])");
  EXPECT_EQ(Expand("PKG")[2], kMainAnswerByReferrers);
}

TEST_F(GetModelViewChildNodesTest, ExpandingAnAttributeNodeHandsItsMetaguidToTheHost) {
  Load();
  EXPECT_EQ(Expand("FOLDERS", "MM-SHOWS")[2], kOnlyB);
  EXPECT_EQ(Expand("FOLDERS", "MM-NONE")[2], kEmptyArray);
}

TEST_F(GetModelViewChildNodesTest, ParentWithOnlyChildlessAttributesAnswersEmptyArray) {
  Load();
  auto after = Expand("ONLY-EMPTY-FOLDERS");
  EXPECT_EQ(after[2], kEmptyArray);
  EXPECT_EQ(after[3], "keep-4");
}

TEST_F(GetModelViewChildNodesTest, NodeWithoutChildrenAnswersEmptyArray) {
  Load();
  EXPECT_EQ(Expand("EMPTY")[2], kEmptyArray);
}

TEST_F(GetModelViewChildNodesTest, NullChildOrNullDefinitionIsSkippedWithoutError) {
  Load("[]", R"({"PKG": "null-child:1 null-definition:3"})");
  auto after = Expand("PKG");
  EXPECT_EQ(after[2], kOnlyB);
  EXPECT_EQ(after[3], "keep-4");
}

TEST_F(GetModelViewChildNodesTest, ExtraEntityIsHandedToTheHostForChildrenAndFlags) {
  Load();
  // The emulated host narrows every level to the path to the extra entity.
  auto after = CallChildNodes(*model_, {"ROOT", "", "keep-3", "keep-4", "REQ-B"});
  EXPECT_EQ(after[2], R"([ { "text" : "Main", "hasChildren" : "yes", "visual" : "no", "icon" : "1", )"
                      R"("metaclassType" : "Package", "modelguid" : "PKG", "metaguid" : ""}])");
  after = CallChildNodes(*model_, {"", "", "keep-3", "keep-4", "MM-SHOWS"});  // outside the root's tree
  EXPECT_EQ(after[2], R"([ { "text" : "Plant", "hasChildren" : "no", "visual" : "no", "icon" : "0", )"
                      R"("metaclassType" : "Model", "modelguid" : "ROOT", "metaguid" : ""}])");
}

TEST_F(GetModelViewChildNodesTest, EmptyOrUnknownExtraGuidMeansNoExtraEntity) {
  Load();
  for (const char* extra : {"", "NO-SUCH-GUID"}) {
    HostMonitor::Instance().Reset();
    HostMonitor::Instance().SetLogging(true);
    auto after = CallChildNodes(*model_, {"PKG", "", "keep-3", "keep-4", extra});
    EXPECT_EQ(after[2], kMainAnswer) << extra;
    // Without an extra entity, children and node-info calls take one
    // interface parameter each (the meta definition) and no other.
    HostMonitor& monitor = HostMonitor::Instance();
    EXPECT_EQ(monitor.Count("AgentParameter::Create(interface)"),
              monitor.LogCount("InvokeAgent(@VELExtensionManagement@GetModelViewChildren)") +
                  monitor.LogCount("InvokeAgent(@VELExtensionManagement@GetModelViewNodeInfo)"))
        << extra;
  }
  EXPECT_EQ(HostMonitor::Instance().LogCount("FindEntity(NO-SUCH-GUID)"), 1u);
}

TEST_F(GetModelViewChildNodesTest, TextsComeFromTheHostAndAreEscaped) {
  std::string error;
  auto model = qmemu::LoadModelText(R"({"root": {"guid": "R", "name": "Q\"uote\\ tab\t end", "children": [
      {"guid": "N", "meta": "Block", "name": "not shown", "values": {"ModelViewText": ""}}]}})",
                                    "texts.json", error);
  ASSERT_NE(model, nullptr) << error;
  // No icon table: the host answers -1 for every meta class.
  EXPECT_EQ(CallChildNodes(*model, {"", "", "", ""})[2],
            R"([ { "text" : "Q\"uote\\ tab\u0009 end", "hasChildren" : "yes", "visual" : "no", "icon" : "-1", )"
            R"("metaclassType" : "Model", "modelguid" : "R", "metaguid" : ""}])");
  EXPECT_EQ(CallChildNodes(*model, {"R", "", "", ""})[2],
            R"([ { "text" : "", "hasChildren" : "no", "visual" : "no", "icon" : "-1", )"
            R"("metaclassType" : "Block", "modelguid" : "N", "metaguid" : ""}])");
}

TEST_F(GetModelViewChildNodesTest, RootModeNeedsNoChildrenAgent) {
  Load(R"(["@VELExtensionManagement@GetModelViewChildren"])");
  auto after = Expand("");
  EXPECT_EQ(after[2], R"([ { "text" : "Plant", "hasChildren" : "no", "visual" : "no", "icon" : "0", )"
                      R"("metaclassType" : "Model", "modelguid" : "ROOT", "metaguid" : ""}])");
  EXPECT_EQ(after[3], "keep-4");
}

// The host calls of one expansion, in order: entry, children, then per
// child its text, kind, GUID, meta class, presentations, children and icon;
// the answer is set once, at the end.
TEST_F(GetModelViewChildNodesTest, HostCallsOfAnExpansionInOrder) {
  Load();
  HostMonitor::Instance().SetLogging(true);
  EXPECT_EQ(Expand("SINGLE")[2], R"([ { "text" : "S", "hasChildren" : "no", "visual" : "no", "icon" : "7", )"
                                 R"("metaclassType" : "Requirement", "modelguid" : "REQ-S", "metaguid" : ""}])");
  const std::vector<std::string> expected = {
      "QueryInterface(ModelAccess)",
      "GetMessageList",
      "GetModel",
      "FindEntity(@OrvServer@GetModelViewChildNodes)",
      "ValidateAgentActualParameters",
      "AgentParameter::GetString",
      "AgentParameter::GetString",
      "FindEntity(@VELExtensionManagement@GetModelViewNodeInfo)",
      "FindEntity(@VELExtensionManagement@GetModelViewChildren)",
      "FindEntity(SINGLE)",
      "AgentParameter::Create(entity list)",
      "AgentParameter::Create(interface)",
      "AgentParameter::Create(entity list)",
      "InvokeAgent(@VELExtensionManagement@GetModelViewChildren)",
      // the child REQ-S: text
      "AgentParameter::Create(text)",
      "AgentParameter::Create(interface)",
      "InvokeAgent(@VELExtensionManagement@GetModelViewNodeInfo)",
      "AgentParameter::GetString",
      // kind, GUID, meta class
      "IsKindOf(Attribute)",
      "GetValue(Guid)",
      "GetMetaClassName",
      // presentations
      "GetModel",
      "FindEntity(@VELDiagramAgents@CollectPresentations)",
      "AgentParameter::Create(entity list)",
      "InvokeAgent(@VELDiagramAgents@CollectPresentations)",
      // children
      "GetModel",
      "FindEntity(@VELExtensionManagement@GetModelViewChildren)",
      "AgentParameter::Create(entity list)",
      "AgentParameter::Create(interface)",
      "AgentParameter::Create(entity list)",
      "InvokeAgent(@VELExtensionManagement@GetModelViewChildren)",
      // icon
      "GetModel",
      "FindEntity(@VELExtensionManagement@GetImageIndex)",
      "AgentParameter::Create(integer)",
      "InvokeAgent(@VELExtensionManagement@GetImageIndex)",
      "AgentParameter::GetInteger",
      "AgentParameter::Set",
  };
  EXPECT_EQ(HostMonitor::Instance().Log(), expected);
}

TEST_F(GetModelViewChildNodesTest, AttributeNodeFindsItsDefinitionByGuid) {
  Load();
  HostMonitor::Instance().SetLogging(true);
  Expand("FOLDERS");
  EXPECT_EQ(HostMonitor::Instance().LogCount("GetValue(Guid)"), 4u);  // two children, two definitions
  EXPECT_EQ(HostMonitor::Instance().LogCount("FindEntity(MM-NONE)"), 1u);
  EXPECT_EQ(HostMonitor::Instance().LogCount("FindEntity(MM-SHOWS)"), 1u);
  EXPECT_EQ(HostMonitor::Instance().LogCount("InvokeAgent(@VELExtensionManagement@GetImageIndex)"), 0u);
}

// ---------------------------------------------------------------------------
// Failures: the message in parameter 4, parameter 3 untouched

// A context entity whose model is unknown.
class EntityWithoutModel final : public qm::IVelEntity {
 public:
  qm::Status QueryInterface(const qm::InterfaceId&, void**) override { return 1; }
  qm::Status GetValue(const std::string&, std::string&, int) override { return 0; }
  qm::IVelEntity* GetReferencedEntity(const std::string&, int) override { return nullptr; }
  qm::Status GetEntities(const std::string&, qm::EntityList&) override { return 0; }
  qm::IVelEntity* GetEntity(const std::string&, int) override { return nullptr; }
  qm::IVelEntity* GetOwner() override { return nullptr; }
  qm::Status GetMetaClassName(std::string&) override { return 0; }
  qm::Status GetReferencingEntities(const std::string&, qm::EntityList&) override { return 0; }
  qm::IVelEntity* QueryEntity(const std::string&, int) override { return nullptr; }
  bool IsKindOf(const std::string&) override { return false; }
  qm::Status SetValue(const std::string&, const std::string&, int, qmdll::Changer&) override { return 0; }
  qm::Status SetEntity(const std::string&, qm::IVelEntity*, int, qmdll::Changer&) override { return 0; }
  qm::Status DeleteEntity(qmdll::Changer&) override { return 0; }
  bool HasStereotype(const std::string&, int) override { return false; }
  qm::IVelModel* GetModel() override { return nullptr; }
};

// Runs the agent with the given context and access on (PKG, "", keep-3, keep-4).
std::vector<std::string> CallWith(qm::IVelEntity* context, qm::IUnknown* access) {
  qm::AgentParameters parameters;
  orvtest::FillTexts(parameters, {"PKG", "", "keep-3", "keep-4"});
  GetModelViewChildNodes(nullptr, nullptr, context, access, parameters);
  return orvtest::Texts(parameters);
}

const std::vector<std::string> kUntouched = {"PKG", "", "keep-3", "keep-4"};

TEST_F(GetModelViewChildNodesTest, NullAccessWritesNothing) {
  Load();
  EXPECT_EQ(CallWith(model_->root().asEntity(), nullptr), kUntouched);
}

TEST_F(GetModelViewChildNodesTest, AccessWithoutModelAccessWritesNothing) {
  Load();
  model_->access().SetAnswersAccess(false);
  EXPECT_EQ(CallWith(model_->root().asEntity(), &model_->access()), kUntouched);
}

TEST_F(GetModelViewChildNodesTest, NullContextWritesNothing) {
  Load();
  EXPECT_EQ(CallWith(nullptr, &model_->access()), kUntouched);
}

TEST_F(GetModelViewChildNodesTest, ContextWithoutModelWritesNothing) {
  Load();
  EntityWithoutModel orphan;
  EXPECT_EQ(CallWith(&orphan, &model_->access()), kUntouched);
}

TEST_F(GetModelViewChildNodesTest, RefusedValidationWritesNothingAndLeavesTheHostsMessage) {
  Load();
  auto after = CallChildNodes(*model_, {"PKG", "", "keep-3"});
  EXPECT_EQ(after, (std::vector<std::string>{"PKG", "", "keep-3"}));
  after = CallChildNodes(*model_, {"PKG", "", "keep-3", "keep-4", "", "sixth"});
  EXPECT_EQ(after, (std::vector<std::string>{"PKG", "", "keep-3", "keep-4", "", "sixth"}));
  EXPECT_EQ(model_->messages().Messages(),
            (std::vector<std::string>{"@OrvServer@GetModelViewChildNodes: expected 4 to 5 parameters, got 3",
                                      "@OrvServer@GetModelViewChildNodes: expected 4 to 5 parameters, got 6"}));
}

TEST_F(GetModelViewChildNodesTest, MissingDeclarationRefusesTheCall) {
  Load(R"(["@OrvServer@GetModelViewChildNodes"])");
  EXPECT_EQ(Expand("PKG"), kUntouched);
  EXPECT_EQ(model_->messages().Messages(), std::vector<std::string>{"agent declaration not found"});
}

TEST_F(GetModelViewChildNodesTest, MissingNodeInfoAgentIsReported) {
  Load(R"(["@VELExtensionManagement@GetModelViewNodeInfo"])");
  for (const char* parent : {"", "PKG"}) {
    auto after = Expand(parent);
    EXPECT_EQ(after[3], "Failed to find GetModelViewNodeInfo agent") << parent;
    EXPECT_EQ(after[2], "keep-3") << parent;
  }
}

TEST_F(GetModelViewChildNodesTest, MissingChildrenAgentIsReported) {
  Load(R"(["@VELExtensionManagement@GetModelViewChildren"])");
  auto after = Expand("PKG");
  EXPECT_EQ(after[3], "Failed to find GetModelViewChildrenAgent agent");
  EXPECT_EQ(after[2], "keep-3");
}

TEST_F(GetModelViewChildNodesTest, UnknownParentIsReported) {
  Load();
  auto after = Expand("NO-SUCH-GUID", "MM-SHOWS");
  EXPECT_EQ(after[3], "Failed to find parent entity.");
  EXPECT_EQ(after[2], "keep-3");
}

TEST_F(GetModelViewChildNodesTest, UnequalChildAndDefinitionCountsAreReported) {
  for (const char* fault : {"drop-definition", "drop-child"}) {
    Load("[]", std::string(R"({"PKG": ")") + fault + "\"}");
    auto after = Expand("PKG");
    EXPECT_EQ(after[3], "Failed to find meta definitions for all of the children.") << fault;
    EXPECT_EQ(after[2], "keep-3") << fault;
  }
}

TEST_F(GetModelViewChildNodesTest, ExceptionIsReportedAsInternalError) {
  Load();
  HostMonitor::Instance().FailOperation("GetMetaClassName", 2);
  auto after = Expand("PKG");
  EXPECT_EQ(after[3], kInternalError);
  EXPECT_EQ(after[2], "keep-3");
}

TEST_F(GetModelViewChildNodesTest, NoExceptionLeavesTheAgentEvenWhenTheMessageFails) {
  Load();
  for (std::uint64_t limit : {0u, 3u, 20u}) {
    HostMonitor::Instance().Reset();
    if (limit == 0) {
      HostMonitor::Instance().FailOperation("AgentParameter::Set");  // the answer fails, the message not
    } else {
      HostMonitor::Instance().LimitCalls(limit);  // every call from here on fails, the message too
    }
    std::vector<std::string> after;
    EXPECT_NO_THROW(after = Expand("PKG")) << limit;
    EXPECT_EQ(after[2], "keep-3") << limit;
    EXPECT_EQ(after[3], limit == 0 ? kInternalError : "keep-4") << limit;
  }
}

// ---------------------------------------------------------------------------
// An exception at every host operation the agent reaches

struct FaultScenario {
  const char* name;
  const char* omit;
  std::vector<std::string> texts;
  const char* answer;
  // Icons of the ordinary nodes in the order the agent asks for them; each
  // must occur once in `answer`.
  std::vector<std::string> icons;
};

std::string Replace(std::string text, const std::string& from, const std::string& to) {
  std::size_t at = text.find(from);
  EXPECT_NE(at, std::string::npos) << from;
  if (at != std::string::npos) text.replace(at, from.size(), to);
  return text;
}

TEST_F(GetModelViewChildNodesTest, ExceptionAtEveryHostOperationIsAnInternalError) {
  const FaultScenario scenarios[] = {
      {"root with extra entity", "[]", {"", "", "keep-3", "keep-4", "REQ-B"}, kRootAnswer, {"0"}},
      {"ordinary children", "[]", {"PKG", "", "keep-3", "keep-4"}, kMainAnswer, {"12", "7", "20"}},
      {"presentations without host agent", R"(["@VELDiagramAgents@CollectPresentations"])",
       {"PKG", "", "keep-3", "keep-4", ""}, kMainAnswerByReferrers, {"12", "7", "20"}},
      {"attribute nodes", "[]", {"FOLDERS", "", "keep-3", "keep-4"}, kFoldersAnswer, {}},
      {"attribute node expanded", "[]", {"FOLDERS", "MM-SHOWS", "keep-3", "keep-4"}, kOnlyB, {"7"}},
  };
  const std::string imageCall = "InvokeAgent(@VELExtensionManagement@GetImageIndex)";
  for (const FaultScenario& scenario : scenarios) {
    SCOPED_TRACE(scenario.name);
    Load(scenario.omit);
    HostMonitor& monitor = HostMonitor::Instance();
    monitor.Reset();
    monitor.SetLogging(true);
    ASSERT_EQ(CallChildNodes(*model_, scenario.texts)[2], scenario.answer);
    const std::vector<std::string> log = monitor.Log();

    std::vector<std::string> after;
    const std::uint64_t runs = orvtest::SweepHostFaults(
        [&] { after = CallChildNodes(*model_, scenario.texts); },
        [&](std::uint64_t n) {
          if (n == 0) {  // the agent made fewer calls: no fault this time
            EXPECT_EQ(after[2], scenario.answer);
            EXPECT_EQ(after[3], "keep-4");
            return;
          }
          ASSERT_LE(n, log.size());
          const std::string& failed = log[n - 1];
          if (failed == imageCall || failed == "AgentParameter::GetInteger") {
            // The icon query catches these itself: that node's icon becomes -1.
            std::size_t k = 0;
            for (std::size_t i = 0; i < n; ++i) k += log[i] == imageCall ? 1 : 0;
            ASSERT_GE(k, 1u);
            ASSERT_LE(k, scenario.icons.size());
            const std::string icon = "\"icon\" : \"" + scenario.icons[k - 1] + "\"";
            EXPECT_EQ(after[2], Replace(scenario.answer, icon, "\"icon\" : \"-1\"")) << "call " << n << " " << failed;
            EXPECT_EQ(after[3], "keep-4") << "call " << n << " " << failed;
          } else {
            EXPECT_EQ(after[3], kInternalError) << "call " << n << " " << failed;
            EXPECT_EQ(after[2], "keep-3") << "call " << n << " " << failed;
          }
        });
    EXPECT_EQ(runs, log.size() + 1);
  }
}

}  // namespace
