// The host's SVG generation as the plug-in drives it: what stays in the
// model after a request. A generation that fails before the plug-in caches
// its tree leaves no entity and no memory behind; a cached diagram's later
// requests do not grow the model.
#include <malloc.h>

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "emulator/HostMonitor.h"
#include "emulator/ModelFile.h"
#include "emulator/Session.h"

namespace {

using qmemu::HostMonitor;

// A diagram of `n` symbols and `n` lines over blocks that satisfy
// requirements (so every element has links and markers).
std::string DiagramModel(int n) {
  std::string blocks, shapes;
  for (int i = 0; i < n; ++i) {
    const std::string k = std::to_string(i);
    blocks += R"({"guid": "R)" + k + R"(", "meta": "Requirement", "name": "R)" + k + R"("},)";
    blocks += R"({"guid": "B)" + k + R"(", "meta": "Block", "name": "B)" + k + R"(", "children": [)" +
              R"({"guid": "D)" + k + R"(", "meta": "Dependency", "in": "ClientDependency", "refs": {"Supplier": "R)" +
              k + R"("}, "stereotypes": [{"apply": "@Predefined@satisfy"}]}]},)";
    shapes += R"(,{"guid": "S)" + k + R"(", "meta": "Symbol", "values": {"Position": ")" + std::to_string(i * 400) +
              R"( 100", "Size": "300 200"}, "refs": {"ModelElement": "B)" + k + R"(", "Diagram": "DIA"}})";
    shapes += R"(,{"guid": "L)" + k + R"(", "meta": "Line", "values": {"SegmentPoints": ")" +
              std::to_string(i * 400 + 300) + R"( 200 )" + std::to_string(i * 400 + 400) +
              R"( 200"}, "refs": {"ModelElement": "D)" + k + R"(", "Diagram": "DIA"}})";
  }
  return R"({"root": {"guid": "ROOT", "name": "Root", "children": [)" + blocks +
         R"({"guid": "DIA", "meta": "Diagram", "name": "Big", "children": [)" +
         R"({"guid": "FRAME", "meta": "FrameSymbol", "values": {"Position": "0 0", "Size": "9000 900"},)" +
         R"( "refs": {"ModelElement": "ROOT", "Diagram": "DIA"}})" + shapes + "]}]}}";
}

std::size_t HeapInUse() { return mallinfo2().uordblks; }

class GenerateSVGStringTest : public ::testing::Test {
 protected:
  void SetUp() override {
    HostMonitor::Instance().Reset();
    std::string error;
    std::unique_ptr<qmemu::Model> model = qmemu::LoadModelText(DiagramModel(20), "diagram.json", error);
    ASSERT_NE(model, nullptr) << error;
    std::unique_ptr<qmemu::Plugin> plugin = qmemu::Plugin::Open(ORV_PLUGIN_PATH, error);
    ASSERT_NE(plugin, nullptr) << error;
    session = std::make_unique<qmemu::Session>(std::move(model), std::move(plugin));
  }
  void TearDown() override { HostMonitor::Instance().Reset(); }

  std::string Request(const std::string& json, const std::string& refresh = "") {
    qmemu::AgentRun run;
    std::string error;
    EXPECT_TRUE(session->Run("GenerateSVGWithAnnotations", "DIA", {json, "", refresh}, run, error)) << error;
    return run.parameters.size() > 1 ? run.parameters[1] : std::string();
  }

  // How many times the last request made the host generate.
  static std::size_t Generations() {
    return HostMonitor::Instance().LogCount("InvokeAgent(@VELDiagramAgents@GenerateSVGString)");
  }

  std::unique_ptr<qmemu::Session> session;
};

// Small slack for what a request may keep that is no tree: the host's note
// of the last tree's GUID, the monitor's counters. A leaked tree of this
// diagram is about a hundred times as much.
constexpr std::size_t kSlack = 16 * 1024;

