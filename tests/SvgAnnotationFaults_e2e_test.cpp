// Fault injection through the SVG agents: every host operation that they
// reach, one at a time, throws. No exception but the deliberate "Interrupt."
// of the customization agent may leave an agent, the output parameter must
// hold either what it held before or a whole SVG document, and
// g_strJasonText must be empty afterwards. The sanitize build checks that
// nothing leaks on any of these paths.
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "emulator/Parameters.h"
#include "emulator/SvgTree.h"
#include "tests/E2eSupport.h"

namespace {

using qmemu::HostMonitor;

// A diagram with a frame, a symbol with links of three kinds, one with
// incoming links, and a curved line whose dependency has a hyperlink.
const char kModel[] = R"({"root": {"guid": "ROOT", "name": "Root", "children": [
  {"guid": "REQ", "meta": "Requirement", "name": "R"},
  {"guid": "BLK", "meta": "Block", "name": "A",
   "children": [{"guid": "DEP", "meta": "Dependency", "in": "ClientDependency", "refs": {"Supplier": "REQ"},
                 "stereotypes": [{"apply": "@Predefined@satisfy"},
                                 {"apply": "@VELLinks@HYPERLINK", "tags": {"URL": "https://e.org/x", "name": "x--y"}}]}],
   "stereotypes": [{"apply": "@VELLinks@HYPERLINK", "tags": {"URL": "vorn:qm:REQ", "name": "to R"}}]},
  {"guid": "DIA", "meta": "Diagram", "name": "D",
   "stereotypes": [{"apply": "@VELLinks@HYPERLINK", "tags": {"URL": "https://e.org/d"}}],
   "children": [
    {"guid": "FRAME", "meta": "FrameSymbol", "values": {"Position": "0 0", "Size": "1000 600"},
     "refs": {"ModelElement": "ROOT", "Diagram": "DIA"}},
    {"guid": "SYM-A", "meta": "Symbol", "values": {"Position": "100 100", "Size": "300 200"},
     "refs": {"ModelElement": "BLK", "Diagram": "DIA"}},
    {"guid": "SYM-R", "meta": "Symbol", "values": {"Position": "600 100", "Size": "300 200"},
     "refs": {"ModelElement": "REQ", "Diagram": "DIA"}},
    {"guid": "LINE", "meta": "TransitionLine", "values": {"SegmentPoints": "400 200 500 100 600 200"},
     "refs": {"ModelElement": "DEP", "Diagram": "DIA"}}]}]}})";

const char kClientJson[] = R"([{"objID": "BLK", "relInfo": {"a": "b--c"}}, {"objID": "DEP"}, {"objID": "DIA"}])";

std::unique_ptr<qmemu::Session> Open() {
  HostMonitor::Instance().Reset();
  return orvtest::OpenSessionText(kModel);
}

std::string ClientText(qmemu::Session& session) {
  return *static_cast<std::string*>(session.plugin()->FindData("g_strJasonText"));
}

bool IsWholeSvg(const std::string& text) {
  const std::string end = "</svg>\n";
  return text.compare(0, 5, "<svg ") == 0 && text.size() > end.size() &&
         text.compare(text.size() - end.size(), end.size(), end) == 0;
}

// Runs the annotation agent with the n-th host operation failing. Checks the
// rules above; returns true when the n-th operation was reached (so that a
// later n is worth trying).
bool RunWithFault(qmemu::Session& session, std::uint64_t n, const std::vector<std::string>& texts,
                  const std::string& expectedWhole) {
  HostMonitor& monitor = HostMonitor::Instance();
  monitor.Reset();
  monitor.FailAt(n);
  qmemu::AgentRun run;
  std::string error;
  const bool ran = session.Run("GenerateSVGWithAnnotations", "DIA", texts, run, error);
  const bool reached = monitor.Count() >= n;
  monitor.Reset();
  EXPECT_TRUE(ran) << "fault at operation " << n << ": " << error;
  if (!ran) return false;
  const std::string& out = run.parameters[1];
  if (reached) {
    EXPECT_TRUE(out == "keep" || IsWholeSvg(out)) << "fault at operation " << n << ": " << out.substr(0, 80);
  } else {
    EXPECT_EQ(expectedWhole, out) << "no fault reached at operation " << n;
  }
  EXPECT_EQ("", ClientText(session)) << "fault at operation " << n;
  return reached;
}

