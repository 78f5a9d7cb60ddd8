// Tests of the child, presentation and icon queries against the emulated
// host: answers, the host calls they make (with their parameter lists), and
// the neutral answers when the host lacks something.
#include "OrvServer/ModelViewQueries.h"

#include <climits>
#include <memory>
#include <new>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "testing/AllocationFaults.h"
#include "testing/AttributeGraphHost.h"
#include "testing/ModelViewTestModel.h"
#include "testing/Stacks.h"
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

// Models whose ordinary children are attribute nodes: each replaces the meta
// definition "@MetaModel@Element" by an "Attribute" named "Element", so that
// each child of an attribute node is an attribute node again, listed by the
// entity's list "Element". `entities` are the root's children.
std::string AttributeModel(const std::string& entities) {
  return R"({"omit": ["@MetaModel@Element"], "root": {"guid": "ROOT", "name": "Plant", "children": [)" + entities +
         R"({"guid": "MM", "meta": "Package", "name": "MetaModel"}]},
  "entities": [{"guid": "MM-ELEMENT", "meta": "Attribute", "name": "Element", "owner": "MM"}]})";
}

// One root child `guid` whose list "Element" holds `listed`.
std::string Listing(const std::string& guid, const std::vector<std::string>& listed) {
  std::string list;
  for (const std::string& each : listed) list += (list.empty() ? "\"" : ", \"") + each + "\"";
  return R"({"guid": ")" + guid + R"(", "meta": "Package", "lists": {"Element": [)" + list + "]}},\n";
}

// PKG lists itself: the attribute structure is a cycle, and the host answers
// children on every level.
std::string CyclicModel() { return AttributeModel(Listing("PKG", {"PKG"})); }

class AttributeStructureTest : public ModelViewQueriesTest {
 protected:
  void LoadText(const std::string& text) {
    std::string error;
    model_ = qmemu::LoadModelText(text, "attributes.json", error);
    ASSERT_NE(model_, nullptr) << error;
  }

  struct Outcome {
    bool ran = false;
    bool answer = true;
    std::size_t childrenCalls = 0;
    std::size_t attributeChecks = 0;
  };

  // HasEntityChildren(entity, definition) on `stack`, with the host calls it made.
  Outcome AskOn(const orvtest::StackKind& stack, qm::IVelEntity* entity, qm::IVelEntity* definition) {
    Outcome outcome;
    HostMonitor::Instance().Reset();
    outcome.ran = orvtest::RunOnStack(stack, [&] {
      outcome.answer = HasEntityChildren(entity, definition, nullptr);
      outcome.childrenCalls = HostMonitor::Instance().Count("InvokeAgent");
      outcome.attributeChecks = HostMonitor::Instance().Count("IsKindOf");
    });
    return outcome;
  }
};

TEST_F(AttributeStructureTest, CycleAnswersFalseOnEveryStackAfterOneRound) {
  LoadText(CyclicModel());
  for (const orvtest::StackKind& stack : orvtest::EveryStack()) {
    // PKG with "Element": its one child is PKG with "Element" again, which
    // is still being asked about: the query ends there.
    Outcome outcome = AskOn(stack, E("PKG"), E("MM-ELEMENT"));
    ASSERT_TRUE(outcome.ran) << stack.name;
    EXPECT_FALSE(outcome.answer) << stack.name;
    EXPECT_EQ(outcome.childrenCalls, 1u) << stack.name;
    EXPECT_EQ(outcome.attributeChecks, 2u) << stack.name;  // first and second pass
    // ROOT's children PKG and MM are attribute nodes; PKG leads into the cycle.
    outcome = AskOn(stack, E("ROOT"), nullptr);
    ASSERT_TRUE(outcome.ran) << stack.name;
    EXPECT_FALSE(outcome.answer) << stack.name;
    EXPECT_EQ(outcome.childrenCalls, 2u) << stack.name;
  }
}

TEST_F(AttributeStructureTest, CycleMakesTheSameHostCallsAsTheRecursionUpToIt) {
  LoadText(CyclicModel());
  StartLog();
  EXPECT_FALSE(HasEntityChildren(E("PKG"), E("MM-ELEMENT"), nullptr));
  std::vector<std::string> expected = kChildrenCall;
  expected.push_back("IsKindOf(Attribute)");  // first pass
  expected.push_back("IsKindOf(Attribute)");  // second pass: PKG again, still open
  EXPECT_EQ(Log(), expected);
}

// ---- graphs of attribute nodes of any shape (testing/AttributeGraphHost.h) ----

// Node 0 -> 1 -> ... -> levels-1, each an attribute child of the one before;
// the last one has an ordinary child (node `levels`) when `endsInSome`.
std::unique_ptr<orvtest::AttributeGraphHost> Chain(std::size_t levels, bool endsInSome) {
  auto host = std::make_unique<orvtest::AttributeGraphHost>(levels + 1);
  for (std::size_t i = 0; i + 1 < levels; ++i) host->AddChild(i, i + 1, true);
  if (endsInSome) host->AddChild(levels - 1, levels, false);
  return host;
}