TEST_F(GenerateSVGStringTest, AWholeRequestKeepsItsTreeInTheCache) {
  const std::size_t before = session->model().size();
  const std::string first = Request("");
  ASSERT_EQ(0u, first.find("<svg "));
  EXPECT_GT(session->model().size(), before + 41 * 50);  // ~100 entities per element
  HostMonitor::Instance().SetLogging(true);
  EXPECT_EQ(first, Request(""));
  EXPECT_EQ(0u, Generations());
}

// The fault hits the plug-in's walk over the new tree, before it caches it.
// Each test fails one request first: it lets the model's indexes grow to
// the size of a tree, a capacity they keep for the next one (no leak).
TEST_F(GenerateSVGStringTest, AGenerationFailedByAFaultLeavesNothingBehind) {
  HostMonitor::Instance().FailOperation("GetEntities", 1);
  Request("");
  HostMonitor::Instance().Reset();
  for (std::uint64_t k : {1, 2, 20, 60}) {
    const std::size_t entities = session->model().size();
    const std::size_t heap = HeapInUse();
    HostMonitor::Instance().FailOperation("GetEntities", k);
    EXPECT_EQ("", Request("")) << "fault at GetEntities " << k;
    HostMonitor::Instance().Reset();
    EXPECT_EQ(entities, session->model().size()) << "fault at GetEntities " << k;
    EXPECT_LE(HeapInUse(), heap + kSlack) << "fault at GetEntities " << k;
  }
  // And the diagram is generated afresh next time, whole.
  HostMonitor::Instance().SetLogging(true);
  EXPECT_EQ(0u, Request("").find("<svg "));
  EXPECT_EQ(1u, Generations());
}

TEST_F(GenerateSVGStringTest, AGenerationCutOffByTheBudgetLeavesNothingBehind) {
  HostMonitor::Instance().FailOperation("GetEntities", 1);
  Request("");
  HostMonitor::Instance().Reset();
  for (std::uint64_t operations : {100, 1000, 5000}) {
    const std::size_t entities = session->model().size();
    const std::size_t heap = HeapInUse();
    HostMonitor::Instance().SetBudget(HostMonitor::Clock::time_point::max(), operations);
    EXPECT_EQ("", Request("")) << operations << " operations";
    EXPECT_TRUE(HostMonitor::Instance().BudgetExhausted());
    HostMonitor::Instance().Reset();
    HostMonitor::Instance().ClearBudget();
    EXPECT_EQ(entities, session->model().size()) << operations << " operations";
    EXPECT_LE(HeapInUse(), heap + kSlack) << operations << " operations";
  }
}

// A fault after the plug-in cached the tree (while it writes it) must not
// free the tree: the next request answers from the cache.
TEST_F(GenerateSVGStringTest, ATreeCachedBeforeAFaultStays) {
  HostMonitor::Instance().FailOperation("InvokeAgent", 2);  // the XML writer (the generator is the first)
  EXPECT_EQ("", Request(""));
  HostMonitor::Instance().Reset();
  HostMonitor::Instance().SetLogging(true);
  EXPECT_EQ(0u, Request("").find("<svg "));
  EXPECT_EQ(0u, Generations());
}

TEST_F(GenerateSVGStringTest, CachedRequestsDoNotGrowTheModel) {
  std::string json = "[";
  for (int i = 0; i < 20; ++i) json += std::string(i == 0 ? "" : ", ") + R"({"objID": "B)" + std::to_string(i) + "\"}";
  json += "]";
  Request("");
  const std::string answer = Request(json);  // the icon groups exist from here on
  // Replacing the icon groups leaves holes in the model's ordered index
  // until it is compacted; its capacity levels off within a few requests.
  for (int i = 0; i < 20; ++i) Request(json);
  const std::size_t entities = session->model().size();
  const std::size_t heap = HeapInUse();
  for (int i = 0; i < 50; ++i) ASSERT_EQ(answer, Request(json)) << "request " << i;
  EXPECT_EQ(entities, session->model().size());
  EXPECT_LE(HeapInUse(), heap + kSlack);
}

}  // namespace
