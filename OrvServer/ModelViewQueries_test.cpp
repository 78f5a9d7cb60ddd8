// Tests of the child, presentation and icon queries against the emulated
// host: answers, the host calls they make (with their parameter lists), and
// the neutral answers when the host lacks something.
#include "OrvServer/ModelViewQueries.h"

#include <climits>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "OrvServer/ModelViewTestModel.h"
#include "Utils/StackRoom.h"
#include "Utils/ThreadWithStack.h"
#include "emulator/HostMonitor.h"

namespace {

using qmemu::HostMonitor;

class ModelViewQueriesTest : public ::testing::Test {
 protected:
  void SetUp() override { HostMonitor::Instance().Reset(); }
  void TearDown() override { HostMonitor::Instance().Reset(); }

  // Loads the shared model (optionally omitting paths or with faults).
  void Load(const std::string& omit = "[]", const std::string& faults = "{}") {
    model_ = orvtest::LoadModelViewModel(omit, faults);
    ASSERT_NE(model_, nullptr);
  }
  qm::IVelEntity* E(const std::string& guid) {
    qmemu::Entity* entity = model_->find(guid);
    EXPECT_NE(entity, nullptr) << guid;
    return entity == nullptr ? nullptr : entity->asEntity();
  }
  // Starts the call log afresh.
  static void StartLog() {
    HostMonitor::Instance().Reset();
    HostMonitor::Instance().SetLogging(true);
  }
  static const std::vector<std::string>& Log() { return HostMonitor::Instance().Log(); }