// The answer of a fault-free run of `texts` on a fresh session, after
// `before` requests.
std::string FaultFree(const std::vector<std::vector<std::string>>& before, const std::vector<std::string>& texts) {
  auto session = Open();
  for (const auto& request : before) orvtest::Run(*session, "GenerateSVGWithAnnotations", "DIA", request);
  return orvtest::Run(*session, "GenerateSVGWithAnnotations", "DIA", texts).parameters[1];
}

// The number of host operations of a fault-free request up to and
// including the first one logged as `entry`; 0 when there is none.
std::uint64_t OperationsUpTo(const std::vector<std::vector<std::string>>& before,
                             const std::vector<std::string>& texts, const std::string& entry) {
  auto session = Open();
  for (const auto& request : before) orvtest::Run(*session, "GenerateSVGWithAnnotations", "DIA", request);
  HostMonitor::Instance().Reset();
  HostMonitor::Instance().SetLogging(true);
  orvtest::Run(*session, "GenerateSVGWithAnnotations", "DIA", texts);
  const std::vector<std::string> log = HostMonitor::Instance().Log();
  HostMonitor::Instance().Reset();
  for (std::size_t i = 0; i < log.size(); ++i) {
    if (log[i] == entry) return i + 1;
  }
  return 0;
}

// Every operation of a request (or its first `limit` operations, when not
// 0), after `before` fault-free requests, on a fresh session each time.
void FaultEveryOperation(const std::vector<std::vector<std::string>>& before, const std::vector<std::string>& texts,
                         std::uint64_t limit = 0) {
  const std::string whole = FaultFree(before, texts);
  ASSERT_TRUE(IsWholeSvg(whole));
  std::uint64_t n = 1;
  for (; limit == 0 || n <= limit; ++n) {
    auto session = Open();
    ASSERT_NE(session, nullptr);
    for (const auto& request : before) orvtest::Run(*session, "GenerateSVGWithAnnotations", "DIA", request);
    if (!RunWithFault(*session, n, texts, whole)) break;
    if (::testing::Test::HasFailure()) break;
  }
  if (limit == 0) {
    EXPECT_GT(n, 100u) << "the request should reach many host operations";
  } else {
    EXPECT_EQ(limit + 1, n) << "every operation up to the limit should be reached";
  }
}

TEST(SvgAnnotationFaultTest, FirstRequestSurvivesAFaultAtEveryOperation) {
  FaultEveryOperation({}, {kClientJson, "keep"});
}

TEST(SvgAnnotationFaultTest, CachedRequestSurvivesAFaultAtEveryOperation) {
  FaultEveryOperation({{"", "x"}}, {kClientJson, "keep"});
}

// A refresh deletes the cached tree and then generates as a first request
// does; faults from the generator's call on are those of the first request.
TEST(SvgAnnotationFaultTest, RefreshSurvivesAFaultAtEveryOperationUpToTheGeneration) {
  const std::vector<std::vector<std::string>> before = {{kClientJson, "x"}};
  const std::vector<std::string> refresh = {"", "keep", "t"};
  const std::uint64_t limit = OperationsUpTo(before, refresh, "InvokeAgent(@VELDiagramAgents@GenerateSVGString)");
  ASSERT_GT(limit, 0u);
  FaultEveryOperation(before, refresh, limit);
}

TEST(SvgAnnotationFaultTest, CustomizationAgentLetsOnlyItsInterruptEscape) {
  for (std::uint64_t n = 1;; ++n) {
    auto session = Open();
    ASSERT_NE(session, nullptr);
    qmemu::Entity* root = qmemu::BuildDiagramSvg(session->model(), *session->model().find("DIA"));
    qm::AgentParameters parameters;
    auto* p = new qmemu::ParameterValue(qmemu::ParamKind::Interface);
    p->unknown = root->asEntity();
    parameters.push_back(p);
    QmAgentFunction* hook = session->plugin()->Find("GenerateSVGWithAnnotationsCustomizationAgent");
    HostMonitor& monitor = HostMonitor::Instance();
    monitor.Reset();
    monitor.FailAt(n);
    std::string outcome = "returned";
    try {
      hook(nullptr, nullptr, session->model().find("DIA")->asEntity(), &session->model().access(), parameters);
    } catch (const char* text) {
      outcome = text;
    } catch (...) {
      outcome = "another exception";
    }
    const bool reached = monitor.Count() >= n;
    monitor.Reset();
    if (!reached) {
      EXPECT_EQ("Interrupt.", outcome) << "without a fault";
      break;
    }
    EXPECT_TRUE(outcome == "Interrupt." || outcome == "returned") << "fault at operation " << n << ": " << outcome;
    if (::testing::Test::HasFailure()) break;
  }
}

}  // namespace
