// The gathering of a model's link applications: every element's answer
// from the gathering equals its answer from the walks, byte for byte and
// flag for flag; the answers are right in themselves; the cost of one
// element's question no longer grows with the model; failures pass through.
#include "Links/LinkGathering.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <list>
#include <memory>
#include <new>
#include <string>
#include <vector>

#include "Links/LinkCollection.h"
#include "Links/LinkInformation.h"
#include "emulator/HostMonitor.h"
#include "testing/AllocationFaults.h"
#include "testing/HostFaults.h"
#include "testing/LinkModelGenerator.h"
#include "testing/LinksTestSupport.h"

namespace {

using linkstest::Get;
using linkstest::Lines;
using linkstest::Load;
using linkstest::ModelWith;

// The answer of EncodeLinkInformationInJason: text and flags in their order.
struct Answer {
  std::string text;
  bool flags[4] = {false, false, false, false};

  bool operator==(const Answer& other) const {
    return text == other.text && flags[0] == other.flags[0] && flags[1] == other.flags[1] &&
           flags[2] == other.flags[2] && flags[3] == other.flags[3];
  }
  std::string Flags() const {
    std::string f;
    for (bool b : flags) f += b ? '1' : '0';
    return f;
  }
};

Answer Encode(qm::IVelEntity* element, const CLinkGathering* gathering) {
  Answer a;
  EncodeLinkInformationInJason(element, gathering, a.text, a.flags[0], a.flags[1], a.flags[2], a.flags[3]);
  return a;
}

Answer Walked(qm::IVelEntity* element) {
  Answer a;
  EncodeLinkInformationInJason(element, a.text, a.flags[0], a.flags[1], a.flags[2], a.flags[3]);
  return a;
}

class LinkGatheringTest : public linkstest::LinksTest {};

// Every entity of the model, GUID, path and meta class alike.
struct Differences {
  std::size_t elements = 0, withLinks = 0;
  std::size_t withFlag[4] = {0, 0, 0, 0};
};

Differences CompareEveryElement(qmemu::Model& model) {
  const CLinkGathering gathering(&model);
  Differences d;
  for (qmemu::Entity* e : model.entities()) {
    const Answer walked = Walked(e->asEntity());
    const Answer gathered = Encode(e->asEntity(), &gathering);
    EXPECT_EQ(gathered.text, walked.text) << e->guid();
    EXPECT_EQ(gathered.Flags(), walked.Flags()) << e->guid();
    ++d.elements;
    if (!walked.text.empty()) ++d.withLinks;
    for (int i = 0; i < 4; ++i) d.withFlag[i] += walked.flags[i] ? 1 : 0;
  }
  return d;
}

TEST_F(LinkGatheringTest, EveryElementOfGeneratedModelsAnswersAsTheWalk) {
  struct Row {
    const char* name;
    orvtest::LinkModelShape shape;
  };
  const Row rows[] = {
      {"default", orvtest::LinkModelShape()},
      {"one of each", {1, 1, 1, 1, 1, 1, 1}},
      {"more links than elements", {12, 7, 5, 200, 60, 12, 12}},
      {"no external references", {20, 20, 5, 40, 0, 20, 20}},
      {"large scaled down", orvtest::LargeLinkModelShape(0.05)},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    auto model = Load(orvtest::GenerateLinkModel(row.shape));
    const Differences d = CompareEveryElement(*model);
    EXPECT_GT(d.elements, 20u);
    if (row.shape.blocks >= 20) {
      // The model exercises every kind, so that the comparison means something.
      EXPECT_GT(d.withLinks, 10u);
      for (int i = 0; i < 4; ++i) EXPECT_GT(d.withFlag[i], 0u) << "flag " << i;
    }
  }
}

TEST_F(LinkGatheringTest, EachCollectorGivesTheWalksListInOrder) {
  auto model = Load(orvtest::GenerateLinkModel(orvtest::LinkModelShape()));
  const CLinkGathering gathering(model.get());
  for (qmemu::Entity* e : model->entities()) {
    qm::IVelEntity* element = e->asEntity();
    std::list<qm::IVelEntity*> walked, gathered;
    CollectAllNormalIncomingDependencies(element, walked);
    CollectAllNormalIncomingDependencies(element, &gathering, gathered);
    EXPECT_EQ(linkstest::Guids(gathered), linkstest::Guids(walked)) << e->guid();
    CollectAllNormalOutgoingDependencies(element, walked);
    CollectAllNormalOutgoingDependencies(element, &gathering, gathered);
    EXPECT_EQ(linkstest::Guids(gathered), linkstest::Guids(walked)) << e->guid();
    std::list<CNormalDependencyInfo> walkedRecords, gatheredRecords;
    CollectAllIncomingHyperlinks(element, walkedRecords);
    CollectAllIncomingHyperlinks(element, &gathering, gatheredRecords);
    EXPECT_EQ(linkstest::Texts(gatheredRecords), linkstest::Texts(walkedRecords)) << e->guid();
  }
}

// A small model whose answers are written out by hand: duplicates, the
// placeholder, unresolved references, hyperlinks to missing elements and
// both URL forms.
const char kSmallModel[] = R"(
  {"guid": "REQ", "meta": "Requirement", "name": "R"},
  {"guid": "BLK", "meta": "Block", "name": "B", "children": [
     {"guid": "D1", "meta": "Dependency", "in": "ClientDependency", "refs": {"Supplier": "REQ"},
      "stereotypes": [{"apply": "@Predefined@trace"},
                      {"apply": "@Predefined@externalObjectReference",
                       "tags": {"source": "vorn:qm:BLK", "target": "vorn:qm:REQ"}},
                      {"apply": "@Predefined@externalObjectReference",
                       "tags": {"source": "vorn:qm:BLK", "target": "vorn:qm:REQ"}}]}],
   "stereotypes": [{"apply": "@VELLinks@HYPERLINK", "tags": {"URL": "vorn:qm:REQ", "name": "a"}},
                   {"apply": "@VELLinks@HYPERLINK", "tags": {"URL": "vorn:a:b:REQ", "name": "b"}},
                   {"apply": "@VELLinks@HYPERLINK", "tags": {"URL": "vorn:qm:GONE", "name": "c"}}]},
  {"guid": "P1", "meta": "Dependency", "refs": {"Supplier": "@Predefined@ExternalObject"},
   "stereotypes": [{"apply": "@Predefined@satisfy"},
                   {"apply": "@Predefined@externalObjectReference", "tags": {"target": "vorn:qm:NOWHERE"}}]},
  {"guid": "P2", "meta": "Dependency", "refs": {"Supplier": "@Predefined@ExternalObject"},
   "stereotypes": [{"apply": "@Predefined@satisfy"},
                   {"apply": "@Predefined@externalObjectReference", "tags": {"source": "vorn:qm:REQ"}}]})";

