// Fault injection through the SVG agents: every host operation that they
// reach, one at a time, throws. No exception but the deliberate "Interrupt."
// of the customization agent may leave an agent, the output parameter must
// hold either what it held before or a whole SVG document, and
// g_strJasonText must be empty afterwards. The sanitize build checks that
// nothing leaks on any of these paths.
//
// One session serves a whole test: each attempt draws a diagram of its own,
// made afresh (so that the plug-in's cache knows nothing of it), and the
// trees of earlier attempts are freed once the attempt is over. Diagrams are
// kept, so that no later diagram can take the address of one the cache
// still names.
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "emulator/Parameters.h"
#include "emulator/SvgTree.h"
#include "testing/HostFaults.h"
#include "tests/E2eSupport.h"

namespace {

using qmemu::Entity;
using qmemu::HostMonitor;

// Elements with links: BLK (an outgoing dependency: a red marker), REQ (an
// incoming one: a yellow marker) and DEP (a hyperlink whose name holds "--":
// a blue marker on the line). Few markers keep the attempts few: every
// attempt repeats the request up to its fault.
const char kModel[] = R"({"root": {"guid": "ROOT", "name": "Root", "children": [
  {"guid": "REQ", "meta": "Requirement", "name": "R"},
  {"guid": "BLK", "meta": "Block", "name": "A",
   "children": [{"guid": "DEP", "meta": "Dependency", "in": "ClientDependency", "refs": {"Supplier": "REQ"},
                 "stereotypes": [{"apply": "@Predefined@satisfy"},
                                 {"apply": "@VELLinks@HYPERLINK", "tags": {"URL": "https://e.org/x", "name": "x--y"}}]}]}]}})";

class SvgAnnotationFaultTest : public ::testing::Test {
 protected:
  void SetUp() override {
    HostMonitor::Instance().Reset();
    session = orvtest::OpenSessionText(kModel);
    ASSERT_NE(session, nullptr);
  }
  void TearDown() override { HostMonitor::Instance().Reset(); }

  // A new diagram (GUID returned) with a frame, a symbol for BLK, one for
  // REQ and a curved line for DEP, made with the emulator's own API.
  std::string NewDiagram() {
    qmemu::Model& model = session->model();
    const std::string k = std::to_string(++diagrams);
    Entity* diagram = model.create("Diagram", "DIA-" + k, model.find("ROOT"));
    diagram->setValue("Name", "D");
    auto present = [&](const char* meta, const std::string& guid, const char* shown, const char* property,
                       const char* geometry) {
      Entity* e = model.create(meta, guid + "-" + k, diagram);
      e->setReference("ModelElement", model.find(shown));
      e->setReference("Diagram", diagram);
      e->setValue(property, geometry);
      return e;
    };
    present("FrameSymbol", "FRAME", "ROOT", "Position", "0 0")->setValue("Size", "1000 600");
    present("Symbol", "SYM-A", "BLK", "Position", "100 100")->setValue("Size", "300 200");
    present("Symbol", "SYM-R", "REQ", "Position", "600 100")->setValue("Size", "300 200");
    present("TransitionLine", "LINE", "DEP", "SegmentPoints", "400 200 500 100 600 200");
    return "DIA-" + k;
  }

  // Frees the tree the host generated last; only the plug-in's cache still
  // names it, under a diagram that no later attempt uses.
  void FreeLastTree() {
    Entity* root = session->model().find(session->model().hostData()["GenerateSVGString"]["lastRoot"]);
    if (root != nullptr && root->owner() == nullptr) session->model().destroy(root);
  }

  qmemu::AgentRun Request(const std::string& diagram, const std::vector<std::string>& texts) {
    return orvtest::Run(*session, "GenerateSVGWithAnnotations", diagram, texts);
  }

  std::string ClientText() { return *static_cast<std::string*>(session->plugin()->FindData("g_strJasonText")); }

  static bool IsWholeSvg(const std::string& text) {
    const std::string end = "</svg>\n";
    return text.compare(0, 5, "<svg ") == 0 && text.size() > end.size() &&
           text.compare(text.size() - end.size(), end.size(), end) == 0;
  }

  // Makes `request` (after the fault-free requests `before`) on a new
  // diagram, with host operation n failing, for n = 1, 2, ... until the
  // request no longer reaches operation n, or up to `lastFault` when that is
  // not 0. Returns the number of requests made.
  std::uint64_t FaultEveryOperation(const std::vector<std::vector<std::string>>& before,
                                    const std::vector<std::string>& request, std::uint64_t lastFault = 0) {
    std::string diagram, error;
    qmemu::AgentRun run;
    bool ran = false;
    orvtest::HostFaultSweep sweep;
    sweep.prepare = [&] {
      diagram = NewDiagram();
      for (const auto& texts : before) Request(diagram, texts);
    };
    sweep.lastFault = lastFault;
    return orvtest::SweepHostFaults(
        [&] {
          run = qmemu::AgentRun();
          ran = session->Run("GenerateSVGWithAnnotations", diagram, request, run, error);
        },
        [&](std::uint64_t n) {
          FreeLastTree();
          ASSERT_TRUE(ran) << "fault at operation " << n << ": " << error;
          const std::string& out = run.parameters[1];
          EXPECT_TRUE(out == "keep" || IsWholeSvg(out)) << "fault at operation " << n << ": " << out.substr(0, 80);
          if (n == 0) {
            EXPECT_TRUE(IsWholeSvg(out)) << "without a fault the answer is whole";
          }
          EXPECT_EQ("", ClientText()) << "fault at operation " << n;
        },
        sweep);
  }

