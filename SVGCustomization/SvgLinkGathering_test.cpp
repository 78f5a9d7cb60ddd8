// The first annotation answers every element's link question from one
// gathering of the model's link applications. These tests compare the trees
// it makes, byte for byte, with trees annotated by walking the model's links
// for each element, on generated models full of odd links; and check the
// customization agent (which gathers) under host and memory faults.
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "JasonParser/JasonElementFinder.h"
#include "Links/LinkGathering.h"
#include "SVGCustomization/SvgCache.h"
#include "SVGCustomization/SvgElements.h"
#include "SVGCustomization/SvgTraversal.h"
#include "emulator/HostMonitor.h"
#include "emulator/ModelFile.h"
#include "emulator/Parameters.h"
#include "emulator/SvgTree.h"
#include "host/Agent.h"
#include "testing/AllocationFaults.h"
#include "testing/HostFaults.h"
#include "testing/LinkModelGenerator.h"

namespace {

using qmemu::Entity;
using qmemu::HostMonitor;
using qmemu::Model;

std::unique_ptr<Model> LoadGenerated(const orvtest::LinkModelShape& shape) {
  std::string error;
  std::unique_ptr<Model> model = qmemu::LoadModelText(orvtest::GenerateLinkModel(shape), "generated.json", error);
  EXPECT_NE(model, nullptr) << error;
  return model;
}

// How a test has the tree annotated.
enum class Links { kWalkedPerElement, kGathered };

// The host's SVG of the diagram, without its boundary rectangles, annotated
// as the first annotation does; written as XML and freed.
std::string FirstAnnotation(Model& model, Links links) {
  Entity* root = qmemu::BuildDiagramSvg(model, *model.find("DIA"));
  EXPECT_FALSE(RemoveBoundaryrectElements(root->asEntity()));
  if (links == Links::kGathered) {
    const CLinkGathering gathering(&model);
    TraverseSVGTree(root->asEntity(), &model, gathering);
  } else {
    TraverseSVGTree(root->asEntity(), &model);
  }
  const std::string xml = qmemu::WriteSvgXml(*root, false);
  model.destroy(root);
  return xml;
}

std::size_t Occurrences(const std::string& text, const std::string& what) {
  std::size_t n = 0;
  for (std::size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + 1)) ++n;
  return n;
}

TEST(SvgLinkGatheringTest, GatheredAnnotationEqualsThePerElementWalkByteForByte) {
  struct Row {
    const char* name;
    orvtest::LinkModelShape shape;
  };
  const Row rows[] = {
      {"default", orvtest::LinkModelShape()},
      {"one of each", {1, 1, 1, 1, 1, 1, 1}},
      {"more symbols than blocks", {10, 30, 5, 120, 40, 35, 25}},
      {"large scaled down", orvtest::LargeLinkModelShape(0.03)},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    std::unique_ptr<Model> model = LoadGenerated(row.shape);
    ASSERT_NE(model, nullptr);
    const std::string walked = FirstAnnotation(*model, Links::kWalkedPerElement);
    const std::string gathered = FirstAnnotation(*model, Links::kGathered);
    EXPECT_EQ(gathered, walked);
    if (row.shape.blocks >= 40) {
      // Every kind of marker and link text is there to compare.
      for (const char* marker : {"_redlink", "_yellowlink", "_obluelink", "_ibluelink", "nativelinks:"}) {
        EXPECT_GT(Occurrences(walked, marker), 2u) << marker;
      }
    }
  }
}

// The customization agent, called as the host's generator calls it, on a
// fresh tree of the diagram. Returns what ended it. With `failNew` n > 0,
// the n-th allocation made by the agent fails; `allocations` receives how
// many it made.
std::string RunCustomization(Model& model, Entity* root, long failNew = 0, long* allocations = nullptr) {
  qm::AgentParameters parameters;
  auto* p = new qmemu::ParameterValue(qmemu::ParamKind::Interface);
  p->unknown = root->asEntity();
  parameters.push_back(p);
  qm::IVelEntity* diagram = model.find("DIA")->asEntity();
  std::string outcome = "returned";
  const long before = orvtest::NewCallsOnThisThread();
  orvtest::FailNthNewOnThisThread(failNew);
  try {
    GenerateSVGWithAnnotationsCustomizationAgent(nullptr, nullptr, diagram, &model.access(), parameters);
  } catch (const char* text) {
    outcome = text;
  } catch (...) {
    outcome = "another exception";
  }
  orvtest::FailNthNewOnThisThread(0);
  if (allocations != nullptr) *allocations = orvtest::NewCallsOnThisThread() - before;
  return outcome;
}

// The tree that the customization agent caches: the first annotation, then
// the re-annotation from the (empty) client text, which removes the
// "nativelinks:" texts again.
std::string CustomizedReference(Model& model) {
  Entity* root = qmemu::BuildDiagramSvg(model, *model.find("DIA"));
  RemoveBoundaryrectElements(root->asEntity());
  TraverseSVGTree(root->asEntity(), &model);
  CJasonElementFinder nothing;
  TraverseSVGTreeER(root->asEntity(), &model, nothing, false);
  const std::string xml = qmemu::WriteSvgXml(*root, false);
  model.destroy(root);
  return xml;
}

// The cached tree of DIA as XML ("" when there is none), forgotten and freed.
std::string TakeCachedTree(Model& model) {
  qm::IVelEntity* diagram = model.find("DIA")->asEntity();
  qm::IVelEntity* cached = FindCachedSVGRoot(diagram);
  if (cached == nullptr) return "";
  ForgetCachedSVGRoot(diagram);
  Entity* root = Entity::From(cached);
  const std::string xml = qmemu::WriteSvgXml(*root, false);
  model.destroy(root);
  return xml;
}

