// The emulator and the plug-in at model scale: one model file (made by
// bench/gen_model.py) per run, so that resident memory is this model's.
//
//   Scale_bench MODEL.json [REPEATS [--no-diagram]]
//
// Prints one line per figure, "name value unit", for bench/Scale.sh to
// gather into the table of bench/README.md:
//   load               time of LoadModelFile, resident memory after it
//                      (VmRSS) and heap in use (mallinfo2) per entity
//   explorer           GetModelViewChildNodes on the biggest package
//   links-most         GetNativeLinkInformation on the most-linked element
//   links-block        the same on an ordinary block
//   page-*             both page routes on the small and the big page
//   diagram-first      GenerateSVGWithAnnotations on the big diagram, first
//                      request (the host generates, the plug-in caches)
//   diagram-cached     a later request without client JSON (cached tree)
//   svg-tree           heap that the cached tree holds, per diagram element
// Agent times are the lowest of REPEATS calls (default 5; the first
// generation is timed once), with the host operations of one call.
//
// Not a Google Benchmark program: each figure is one call on a model that
// takes a while to build, and memory is the point as much as time.
#include <malloc.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "emulator/HostMonitor.h"
#include "emulator/ModelFile.h"
#include "emulator/Session.h"

namespace {

using Clock = std::chrono::steady_clock;

std::string PluginPath() {
  char buffer[4096];
  const ssize_t n = readlink("/proc/self/exe", buffer, sizeof buffer - 1);
  std::string self = n > 0 ? std::string(buffer, static_cast<std::size_t>(n)) : std::string("./x");
  return self.substr(0, self.rfind('/')) + "/libOrvServer.so";
}

// Resident memory of this process in KiB (VmRSS), 0 when unknown.
long ResidentKiB() {
  std::ifstream status("/proc/self/status");
  std::string line;
  while (std::getline(status, line)) {
    if (line.compare(0, 6, "VmRSS:") == 0) return std::atol(line.c_str() + 6);
  }
  return 0;
}

std::size_t HeapInUse() { return mallinfo2().uordblks; }

double Seconds(Clock::duration d) { return std::chrono::duration<double>(d).count(); }

struct Figure {
  double seconds = 1e300;
  std::uint64_t operations = 0;
  std::size_t answerBytes = 0;
};

// Runs `agent` on `context` `repeats` times; the lowest time, and the host
// operations and answer size of the last call.
Figure Measure(qmemu::Session& session, const std::string& agent, const std::string& context,
               const std::vector<std::string>& texts, std::size_t answer, int repeats) {
  Figure figure;
  qmemu::HostMonitor& monitor = qmemu::HostMonitor::Instance();
  for (int i = 0; i < repeats; ++i) {
    qmemu::AgentRun run;
    std::string error;
    monitor.Reset();
    const Clock::time_point start = Clock::now();
    if (!session.Run(agent, context, texts, run, error)) {
      std::fprintf(stderr, "Scale_bench: %s: %s\n", agent.c_str(), error.c_str());
      std::exit(1);
    }
    figure.seconds = std::min(figure.seconds, Seconds(Clock::now() - start));
    figure.operations = monitor.Count();
    figure.answerBytes = answer < run.parameters.size() ? run.parameters[answer].size() : 0;
    session.model().discardParsedExpressions();
    session.model().messages().Clear();
  }
  return figure;
}

void Print(const char* name, const Figure& f) {
  std::printf("%-16s %10.3f ms %10llu ops %9zu bytes\n", name, f.seconds * 1e3,
              static_cast<unsigned long long>(f.operations), f.answerBytes);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) {
    std::fprintf(stderr, "usage: Scale_bench MODEL.json [REPEATS]\n");
    return 2;
  }
  const int repeats = argc > 2 ? std::max(1, std::atoi(argv[2])) : 5;
  std::string error;
  std::unique_ptr<qmemu::Plugin> plugin = qmemu::Plugin::Open(PluginPath(), error);
  if (plugin == nullptr) {
    std::fprintf(stderr, "Scale_bench: %s\n", error.c_str());
    return 1;
  }
  const long rssBefore = ResidentKiB();
  const std::size_t heapBefore = HeapInUse();
  const Clock::time_point start = Clock::now();
  const std::clock_t cpuStart = std::clock();
  std::unique_ptr<qmemu::Model> model = qmemu::LoadModelFile(argv[1], error);
  const double loadSeconds = Seconds(Clock::now() - start);
  const double loadCpu = static_cast<double>(std::clock() - cpuStart) / CLOCKS_PER_SEC;
  if (model == nullptr) {
    std::fprintf(stderr, "Scale_bench: %s\n", error.c_str());
    return 1;
  }
  const long rss = ResidentKiB();
  const std::size_t heap = HeapInUse() - heapBefore;
  const std::size_t entities = model->size();
  std::printf("entities         %10zu\n", entities);
  std::printf("load             %10.3f ms %10.3f ms cpu %10ld KiB resident (+%ld) %8.0f heap bytes/entity\n",
              loadSeconds * 1e3, loadCpu * 1e3, rss, rss - rssBefore, static_cast<double>(heap) / static_cast<double>(entities));

  qmemu::Session session(std::move(model), std::move(plugin));
  Print("explorer", Measure(session, "GetModelViewChildNodes", "", {"PKG-BLOCKS", "", "", ""}, 2, repeats));
  Print("links-most", Measure(session, "GetNativeLinkInformation", "", {"REQ-0", ""}, 1, repeats));
  Print("links-block", Measure(session, "GetNativeLinkInformation", "", {"BLK-0", ""}, 1, repeats));
  Print("page-small-own", Measure(session, "TransformControlInfoToJason", "BLK-0", {""}, 0, repeats));
  Print("page-small-host", Measure(session, "GetPropertyPageControls", "", {"BLK-0", "", ""}, 1, repeats));
  Print("page-big-own", Measure(session, "TransformControlInfoToJason", "REQ-0", {""}, 0, repeats));
  Print("page-big-host", Measure(session, "GetPropertyPageControls", "", {"REQ-0", "", ""}, 1, repeats));

  std::size_t elements = 0;
  if (qmemu::Entity* diagram = session.model().find("DIA-BIG")) elements = diagram->owned().size();
  const std::size_t heapBeforeTree = HeapInUse();
  const std::size_t entitiesBeforeTree = session.model().size();
  if (argc > 3 && std::string(argv[3]) == "--no-diagram") return 0;
  Print("diagram-first", Measure(session, "GenerateSVGWithAnnotations", "DIA-BIG", {"", "", ""}, 1, 1));
  const std::size_t treeHeap = HeapInUse() - heapBeforeTree;
  const std::size_t treeEntities = session.model().size() - entitiesBeforeTree;
  Print("diagram-cached", Measure(session, "GenerateSVGWithAnnotations", "DIA-BIG", {"", "", ""}, 1, repeats));
  std::printf("svg-tree         %10zu elements %8zu entities %8.0f heap bytes/element %6.0f bytes/entity\n", elements,
              treeEntities, static_cast<double>(treeHeap) / static_cast<double>(std::max<std::size_t>(elements, 1)),
              static_cast<double>(treeHeap) / static_cast<double>(std::max<std::size_t>(treeEntities, 1)));
  std::printf("resident         %10ld KiB at the end\n", ResidentKiB());
  return 0;
}