TEST_F(LinkGatheringTest, AnswersOfTheSmallModelAreAsWrittenByHand) {
  auto model = Load(ModelWith(kSmallModel));
  const CLinkGathering gathering(model.get());
  struct Row {
    const char* element;
    const char* flags;
    std::string text;
  };
  const Row rows[] = {
      {"REQ", "0111",
       Lines({"[ ",
              "    { ",
              "        \"linkTypeId\" : \"ORV_INCOMING_DEPENDENCIES\", ",
              "        \"links\" : ",
              "            [ ",
              "                { ",
              "                    \"linkedObjectName\" : \"B\", ",
              "                    \"linkedObjectGuid\" : \"BLK\"",
              "                }",
              "            ]",
              "    }, ",
              "    { ",
              "        \"linkTypeId\" : \"ORV_OUTGOING_DEPENDENCIES\", ",
              "        \"links\" : ",
              "            [ ",
              "                { ",
              "                    \"linkedObjectName\" : \"ExternalObject\", ",
              "                    \"linkedObjectGuid\" : \"@Predefined@ExternalObject\"",
              "                }",
              "            ]",
              "    }, ",
              "    { ",
              "        \"linkTypeId\" : \"ORV_INCOMING_HYPERLINKS\", ",
              "        \"links\" : ",
              "            [ ",
              "                { ",
              "                    \"linkedObjectName\" : \"B\", ",
              "                    \"linkedObjectGuid\" : \"BLK\"",
              "                }, ",
              "                { ",
              "                    \"linkedObjectName\" : \"B\", ",
              "                    \"linkedObjectGuid\" : \"BLK\"",
              "                }",
              "            ]",
              "    }",
              "]"})},
      {"@Predefined@ExternalObject", "0001",
       Lines({"[ ",
              "    { ",
              "        \"linkTypeId\" : \"ORV_INCOMING_DEPENDENCIES\", ",
              "        \"links\" : ",
              "            [ ",
              "                { ",
              "                    \"linkedObjectName\" : \"R\", ",
              "                    \"linkedObjectGuid\" : \"REQ\"",
              "                }",
              "            ]",
              "    }",
              "]"})},
      {"P1", "0000", ""},
      {"D1", "0000", ""},
  };
  for (const Row& row : rows) {
    const Answer gathered = Encode(Get(*model, row.element), &gathering);
    EXPECT_EQ(gathered.text, row.text) << row.element;
    EXPECT_EQ(gathered.Flags(), row.flags) << row.element;
    EXPECT_EQ(gathered, Walked(Get(*model, row.element))) << row.element;
  }
}