class SvgLinkGatheringAgentTest : public ::testing::Test {
 protected:
  void SetUp() override {
    HostMonitor::Instance().Reset();
    g_strJasonText.clear();
    model = LoadGenerated({1, 1, 1, 4, 2, 2, 1});
    ASSERT_NE(model, nullptr);
    reference = CustomizedReference(*model);
  }
  void TearDown() override {
    HostMonitor::Instance().Reset();
    orvtest::FailNthNewOnThisThread(0);
    if (model != nullptr) TakeCachedTree(*model);
  }

  std::unique_ptr<Model> model;
  std::string reference;
};

TEST_F(SvgLinkGatheringAgentTest, CustomizationAgentCachesTheSameTreeAsThePerElementWalk) {
  Entity* root = qmemu::BuildDiagramSvg(*model, *model->find("DIA"));
  EXPECT_EQ(RunCustomization(*model, root), "Interrupt.");
  EXPECT_EQ(TakeCachedTree(*model), reference);
  EXPECT_NE(reference.find("_ibluelink"), std::string::npos);
}

// A cached tree holds every marker of the reference. (A fault in the
// re-annotation, which runs after the caching, may leave some of the
// "nativelinks:" texts that it would have removed.)
void ExpectAllMarkers(const std::string& cached, const std::string& reference, long failedAt) {
  for (const char* marker : {"_redlink", "_yellowlink", "_obluelink", "_ibluelink", "guid="}) {
    EXPECT_EQ(Occurrences(cached, marker), Occurrences(reference, marker)) << marker << ", fault " << failedAt;
  }
}

// A fault at any host operation, the gathering's included: the agent ends
// with its "Interrupt." only, and the diagram is either not cached or cached
// with the whole annotation.
TEST_F(SvgLinkGatheringAgentTest, AHostFaultAnywhereEndsInTheInterruptOnly) {
  Entity* root = nullptr;
  std::string rootGuid, outcome;
  const std::uint64_t runs = orvtest::SweepHostFaults(
      [&] { outcome = RunCustomization(*model, root); },
      [&](std::uint64_t failedAt) {
        const std::string cached = TakeCachedTree(*model);
        if (Entity* left = model->find(rootGuid)) model->destroy(left);
        // Before the agent has its two entities it returns; after, it interrupts.
        EXPECT_TRUE(outcome == "Interrupt." || (outcome == "returned" && cached.empty()))
            << "fault at operation " << failedAt << ": " << outcome;
        if (failedAt == 0) {
          EXPECT_EQ(cached, reference);
        }
        if (failedAt != 0 && !cached.empty()) ExpectAllMarkers(cached, reference, static_cast<long>(failedAt));
      },
      {[&] {
        root = qmemu::BuildDiagramSvg(*model, *model->find("DIA"));
        rootGuid = root->guid();
      }});
  EXPECT_GT(runs, 500u);
}

// Memory failure while the agent gathers the model's links: the agent ends
// with its "Interrupt." and caches nothing, so GenerateSVGWithAnnotations
// answers nothing. (Only the gathering's allocations are failed: the
// emulated host's own operations are not built to survive a failing
// allocation.)
TEST_F(SvgLinkGatheringAgentTest, MemoryFailureWhileGatheringCachesNothing) {
  auto release = [&](const std::string& guid) {
    if (Entity* left = model->find(guid)) model->destroy(left);
  };
  // Allocations of a run whose k-th host operation fails.
  auto allocationsUpToFault = [&](std::uint64_t k) {
    Entity* root = qmemu::BuildDiagramSvg(*model, *model->find("DIA"));
    const std::string guid = root->guid();
    HostMonitor::Instance().Reset();
    HostMonitor::Instance().FailAt(k);
    long made = 0;
    RunCustomization(*model, root, 0, &made);
    HostMonitor::Instance().Reset();
    EXPECT_EQ(TakeCachedTree(*model), "");
    release(guid);
    return made;
  };
  // Where the gathering starts: its first host operation.
  Entity* root = qmemu::BuildDiagramSvg(*model, *model->find("DIA"));
  std::string guid = root->guid();
  HostMonitor::Instance().SetLogging(true);
  RunCustomization(*model, root);
  const std::vector<std::string> log = HostMonitor::Instance().Log();
  HostMonitor::Instance().Reset();
  TakeCachedTree(*model);
  release(guid);
  std::uint64_t first = 0;
  while (first < log.size() && log[first] != "FindEntity(@Predefined@externalObjectReference)") ++first;
  ASSERT_LT(first, log.size());
  const long beforeGathering = allocationsUpToFault(first + 1) - allocationsUpToFault(1);
  const long before = orvtest::NewCallsOnThisThread();
  { const CLinkGathering measured(model.get()); }
  const long gathering = orvtest::NewCallsOnThisThread() - before;
  ASSERT_GT(gathering, 10);

  for (long n = beforeGathering + 1; n <= beforeGathering + gathering; ++n) {
    root = qmemu::BuildDiagramSvg(*model, *model->find("DIA"));
    guid = root->guid();
    EXPECT_EQ(RunCustomization(*model, root, n), "Interrupt.") << "allocation " << n;
    EXPECT_EQ(TakeCachedTree(*model), "") << "allocation " << n;
    release(guid);
    if (HasFailure()) break;
  }
}

}  // namespace