  std::unique_ptr<qmemu::Model> model_;
};

// The calls of one HasEntityChildren level, without and with the extra entity.
const std::vector<std::string> kChildrenCall = {
    "GetModel",
    "FindEntity(@VELExtensionManagement@GetModelViewChildren)",
    "AgentParameter::Create(entity list)",
    "AgentParameter::Create(interface)",
    "AgentParameter::Create(entity list)",
    "InvokeAgent(@VELExtensionManagement@GetModelViewChildren)",
};

// ---------------------------------------------------------------------------
// HasEntityChildren

TEST_F(ModelViewQueriesTest, EntityWithOrdinaryChildHasChildren) {
  Load();
  EXPECT_TRUE(HasEntityChildren(E("PKG"), nullptr, nullptr));
  EXPECT_TRUE(HasEntityChildren(E("BLK-A"), nullptr, nullptr));
  EXPECT_TRUE(HasEntityChildren(E("ROOT"), nullptr, nullptr));
}

TEST_F(ModelViewQueriesTest, NonAttributeChildCostsOneChildrenCall) {
  Load();
  StartLog();
  EXPECT_TRUE(HasEntityChildren(E("PKG"), nullptr, nullptr));
  std::vector<std::string> expected = kChildrenCall;
  expected.push_back("IsKindOf(Attribute)");  // the first child decides
  EXPECT_EQ(Log(), expected);
}

TEST_F(ModelViewQueriesTest, EntityWithoutChildrenAnswersFalseWithoutIsKindOf) {
  Load();
  StartLog();
  EXPECT_FALSE(HasEntityChildren(E("REQ-B"), nullptr, nullptr));
  EXPECT_EQ(HostMonitor::Instance().Count("IsKindOf"), 0u);
  EXPECT_EQ(Log(), kChildrenCall);
}

TEST_F(ModelViewQueriesTest, ExtraEntityIsPassedAsFourthParameterOnlyWhenGiven) {
  Load();
  StartLog();
  EXPECT_TRUE(HasEntityChildren(E("PKG"), nullptr, E("REQ-B")));
  std::vector<std::string> expected = kChildrenCall;
  expected.insert(expected.end() - 1, "AgentParameter::Create(interface)");
  expected.push_back("IsKindOf(Attribute)");
  EXPECT_EQ(Log(), expected);
}

TEST_F(ModelViewQueriesTest, ExtraEntityReachesTheHost) {
  Load();
  // The emulated host narrows the children to the path to the extra entity.
  EXPECT_TRUE(HasEntityChildren(E("PKG"), nullptr, E("REQ-B")));
  EXPECT_FALSE(HasEntityChildren(E("EMPTY"), nullptr, E("REQ-B")));
  EXPECT_FALSE(HasEntityChildren(E("BLK-A"), nullptr, E("REQ-B")));
}

TEST_F(ModelViewQueriesTest, ChildrenWithShorterDefinitionListAnswerFalse) {
  Load("[]", R"({"PKG": "drop-definition"})");
  StartLog();
  EXPECT_FALSE(HasEntityChildren(E("PKG"), nullptr, nullptr));
  EXPECT_EQ(HostMonitor::Instance().Count("IsKindOf"), 0u);
}

TEST_F(ModelViewQueriesTest, DefinitionsWithShorterChildListAnswerFalse) {
  Load("[]", R"({"PKG": "drop-child"})");
  EXPECT_FALSE(HasEntityChildren(E("PKG"), nullptr, nullptr));
}

TEST_F(ModelViewQueriesTest, OnlyAttributeChildrenWithoutChildrenAnswerFalse) {
  Load();
  StartLog();
  EXPECT_FALSE(HasEntityChildren(E("ONLY-EMPTY-FOLDERS"), nullptr, nullptr));
  // Second pass: the attribute node is asked for children of its own.
  std::vector<std::string> expected = kChildrenCall;
  expected.push_back("IsKindOf(Attribute)");  // first pass
  expected.push_back("IsKindOf(Attribute)");  // second pass
  expected.insert(expected.end(), kChildrenCall.begin(), kChildrenCall.end());
  EXPECT_EQ(Log(), expected);
}

TEST_F(ModelViewQueriesTest, AttributeChildCountsWhenItHasChildrenOfItsOwn) {
  Load();
  StartLog();
  // FOLDERS shows the attribute nodes "Nothing" (empty) and "Shows" (REQ-B).
  EXPECT_TRUE(HasEntityChildren(E("FOLDERS"), nullptr, nullptr));
  EXPECT_EQ(HostMonitor::Instance().LogCount("InvokeAgent(@VELExtensionManagement@GetModelViewChildren)"), 3u);
}

TEST_F(ModelViewQueriesTest, MetaDefinitionIsHandedToTheHost) {
  Load();
  EXPECT_TRUE(HasEntityChildren(E("FOLDERS"), E("MM-SHOWS"), nullptr));
  EXPECT_FALSE(HasEntityChildren(E("FOLDERS"), E("MM-NONE"), nullptr));
}

struct NullRow {
  const char* faults;  // the host's faults for SINGLE, whose one child REQ-S is no attribute
  bool answer;
  std::size_t isKindOfCalls;
};

// The first pass looks only at the definitions: a null child whose
// definition is no attribute is enough; a null definition is skipped.
TEST_F(ModelViewQueriesTest, NullChildCountsByItsDefinitionNullDefinitionIsSkipped) {
  const NullRow rows[] = {
      {"null-child:1", true, 1},
      {"null-definition:1", false, 0},
      {"null-child:1 null-definition:1", false, 0},
  };
  for (const NullRow& row : rows) {
    Load("[]", std::string(R"({"SINGLE": ")") + row.faults + "\"}");
    StartLog();
    EXPECT_EQ(HasEntityChildren(E("SINGLE"), nullptr, nullptr), row.answer) << row.faults;
    EXPECT_EQ(HostMonitor::Instance().Count("IsKindOf"), row.isKindOfCalls) << row.faults;
  }
}

TEST_F(ModelViewQueriesTest, HasEntityChildrenIsFalseWithoutEntityOrAgent) {
  Load(R"(["@VELExtensionManagement@GetModelViewChildren"])");
  EXPECT_FALSE(HasEntityChildren(nullptr, nullptr, nullptr));
  StartLog();
  EXPECT_FALSE(HasEntityChildren(E("PKG"), nullptr, nullptr));
  EXPECT_EQ(Log(), (std::vector<std::string>{"GetModel", "FindEntity(@VELExtensionManagement@GetModelViewChildren)"}));
}

TEST_F(ModelViewQueriesTest, HasEntityChildrenLetsHostExceptionsThrough) {
  Load();
  HostMonitor::Instance().FailOperation("InvokeAgent");
  EXPECT_THROW(HasEntityChildren(E("PKG"), nullptr, nullptr), qmemu::InjectedFault);
}

// A model whose ordinary children are attribute nodes: it replaces the meta
// definition "@MetaModel@Element" by an "Attribute" named "Element", so that
// each child of an attribute node is an attribute node again, listed by the
// entity's list "Element". PKG lists itself there: the attribute structure
// is a cycle, and the host answers children on every level.
const char kCyclicAttributes[] = R"({
  "omit": ["@MetaModel@Element"],
  "root": {"guid": "ROOT", "name": "Plant", "children": [
    {"guid": "PKG", "meta": "Package", "name": "Loop", "lists": {"Element": ["PKG"]}},
    {"guid": "MM", "meta": "Package", "name": "MetaModel"}]},
  "entities": [{"guid": "MM-ELEMENT", "meta": "Attribute", "name": "Element", "owner": "MM"}]
})";

