// The SVG agents on a generated diagram of N symbols and N lines, a quarter
// of each with links, run as the host runs them: the real plug-in loaded
// with dlopen, the emulated host's SVG generation and XML writer.
//
//   BM_FirstGeneration/N      a diagram's first request: the host generates
//                             the tree, the plug-in annotates and caches it,
//                             the host writes it (a fresh model each time)
//   BM_CachedReannotation/N   a later request: the cached tree is
//                             re-annotated from client JSON that names every
//                             linked element (without "relInfo", so that the
//                             tree stays the same size from one request to
//                             the next) and written again
//
//   BM_LinkedFirstGeneration/S  the first request on the large linked model
//                             of testing/LinkModelGenerator.h at scale S/1000
//                             (at 1000: 4,000 blocks, 4,000 requirements,
//                             1,000 test cases, 7,000 hyperlinks, 500
//                             external references; 4,000 symbols and 4,000
//                             lines), where every element's link question
//                             would walk every hyperlink of the model
//
// Counters: time_per_element (per symbol or line), ops_per_element (host
// operations the plug-in makes per symbol or line) and the SVG size. Both
// per-element figures stay flat as N grows; the complexity fit says the same
// of the time.
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <memory>
#include <string>
#include <vector>

#include "emulator/HostMonitor.h"
#include "emulator/ModelFile.h"
#include "emulator/Session.h"
#include "testing/LinkModelGenerator.h"

namespace {

// The plug-in built beside this program.
std::string PluginPath() {
  char buffer[4096];
  const ssize_t n = readlink("/proc/self/exe", buffer, sizeof buffer - 1);
  std::string self = n > 0 ? std::string(buffer, static_cast<std::size_t>(n)) : std::string("./x");
  return self.substr(0, self.rfind('/')) + "/libOrvServer.so";
}

// A model with N blocks shown by symbols on a grid and N dependencies shown
// by lines. Every fourth block traces to a requirement off the diagram, and
// every fourth line's dependency is traced to by another dependency, so a
// quarter of the symbols and of the lines have links.
std::string ModelText(int n) {
  std::string packageItems, diagramItems;
  for (int i = 0; i < n; ++i) {
    const std::string k = std::to_string(i);
    const int x = (i % 50) * 300, y = (i / 50) * 300;
    std::string block = R"({"guid": "B)" + k + R"(", "meta": "Block", "name": "Block )" + k + "\"";
    if (i % 4 == 0) {
      block += R"(, "children": [{"guid": "T)" + k + R"(", "meta": "Dependency", "in": "ClientDependency",)" +
               R"( "refs": {"Supplier": "R)" + k + R"("}, "stereotypes": [{"apply": "@Predefined@trace"}]}])";
      packageItems += R"({"guid": "R)" + k + R"(", "meta": "Requirement", "name": "Req )" + k + "\"},\n";
      packageItems += R"({"guid": "LT)" + k + R"(", "meta": "Dependency", "refs": {"Supplier": "L)" + k +
                      R"("}, "stereotypes": [{"apply": "@Predefined@trace"}]},)" + "\n";
    }
    packageItems += block + "},\n";
    packageItems += R"({"guid": "L)" + k + R"(", "meta": "Dependency"},)" + "\n";
    diagramItems += R"({"guid": "S)" + k + R"(", "meta": "Symbol", "values": {"Position": ")" + std::to_string(x) +
                    " " + std::to_string(y) + R"(", "Size": "200 100"}, "refs": {"ModelElement": "B)" + k +
                    R"(", "Diagram": "DIA"}},)" + "\n";
    diagramItems += R"({"guid": "LN)" + k + R"(", "meta": "Line", "values": {"SegmentPoints": ")" +
                    std::to_string(x + 100) + " " + std::to_string(y + 100) + " " + std::to_string(x + 100) + " " +
                    std::to_string(y + 300) + R"("}, "refs": {"ModelElement": "L)" + k + R"(", "Diagram": "DIA"}})" +
                    (i + 1 < n ? ",\n" : "\n");
  }
  return R"({"root": {"guid": "ROOT", "name": "Bench", "children": [{"guid": "PKG", "meta": "Package", "name": "P",)"
         R"( "children": [)" +
         packageItems + R"({"guid": "DIA", "meta": "Diagram", "name": "Big", "children": [)" + diagramItems +
         "]}]}]}}";
}