TEST_F(LinkGatheringTest, BlockListsItsOwnHyperlinksAndTheDuplicatedDependencyOnce) {
  auto model = Load(ModelWith(kSmallModel));
  const CLinkGathering gathering(model.get());
  const Answer a = Encode(Get(*model, "BLK"), &gathering);
  EXPECT_EQ(a.Flags(), "1010");
  EXPECT_EQ(a.text.find("ORV_INCOMING_DEPENDENCIES"), std::string::npos);
  // D1 is found through ClientDependency and twice through its source
  // reference: one link.
  EXPECT_EQ(a.text.find("\"linkedObjectGuid\" : \"REQ\""), a.text.rfind("\"linkedObjectGuid\" : \"REQ\""));
  EXPECT_NE(a.text.find("\"hyperlinkURL\" : \"vorn:qm:GONE\""), std::string::npos);
}

TEST_F(LinkGatheringTest, LookupsGiveOneEntryPerApplicationInWalkOrder) {
  auto model = Load(ModelWith(kSmallModel));
  const CLinkGathering gathering(model.get());
  const std::vector<qm::IVelEntity*>* d = gathering.DependenciesNaming("target", "REQ");
  ASSERT_NE(d, nullptr);
  EXPECT_EQ(d->size(), 2u);
  EXPECT_EQ(gathering.DependenciesNaming("source", "BLK")->size(), 2u);
  EXPECT_EQ(gathering.DependenciesNaming("target", "NOWHERE")->size(), 1u);  // the name is filed; FindEntity decides later
  EXPECT_EQ(gathering.DependenciesNaming("other", "REQ"), nullptr);
  EXPECT_EQ(gathering.DependenciesNaming("target", ""), nullptr);
  const std::vector<qm::IVelEntity*>* carriers = gathering.HyperlinkCarriersNaming("REQ");
  ASSERT_NE(carriers, nullptr);
  EXPECT_EQ(linkstest::Guids({carriers->begin(), carriers->end()}), (std::vector<std::string>{"BLK", "BLK"}));
  EXPECT_EQ(gathering.HyperlinkCarriersNaming("GONE")->size(), 1u);
  EXPECT_EQ(gathering.HyperlinkCarriersNaming("BLK"), nullptr);
}

TEST_F(LinkGatheringTest, AGatheringOfAnotherModelIsNotUsed) {
  auto model = Load(ModelWith(kSmallModel));
  auto other = Load(ModelWith(R"({"guid": "X", "meta": "Block", "name": "X"})"));
  const CLinkGathering foreign(other.get());
  EXPECT_FALSE(foreign.Covers(model.get()));
  EXPECT_FALSE(foreign.Covers(nullptr));
  for (const char* guid : {"REQ", "BLK", "@Predefined@ExternalObject"}) {
    EXPECT_EQ(Encode(Get(*model, guid), &foreign), Walked(Get(*model, guid))) << guid;
    EXPECT_FALSE(Encode(Get(*model, guid), &foreign).text.empty()) << guid;
  }
  const CLinkGathering none(nullptr);
  EXPECT_FALSE(none.Covers(model.get()));
  EXPECT_EQ(Encode(Get(*model, "REQ"), &none), Walked(Get(*model, "REQ")));
  EXPECT_EQ(Encode(nullptr, &none).text, "");
}

TEST_F(LinkGatheringTest, WithoutTheStereotypesNothingIsGathered) {
  auto model = Load(ModelWith(R"({"guid": "X", "meta": "Block", "name": "X"})",
                              R"("omit": ["@VELLinks@HYPERLINK", "@Predefined@externalObjectReference"], )"));
  const CLinkGathering gathering(model.get());
  EXPECT_EQ(gathering.HyperlinkCarriersNaming("X"), nullptr);
  EXPECT_EQ(Encode(Get(*model, "X"), &gathering), Walked(Get(*model, "X")));
}

// Host operations of one element's question, with and without the
// gathering, in models whose link counts differ tenfold.
std::uint64_t OperationsFor(qmemu::Model& model, const char* guid, const CLinkGathering* gathering) {
  qmemu::HostMonitor& monitor = qmemu::HostMonitor::Instance();
  monitor.Reset();
  Encode(Get(model, guid), gathering);
  return monitor.Count();
}