TEST_F(ModelViewQueriesTest, CyclicAttributeDefinitionEndsAsAFailedQuery) {
  SKIP_DEEP_RECURSION_UNDER_THREAD_SANITIZER();
  std::string error;
  model_ = qmemu::LoadModelText(kCyclicAttributes, "cycle.json", error);
  ASSERT_NE(model_, nullptr) << error;
  EXPECT_FALSE(HasEntityChildren(E("PKG"), nullptr, nullptr));
  EXPECT_FALSE(HasEntityChildren(E("PKG"), E("MM-ELEMENT"), nullptr));
  EXPECT_FALSE(HasEntityChildren(E("ROOT"), nullptr, nullptr));
  // The query went deep (one host call a level) before the stack ran out.
  EXPECT_GT(HostMonitor::Instance().Count("InvokeAgent"), 1000u);
}

TEST_F(ModelViewQueriesTest, CyclicAttributeDefinitionOnASmallStackEndsTheSame) {
  std::string error;
  model_ = qmemu::LoadModelText(kCyclicAttributes, "cycle.json", error);
  ASSERT_NE(model_, nullptr) << error;
  qm::IVelEntity* pkg = E("PKG");
  bool answer = true;
  ASSERT_TRUE(
      RunOnThreadWithStack(kSmallStackAboveMargin, [&] { answer = HasEntityChildren(pkg, nullptr, nullptr); }));
  EXPECT_FALSE(answer);
}

TEST_F(ModelViewQueriesTest, WithoutStackRoomTheQueryAnswersFalseBeforeAskingTheHost) {
  Load();
  qm::IVelEntity* pkg = E("PKG");
  StartLog();
  // Deeper than the stack allows: every level below this one fails at once.
  bool answer = true;
  std::size_t calls = 1;
  ASSERT_TRUE(RunOnThreadWithStack(kSmallStackAboveMargin, [&] {
    answer = SpendStackThen([&] { return HasEntityChildren(pkg, nullptr, nullptr); });
    calls = HostMonitor::Instance().Count();
  }));
  EXPECT_FALSE(answer);
  EXPECT_EQ(calls, 0u);
}

// ---------------------------------------------------------------------------
// HasEntityPresentations

TEST_F(ModelViewQueriesTest, PresentationsComeFromTheHostAgent) {
  Load();
  StartLog();
  EXPECT_TRUE(HasEntityPresentations(E("BLK-A")));
  EXPECT_EQ(Log(), (std::vector<std::string>{"GetModel", "FindEntity(@VELDiagramAgents@CollectPresentations)",
                                             "AgentParameter::Create(entity list)",
                                             "InvokeAgent(@VELDiagramAgents@CollectPresentations)"}));
  EXPECT_FALSE(HasEntityPresentations(E("REQ-B")));
  EXPECT_FALSE(HasEntityPresentations(nullptr));
}

TEST_F(ModelViewQueriesTest, WithoutPresentationAgentReferrersThatArePresentationElementsCount) {
  Load(R"(["@VELDiagramAgents@CollectPresentations"])");
  StartLog();
  EXPECT_TRUE(HasEntityPresentations(E("BLK-A")));
  EXPECT_EQ(Log(), (std::vector<std::string>{"GetModel", "FindEntity(@VELDiagramAgents@CollectPresentations)",
                                             "GetReferencingEntities()", "IsKindOf(PresentationElement)"}));
}