// The client's JSON naming every linked element.
std::string ClientJson(int n) {
  std::string json = "[";
  for (int i = 0; i < n; i += 4) {
    json += (i == 0 ? "" : ", ");
    json += R"({"objID": "B)" + std::to_string(i) + R"("}, {"objID": "L)" + std::to_string(i) + "\"}";
  }
  return json + "]";
}

std::unique_ptr<qmemu::Session> OpenSession(const std::string& modelText) {
  std::string error;
  std::unique_ptr<qmemu::Model> model = qmemu::LoadModelText(modelText, "bench.json", error);
  std::unique_ptr<qmemu::Plugin> plugin = model == nullptr ? nullptr : qmemu::Plugin::Open(PluginPath(), error);
  if (plugin == nullptr) return nullptr;
  return std::make_unique<qmemu::Session>(std::move(model), std::move(plugin));
}

// One request for the diagram; returns the SVG size, or -1 on failure.
double Request(qmemu::Session& session, const std::string& json) {
  qmemu::AgentRun run;
  std::string error;
  if (!session.Run("GenerateSVGWithAnnotations", "DIA", {json, ""}, run, error)) return -1;
  return static_cast<double>(run.parameters[1].size());
}

void Report(benchmark::State& state, double elements, double operations, double svgBytes) {
  // Seconds per symbol or line (printed with an SI prefix: 150u is 150 us).
  state.counters["time_per_element"] =
      benchmark::Counter(elements, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
  state.counters["ops_per_element"] = operations / elements;
  state.counters["svg_bytes"] = svgBytes;
  state.SetComplexityN(static_cast<benchmark::IterationCount>(elements));
}

// The first request for DIA of a new session on `text`, per iteration.
void FirstGeneration(benchmark::State& state, const std::string& text, double elements) {
  qmemu::HostMonitor& monitor = qmemu::HostMonitor::Instance();
  double operations = 0, bytes = 0;
  for (auto _ : state) {
    state.PauseTiming();
    std::unique_ptr<qmemu::Session> session = OpenSession(text);
    if (session == nullptr) {
      state.SkipWithError("cannot open the model or the plug-in");
      break;
    }
    monitor.Reset();
    state.ResumeTiming();
    bytes = Request(*session, "");
    state.PauseTiming();
    operations = static_cast<double>(monitor.Count());
    session.reset();
    state.ResumeTiming();
  }
  Report(state, elements, operations, bytes);
}

void BM_FirstGeneration(benchmark::State& state) {
  const int n = static_cast<int>(state.range(0));
  FirstGeneration(state, ModelText(n), 2.0 * n);
}

void BM_LinkedFirstGeneration(benchmark::State& state) {
  const orvtest::LinkModelShape shape = orvtest::LargeLinkModelShape(static_cast<double>(state.range(0)) / 1000.0);
  FirstGeneration(state, orvtest::GenerateLinkModel(shape), static_cast<double>(shape.symbols + shape.lines));
}

void BM_CachedReannotation(benchmark::State& state) {
  const int n = static_cast<int>(state.range(0));
  std::unique_ptr<qmemu::Session> session = OpenSession(ModelText(n));
  if (session == nullptr) {
    state.SkipWithError("cannot open the model or the plug-in");
    return;
  }
  const std::string json = ClientJson(n);
  Request(*session, "");
  Request(*session, json);  // the icon groups exist from here on
  qmemu::HostMonitor& monitor = qmemu::HostMonitor::Instance();
  double operations = 0, bytes = 0;
  for (auto _ : state) {
    monitor.Reset();
    bytes = Request(*session, json);
    operations = static_cast<double>(monitor.Count());
  }
  Report(state, 2.0 * n, operations, bytes);
}

BENCHMARK(BM_FirstGeneration)->Arg(250)->Arg(500)->Arg(1000)->Arg(2000)->Unit(benchmark::kMillisecond)->Complexity(benchmark::oN);
BENCHMARK(BM_LinkedFirstGeneration)->Arg(125)->Arg(250)->Arg(500)->Arg(1000)->Unit(benchmark::kMillisecond)->Complexity(benchmark::oN);
BENCHMARK(BM_CachedReannotation)->Arg(250)->Arg(500)->Arg(1000)->Arg(2000)->Unit(benchmark::kMillisecond)->Complexity(benchmark::oN);

}  // namespace

BENCHMARK_MAIN();