// Layer l has one node D(l) = l * (width + 1) with `width` attribute
// children A(l, i) = D(l) + 1 + i, each of which has D(l + 1) as its one
// attribute child: D(layers) is reached width^layers ways. D(layers) has
// an ordinary child when `endsInSome`.
std::unique_ptr<orvtest::AttributeGraphHost> Diamond(std::size_t layers, std::size_t width, bool endsInSome) {
  const std::size_t last = layers * (width + 1);
  auto host = std::make_unique<orvtest::AttributeGraphHost>(last + 2);
  for (std::size_t layer = 0; layer < layers; ++layer) {
    const std::size_t d = layer * (width + 1);
    for (std::size_t i = 0; i < width; ++i) {
      host->AddChild(d, d + 1 + i, true);
      host->AddChild(d + 1 + i, d + width + 1, true);
    }
  }
  if (endsInSome) host->AddChild(last, last + 1, false);
  return host;
}

// Node 0 -> 1 -> ... -> length-1 -> 0.
std::unique_ptr<orvtest::AttributeGraphHost> Ring(std::size_t length) {
  auto host = std::make_unique<orvtest::AttributeGraphHost>(length);
  for (std::size_t i = 0; i < length; ++i) host->AddChild(i, (i + 1) % length, true);
  return host;
}

struct GraphRow {
  const char* name;
  std::unique_ptr<orvtest::AttributeGraphHost> (*make)();
  bool answer;
  std::size_t childrenCalls;  // by hand from the rules: one per distinct node asked
};

const GraphRow kGraphRows[] = {
    {"chain of 100,000, nothing at the end", [] { return Chain(100000, false); }, false, 100000},
    {"chain of 100,000, an ordinary child at the end", [] { return Chain(100000, true); }, true, 100000},
    // 40 layers of width 3: 3^40 ways down; 40 * 4 + 1 distinct nodes.
    {"wide diamond, nothing at the bottom", [] { return Diamond(40, 3, false); }, false, 161},
    // The first way down reaches the bottom, which answers at once: D and the
    // first A of every layer, and the bottom.
    {"wide diamond, an ordinary child at the bottom", [] { return Diamond(40, 3, true); }, true, 81},
    // Each node once; the first node asked again is the start, still open.
    {"ring of 100,000", [] { return Ring(100000); }, false, 100000},
    {"ring of one", [] { return Ring(1); }, false, 1},
};

TEST(AttributeGraphTest, EveryShapeGetsItsAnswerOnEveryStack) {
  for (const GraphRow& row : kGraphRows) {
    for (const orvtest::StackKind& stack : orvtest::EveryStack()) {
      std::unique_ptr<orvtest::AttributeGraphHost> host = row.make();
      bool answer = !row.answer;
      ASSERT_TRUE(orvtest::RunOnStack(
          stack, [&] { answer = HasEntityChildren(host->Node(0), host->AttributeDefinition(), nullptr); }))
          << stack.name;
      EXPECT_EQ(answer, row.answer) << row.name << " on " << stack.name;
      EXPECT_EQ(host->ChildrenCalls(), row.childrenCalls) << row.name << " on " << stack.name;
    }
  }
}

TEST_F(AttributeStructureTest, DiamondKeepsTheRecursionsCallsUntilANodeRepeats) {
  // One layer of width 2: D0 -> A0-0 -> D1, then A0-1 -> D1 again, which is
  // known to have no children worth showing and is not asked again.
  LoadText(AttributeModel(Listing("D0", {"A0-0", "A0-1"}) + Listing("A0-0", {"D1"}) + Listing("A0-1", {"D1"}) +
                          Listing("D1", {})));
  StartLog();
  EXPECT_FALSE(HasEntityChildren(E("D0"), E("MM-ELEMENT"), nullptr));
  std::vector<std::string> expected = kChildrenCall;                         // D0
  expected.insert(expected.end(), {"IsKindOf(Attribute)", "IsKindOf(Attribute)", "IsKindOf(Attribute)"});
  expected.insert(expected.end(), kChildrenCall.begin(), kChildrenCall.end());  // A0-0
  expected.insert(expected.end(), {"IsKindOf(Attribute)", "IsKindOf(Attribute)"});
  expected.insert(expected.end(), kChildrenCall.begin(), kChildrenCall.end());  // D1: nothing
  expected.push_back("IsKindOf(Attribute)");                                     // A0-1 (second pass of D0)
  expected.insert(expected.end(), kChildrenCall.begin(), kChildrenCall.end());  // A0-1
  expected.insert(expected.end(), {"IsKindOf(Attribute)", "IsKindOf(Attribute)"});  // D1: remembered
  EXPECT_EQ(Log(), expected);
}

TEST_F(ModelViewQueriesTest, AllocationFailureGivesTheAnswerFalseOrPassesTheHostsFailureThrough) {
  Load();
  qm::IVelEntity* folders = E("FOLDERS");
  bool answer = false;
  bool threw = false;
  long leftBlocks = 0;
  long falseAnswers = 0;
  HasEntityChildren(folders, nullptr, nullptr);  // the host's first-call bookkeeping stays; not counted below
  const long runs = orvtest::SweepAllocationFailures(
      [&] {
        const long before = orvtest::LiveBlocksOnThisThread();
        threw = false;
        try {
          answer = HasEntityChildren(folders, nullptr, nullptr);
        } catch (const std::bad_alloc&) {
          threw = true;  // an allocation of the host's own failed: its exception passes through
        }
        leftBlocks = orvtest::LiveBlocksOnThisThread() - before;
      },
      [&](long failedAt) {
        EXPECT_EQ(leftBlocks, 0) << failedAt;
        if (failedAt == 0) {
          EXPECT_FALSE(threw);
          EXPECT_TRUE(answer);
        } else if (!threw && !answer) {
          ++falseAnswers;
        }
      });
  EXPECT_GT(runs, 3);
  // The query's own allocations failing give false, without an exception.
  EXPECT_GT(falseAnswers, 0);
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