TEST_F(ModelViewQueriesTest, PresentationAgentAndFallbackMayDisagree) {
  // The host agent counts only symbols whose "ModelElement" is the entity;
  // the fallback counts any presentation element that refers to it, such as
  // a symbol referring to its diagram.
  Load();
  EXPECT_FALSE(HasEntityPresentations(E("DIA")));
  Load(R"(["@VELDiagramAgents@CollectPresentations"])");
  EXPECT_TRUE(HasEntityPresentations(E("DIA")));
}

TEST_F(ModelViewQueriesTest, WithoutPresentationAgentNonPresentationReferrersGiveNoPresentations) {
  Load(R"(["@VELDiagramAgents@CollectPresentations"])");
  StartLog();
  // REQ-B is referred to by the dependency DEP-A and by FOLDERS's list
  // "Shows", neither of them a presentation element.
  EXPECT_FALSE(HasEntityPresentations(E("REQ-B")));
  EXPECT_EQ(HostMonitor::Instance().LogCount("IsKindOf(PresentationElement)"), 2u);
}

// ---------------------------------------------------------------------------
// GetImageIndex

TEST_F(ModelViewQueriesTest, ImageIndexComesFromTheHostAgent) {
  Load();
  StartLog();
  EXPECT_EQ(GetImageIndex(E("BLK-A"), nullptr), 12);
  EXPECT_EQ(Log(), (std::vector<std::string>{"GetModel", "FindEntity(@VELExtensionManagement@GetImageIndex)",
                                             "AgentParameter::Create(integer)",
                                             "InvokeAgent(@VELExtensionManagement@GetImageIndex)",
                                             "AgentParameter::GetInteger"}));
  EXPECT_EQ(GetImageIndex(E("REQ-B"), nullptr), 7);
  EXPECT_EQ(GetImageIndex(E("ATT-A1"), nullptr), -1);  // the host has no icon for "Attribute" here
}

TEST_F(ModelViewQueriesTest, ImageIndexWithNonNullContextIsMinusOneWithoutHostCall) {
  Load();
  StartLog();
  EXPECT_EQ(GetImageIndex(E("BLK-A"), E("PKG")), -1);
  EXPECT_EQ(HostMonitor::Instance().Count(), 0u);
}

TEST_F(ModelViewQueriesTest, ImageIndexIsMinusOneWithoutEntityOrAgent) {
  Load(R"(["@VELExtensionManagement@GetImageIndex"])");
  EXPECT_EQ(GetImageIndex(nullptr, nullptr), -1);
  EXPECT_EQ(GetImageIndex(E("BLK-A"), nullptr), -1);
}

TEST_F(ModelViewQueriesTest, ImageIndexCatchesExceptionsOfTheInvocationAndTheRead) {
  Load();
  HostMonitor::Instance().FailOperation("InvokeAgent");
  EXPECT_EQ(GetImageIndex(E("BLK-A"), nullptr), -1);
  HostMonitor::Instance().FailOperation("AgentParameter::GetInteger");
  EXPECT_EQ(GetImageIndex(E("BLK-A"), nullptr), -1);
  // Before the invocation nothing is caught.
  HostMonitor::Instance().FailOperation("AgentParameter::Create(integer)");
  EXPECT_THROW(GetImageIndex(E("BLK-A"), nullptr), qmemu::InjectedFault);
}

struct IconRow {
  const char* hostText;  // the icon the model gives meta class "Block"
  int index;
};

TEST_F(ModelViewQueriesTest, ImageIndexIsNarrowedToIntExplicitly) {
  const IconRow rows[] = {
      {"0", 0},
      {"-1", -1},
      {"2147483647", INT_MAX},
      {"-2147483648", INT_MIN},
      // Beyond int: where long is wider the host hands these over and the
      // query refuses them; where it is not, the host has no such number.
      {"2147483648", -1},
      {"-2147483649", -1},
      {"4294967297", -1},
  };
  for (const IconRow& row : rows) {
    std::string error;
    auto model = qmemu::LoadModelText(
        std::string(R"({"root": {"children": [{"guid": "B", "meta": "Block"}]}, "hostData": {"icons": {"Block": ")") +
            row.hostText + R"("}}})",
        "icons.json", error);
    ASSERT_NE(model, nullptr) << error;
    EXPECT_EQ(GetImageIndex(model->find("B")->asEntity(), nullptr), row.index) << row.hostText;
  }
}

}  // namespace