// X and a requirement linked to it, beside `fillers` blocks that link to
// each other by a hyperlink and an external reference each.
std::string ModelWithFillers(int fillers) {
  std::string items = R"({"guid": "REQ", "meta": "Requirement", "name": "R",
     "stereotypes": [{"apply": "@VELLinks@HYPERLINK", "tags": {"URL": "vorn:qm:X", "name": "to X"}}]},
    {"guid": "X", "meta": "Block", "name": "X", "children": [
      {"guid": "D", "meta": "Dependency", "in": "ClientDependency", "refs": {"Supplier": "REQ"},
       "stereotypes": [{"apply": "@Predefined@trace"}]}]})";
  for (int i = 0; i < fillers; ++i) {
    const std::string k = std::to_string(i), next = std::to_string(i + 1);
    items += R"(, {"guid": "F)" + k + R"(", "meta": "Block", "name": "F", "children": [
      {"guid": "FD)" + k + R"(", "meta": "Dependency", "in": "ClientDependency", "refs": {"Supplier": "REQ"},
       "stereotypes": [{"apply": "@Predefined@externalObjectReference",
                        "tags": {"source": "vorn:qm:F)" + k + R"(", "target": "vorn:qm:F)" + next + R"("}}]}],
      "stereotypes": [{"apply": "@VELLinks@HYPERLINK", "tags": {"URL": "vorn:qm:F)" + next + R"("}}]})";
  }
  return ModelWith(items);
}

TEST_F(LinkGatheringTest, OneElementsCostNoLongerGrowsWithTheModel) {
  auto a = Load(ModelWithFillers(10));
  auto b = Load(ModelWithFillers(100));
  const CLinkGathering ga(a.get());
  const CLinkGathering gb(b.get());
  const std::uint64_t withA = OperationsFor(*a, "X", &ga);
  EXPECT_EQ(OperationsFor(*b, "X", &gb), withA);
  EXPECT_LT(withA, 100u);
  EXPECT_EQ(Encode(Get(*b, "X"), &gb), Walked(Get(*b, "X")));
  // The walks grow with the model: 100 more applications of each kind.
  EXPECT_GT(OperationsFor(*b, "X", nullptr), OperationsFor(*a, "X", nullptr) + 1000);
}

TEST_F(LinkGatheringTest, AHostFaultAnywherePassesThroughAndLeavesNothingBehind) {
  auto model = Load(ModelWith(kSmallModel));
  const Answer expected = Walked(Get(*model, "REQ"));
  qm::IVelEntity* element = Get(*model, "REQ");
  Answer answer;
  bool threw = false;
  const std::uint64_t runs = orvtest::SweepHostFaults(
      [&] {
        threw = false;
        answer = Answer();
        try {
          const CLinkGathering gathering(model.get());
          answer = Encode(element, &gathering);
        } catch (const qmemu::InjectedFault&) {
          threw = true;
        }
      },
      [&](std::uint64_t failedAt) {
        if (failedAt == 0) {
          EXPECT_FALSE(threw);
          EXPECT_EQ(answer, expected);
        } else {
          EXPECT_TRUE(threw) << "fault at operation " << failedAt;
        }
      });
  EXPECT_GT(runs, 50u);
}

TEST_F(LinkGatheringTest, MemoryFailureWhileGatheringIsThrownNotHidden) {
  auto model = Load(orvtest::GenerateLinkModel({4, 4, 2, 20, 12, 4, 4}));
  const long before = orvtest::NewCallsOnThisThread();
  const CLinkGathering reference(model.get());
  const long gatheringAllocations = orvtest::NewCallsOnThisThread() - before;
  ASSERT_GT(gatheringAllocations, 10);
  qm::IVelEntity* element = Get(*model, "REQ-0");
  const Answer expected = Encode(element, &reference);
  ASSERT_FALSE(expected.text.empty());
  bool threw = false;
  Answer answer;
  const long runs = orvtest::SweepAllocationFailures(
      [&] {
        threw = false;
        answer = Answer();
        try {
          const CLinkGathering gathering(model.get());
          answer = Encode(element, &gathering);
        } catch (const std::bad_alloc&) {
          threw = true;
        }
      },
      [&](long failedAt) {
        if (failedAt == 0 || failedAt > gatheringAllocations) {
          // Past the gathering: a failure may end the encoding, never change it.
          EXPECT_TRUE(threw || answer == expected) << "allocation " << failedAt;
        } else {
          EXPECT_TRUE(threw) << "allocation " << failedAt;
        }
        if (failedAt == 0) {
          EXPECT_EQ(answer, expected);
        }
      });
  EXPECT_GT(runs, gatheringAllocations);
}

}  // namespace