  std::unique_ptr<qmemu::Session> session;
  int diagrams = 0;
};

const char kClientJson[] = R"([{"objID": "BLK", "relInfo": {"a": "b--c"}}, {"objID": "DEP"}])";

TEST_F(SvgAnnotationFaultTest, FirstRequestSurvivesAFaultAtEveryOperation) {
  EXPECT_GT(FaultEveryOperation({}, {kClientJson, "keep"}), 500u);
}

TEST_F(SvgAnnotationFaultTest, CachedRequestSurvivesAFaultAtEveryOperation) {
  EXPECT_GT(FaultEveryOperation({{"", "x"}}, {kClientJson, "keep"}), 500u);
}

// A refresh deletes the cached tree and then generates as a first request
// does: the faults from the generator's call on are those tried above.
TEST_F(SvgAnnotationFaultTest, RefreshSurvivesAFaultAtEveryOperationUpToTheGeneration) {
  const std::string diagram = NewDiagram();
  Request(diagram, {kClientJson, "x"});
  HostMonitor::Instance().Reset();
  HostMonitor::Instance().SetLogging(true);
  Request(diagram, {"", "keep", "t"});
  const std::vector<std::string> log = HostMonitor::Instance().Log();
  std::uint64_t limit = 0;
  bool deleted = false;
  for (std::size_t i = 0; i < log.size() && limit == 0; ++i) {
    if (log[i] == "DeleteEntity") deleted = true;
    if (log[i] == "InvokeAgent(@VELDiagramAgents@GenerateSVGString)") limit = i + 1;
  }
  ASSERT_TRUE(deleted);
  ASSERT_GT(limit, 0u);
  EXPECT_EQ(limit, FaultEveryOperation({{kClientJson, "x"}}, {"", "keep", "t"}, limit));
}

TEST_F(SvgAnnotationFaultTest, CustomizationAgentLetsOnlyItsInterruptEscape) {
  QmAgentFunction* hook = session->plugin()->Find("GenerateSVGWithAnnotationsCustomizationAgent");
  ASSERT_NE(hook, nullptr);
  HostMonitor& monitor = HostMonitor::Instance();
  // Runs the hook on a fresh diagram's tree with the n-th host operation
  // failing (n = 0: none); answers what left the hook and how many host
  // operations it made, and frees the tree.
  struct Outcome {
    std::string left;
    std::uint64_t operations;
  };
  auto runHook = [&](std::uint64_t n, bool logging) {
    Entity* diagram = session->model().find(NewDiagram());
    Entity* root = qmemu::BuildDiagramSvg(session->model(), *diagram);
    qm::AgentParameters parameters;
    auto* p = new qmemu::ParameterValue(qmemu::ParamKind::Interface);
    p->unknown = root->asEntity();
    parameters.push_back(p);
    monitor.Reset();
    monitor.SetLogging(logging);
    if (n != 0) monitor.FailAt(n);
    std::string outcome = "returned";
    try {
      hook(nullptr, nullptr, diagram->asEntity(), &session->model().access(), parameters);
    } catch (const char* text) {
      outcome = text;
    } catch (...) {
      outcome = "another exception";
    }
    const Outcome result{outcome, monitor.Count()};
    if (session->model().find(root->guid()) == root) session->model().destroy(root);
    return result;
  };
  // The hook knows the root, the diagram and the model once the diagram's
  // GetModel has answered; from the next operation on, every fault must end
  // in the interrupt, before it only a plain return is allowed.
  ASSERT_EQ("Interrupt.", runHook(0, true).left);
  const std::vector<std::string> log = monitor.Log();
  std::uint64_t known = 0;
  for (std::size_t i = 0; i < log.size() && known == 0; ++i) {
    if (log[i] == "GetModel") known = i + 1;
  }
  ASSERT_GT(known, 0u);
  const std::uint64_t operations = log.size();
  monitor.Reset();
  for (std::uint64_t n = 1;; ++n) {
    const Outcome run = runHook(n, false);
    const std::string& outcome = run.left;
    const bool reached = run.operations >= n;
    monitor.Reset();
    if (!reached) {
      EXPECT_EQ("Interrupt.", outcome) << "without a fault";
      EXPECT_EQ(n, operations + 1);
      EXPECT_GT(n, 500u);
      break;
    }
    if (n <= known) {
      EXPECT_EQ("returned", outcome) << "fault at operation " << n << " (" << log[n - 1] << ")";
    } else {
      EXPECT_EQ("Interrupt.", outcome) << "fault at operation " << n << " (" << log[n - 1] << ")";
    }
    if (HasFailure()) break;
  }
}

}  // namespace
