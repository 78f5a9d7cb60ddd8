// GetModelViewChildNodes against the emulated host, as the client's model
// explorer calls it:
//   - WideNode/N: expanding one package with N block children (each with an
//     icon, no children, no symbols);
//   - DeepModelRoot: the root node of a generated model 10 levels deep
//     (every package holds two packages, the last level two blocks), and
//     DeepModelLevel/L: expanding a node at level L of it.
//
// Counters: "children" answered per call, "host_ops_per_child" (host
// operations the plug-in made, from the emulator's call monitor, per answered
// node) and "time_per_child" (wall time per answered node; constant across N
// when the work grows linearly with the children).
#include <benchmark/benchmark.h>

#include <memory>
#include <string>
#include <vector>

#include "emulator/HostMonitor.h"
#include "emulator/Model.h"
#include "emulator/Parameters.h"
#include "host/Agent.h"

namespace {

using qmemu::Entity;
using qmemu::HostMonitor;
using qmemu::Model;

std::unique_ptr<Model> NewModel() {
  auto model = std::make_unique<Model>("ROOT", "Model", "Generated");
  model->addPredefined();
  model->hostData()["icons"] = {{"Model", "0"}, {"Package", "1"}, {"Block", "12"}};
  return model;
}

// A package "P" owning `n` blocks.
std::unique_ptr<Model> WideModel(long n) {
  auto model = NewModel();
  Entity* package = model->create("Package", "P", &model->root());
  package->setValue("Name", "Wide");
  for (long i = 0; i < n; ++i) {
    Entity* block = model->create("Block", "B" + std::to_string(i), package);
    block->setValue("Name", "Block " + std::to_string(i));
  }
  return model;
}

// Packages two by two down to `depth` levels below the root, the last
// level of blocks. Node GUIDs spell their path: "L1-0", "L2-01", ...
void Grow(Model& model, Entity* parent, const std::string& path, int level, int depth) {
  for (int i = 0; i < 2; ++i) {
    const std::string guid = "L" + std::to_string(level) + "-" + path + std::to_string(i);
    Entity* child = model.create(level == depth ? "Block" : "Package", guid, parent);
    child->setValue("Name", guid);
    if (level < depth) Grow(model, child, path + std::to_string(i), level + 1, depth);
  }
}

std::unique_ptr<Model> DeepModel() {
  auto model = NewModel();
  Grow(*model, &model->root(), "", 1, 10);
  return model;
}

// Calls the agent once; returns the length of the answer.
std::size_t Expand(Model& model, const std::string& parent) {
  qm::AgentParameters parameters;
  for (const std::string& text : {parent, std::string(), std::string(), std::string()}) {
    auto* p = new qmemu::ParameterValue(qmemu::ParamKind::Text);
    p->text = text;
    parameters.push_back(p);
  }
  GetModelViewChildNodes(nullptr, nullptr, model.root().asEntity(), &model.access(), parameters);
  return qmemu::TextAt(parameters, 3).size();
}

void Report(benchmark::State& state, double children) {
  const double calls = static_cast<double>(state.iterations());
  state.counters["children"] = children;
  state.counters["host_ops_per_child"] =
      static_cast<double>(HostMonitor::Instance().Count()) / (calls * children);
  state.counters["time_per_child"] =
      benchmark::Counter(calls * children, benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
  state.SetItemsProcessed(static_cast<std::int64_t>(calls * children));
}

void WideNode(benchmark::State& state) {
  const long n = state.range(0);
  auto model = WideModel(n);
  HostMonitor::Instance().Reset();
  for (auto _ : state) {
    std::size_t size = Expand(*model, "P");
    if (size < static_cast<std::size_t>(n)) state.SkipWithError("answer too short");
    benchmark::DoNotOptimize(size);
  }
  Report(state, static_cast<double>(n));
  HostMonitor::Instance().Reset();
}
BENCHMARK(WideNode)->Arg(1000)->Arg(10000)->Arg(100000)->Unit(benchmark::kMillisecond);

void DeepModelRoot(benchmark::State& state) {
  auto model = DeepModel();
  HostMonitor::Instance().Reset();
  for (auto _ : state) {
    std::size_t size = Expand(*model, "");
    if (size == 0) state.SkipWithError("no answer");
    benchmark::DoNotOptimize(size);
  }
  Report(state, 1);
  HostMonitor::Instance().Reset();
}
BENCHMARK(DeepModelRoot)->Unit(benchmark::kMicrosecond);

// Expands the first node of level L (its two children).
void DeepModelLevel(benchmark::State& state) {
  auto model = DeepModel();
  const int level = static_cast<int>(state.range(0));
  const std::string guid = "L" + std::to_string(level) + "-" + std::string(static_cast<std::size_t>(level), '0');
  HostMonitor::Instance().Reset();
  for (auto _ : state) {
    std::size_t size = Expand(*model, guid);
    if (size < 10) state.SkipWithError("no children answered");
    benchmark::DoNotOptimize(size);
  }
  Report(state, 2);
  HostMonitor::Instance().Reset();
}
BENCHMARK(DeepModelLevel)->Arg(1)->Arg(5)->Arg(9)->Unit(benchmark::kMicrosecond);

}  // namespace

BENCHMARK_MAIN();
