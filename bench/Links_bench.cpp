// Cost of GetNativeLinkInformation on a large model.
//
// The generated model holds `modelLinks` hyperlinks and `modelLinks`
// dependencies with external references (10,000 of each by default), spread
// over filler blocks, and one block BLK-T with `links` links of each kind:
// incoming requirement dependencies (which also name it in their target
// reference, so that every one is found twice and de-duplicated), outgoing
// ones (named by their source reference too), hyperlinks pointing at it and
// hyperlinks of its own.
//
// Every request walks every application of the externalObjectReference
// stereotype (once per direction) and of the hyperlink stereotype in the
// whole model. The counters show that this walk is the cost:
//   host_ops          host operations per call
//   applications      stereotype applications walked per call
//   ops_per_application  host_ops / applications
//   ops_beyond_walks  host_ops less those of the walks alone
// BM_PrescribedWalks makes the three walks alone, with the host operations
// that each application needs before it can be told apart, as the floor
// against which the agent's time and operations compare.
//
// BM_AnnotateLinkedDiagram/S/G annotates the diagram of the large linked
// model of testing/LinkModelGenerator.h at scale S/1000 (TraverseSVGTree on
// the host's tree), asking each element's links by walking the model (G = 0)
// or from one gathering of the model's link applications made for the
// traversal (G = 1, as the SVG agent does). Counters per symbol or line:
// ops_per_element and time_per_element.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <memory>
#include <string>

#include "Links/LinkGathering.h"
#include "SVGCustomization/SvgElements.h"
#include "SVGCustomization/SvgTraversal.h"
#include "emulator/HostMonitor.h"
#include "emulator/Model.h"
#include "emulator/ModelFile.h"
#include "emulator/StereotypeApplication.h"
#include "emulator/SvgTree.h"
#include "host/Agent.h"
#include "testing/LinkModelGenerator.h"

namespace {

using qmemu::Entity;
using qmemu::Model;

const int kFillers = 500;

struct Generated {
  std::unique_ptr<Model> model;
  std::uint64_t applications = 0;  // walked per request
};

std::string Filler(int i) { return "BLK-" + std::to_string(i % kFillers); }

// Builds the model with the emulator's own API (not counted).
Generated Generate(int modelLinks, int links) {
  Generated g;
  g.model = std::make_unique<Model>("ROOT");
  Model& m = *g.model;
  m.addPredefined();
  Entity& placeholder = *m.find("@Predefined@ExternalObject");
  Entity& reference = *m.find("@Predefined@externalObjectReference");
  Entity& hyperlink = *m.find("@VELLinks@HYPERLINK");
  Entity& trace = *m.find("@Predefined@trace");
  Entity& satisfy = *m.find("@Predefined@satisfy");
  for (int i = 0; i < kFillers; ++i) {
    Entity* block = m.create("Block", Filler(i), &m.root());
    block->setValue("Name", "Filler " + std::to_string(i));
  }
  Entity& target = *m.create("Block", "BLK-T", &m.root());
  target.setValue("Name", "Target");

  // External-reference dependencies: `links` into BLK-T, `links` out of it,
  // the rest between fillers.
  for (int i = 0; i < modelLinks; ++i) {
    Entity* owner = i >= links && i < 2 * links ? &target : m.find(Filler(i));
    Entity* dependency = m.create("Dependency", "", owner);
    owner->append("ClientDependency", dependency);
    qmemu::ApplyStereotype(*dependency, i < 2 * links ? trace : satisfy);
    std::string source = "vorn:qm:" + owner->guid();
    std::string to = "vorn:qm:" + Filler(i + 1);
    if (i < links) {
      to = "vorn:qm:BLK-T";
      dependency->setReference("Supplier", &target);
    } else {
      dependency->setReference("Supplier", i < 2 * links ? m.find(Filler(i + 1)) : &placeholder);
    }
    qmemu::ApplyStereotype(*dependency, reference, {{"source", source}, {"target", to}});
  }
  // Hyperlinks: `links` pointing at BLK-T, `links` carried by it.
  for (int i = 0; i < modelLinks; ++i) {
    Entity* carrier = i >= links && i < 2 * links ? &target : m.find(Filler(i));
    std::string url = i < links ? (i % 2 == 0 ? "vorn:qm:BLK-T" : "vorn:a:b:BLK-T") : "vorn:qm:" + Filler(i + 7);
    qmemu::ApplyStereotype(*carrier, hyperlink, {{"URL", url}, {"name", "link " + std::to_string(i)}});
  }
  g.applications = 2 * static_cast<std::uint64_t>(modelLinks) + static_cast<std::uint64_t>(modelLinks);
  return g;
}

// The walks that every request must make, with the host operations that
// each application needs before it can be told apart from the others: for
// an external reference (once per direction) its meta class, owner, owner's
// meta class, stereotype, query, value class and text; for a hyperlink its
// meta class, owner, expression, URL argument, value entity, value class
// and text. Returns the number of applications seen.
std::uint64_t PrescribedWalks(qm::IVelModel* model) {
  std::uint64_t seen = 0;
  for (const char* end : {"target", "source"}) {
    const std::string query = std::string("externalObjectReference (. ") + end + " .)";
    qm::EntityList instances;
    model->FindEntity("@Predefined@externalObjectReference")->GetReferencingEntities("InstanceOf", instances);
    for (qm::IVelEntity* instance : instances) {
      if (!instance->IsKindOf("InstanceExpr")) continue;
      qm::IVelEntity* dependency = instance->GetOwner();
      if (!dependency->IsKindOf("Dependency")) continue;
      if (!dependency->HasStereotype("@Predefined@externalObjectReference", 1)) continue;
      qm::IVelEntity* value = dependency->QueryEntity(query, 0);
      std::string text;
      if (value != nullptr && value->IsKindOf("CharstringValue")) value->GetValue("ValueString", text, 0);
      seen += !text.empty();
    }
  }
  qm::EntityList instances;
  model->FindEntity("@VELLinks@HYPERLINK")->GetReferencingEntities("InstanceOf", instances);
  for (qm::IVelEntity* instance : instances) {
    if (!instance->IsKindOf("InstanceExpr") || instance->GetOwner() == nullptr) continue;
    void* expression = nullptr;
    instance->QueryInterface(qm::IVelExpression::guid, &expression);
    qm::IUnknown* argument = static_cast<qm::IVelExpression*>(expression)->GetArgument("URL");
    void* value = nullptr;
    argument->QueryInterface(qm::IVelEntity::guid, &value);
    std::string text;
    if (static_cast<qm::IVelEntity*>(value)->IsKindOf("CharstringValue")) {
      static_cast<qm::IVelEntity*>(value)->GetValue("ValueString", text, 0);
    }
    seen += !text.empty();
  }
  return seen;
}

// Host operations of the walks alone on `model`.
std::uint64_t PrescribedWalkOperations(qm::IVelModel* model) {
  qmemu::HostMonitor& monitor = qmemu::HostMonitor::Instance();
  monitor.Reset();
  PrescribedWalks(model);
  const std::uint64_t ops = monitor.Count();
  monitor.Reset();
  return ops;
}

void BM_PrescribedWalks(benchmark::State& state) {
  Generated g = Generate(static_cast<int>(state.range(0)), static_cast<int>(state.range(1)));
  const std::uint64_t ops = PrescribedWalkOperations(g.model.get());
  for (auto _ : state) benchmark::DoNotOptimize(PrescribedWalks(g.model.get()));
  state.counters["host_ops"] = static_cast<double>(ops);
  state.counters["applications"] = static_cast<double>(g.applications);
  state.counters["ops_per_application"] = static_cast<double>(ops) / static_cast<double>(g.applications);
}

void BM_GetNativeLinkInformation(benchmark::State& state) {
  const int modelLinks = static_cast<int>(state.range(0));
  const int links = static_cast<int>(state.range(1));
  Generated g = Generate(modelLinks, links);
  qmemu::HostMonitor& monitor = qmemu::HostMonitor::Instance();
  std::string json;
  {
    // One call, counted alone (the parameters are made before the count).
    qm::AgentParameters parameters;
    parameters.push_back(qm::AgentParameter::Create("BLK-T", qm::_String));
    parameters.push_back(qm::AgentParameter::Create("", qm::_String));
    monitor.Reset();
    GetNativeLinkInformation(nullptr, nullptr, g.model->root().asEntity(), nullptr, parameters);
    json = parameters.back()->GetString();
  }
  const double ops = static_cast<double>(monitor.Count() - 1);  // less the GetString above
  for (auto _ : state) {
    qm::AgentParameters parameters;
    parameters.push_back(qm::AgentParameter::Create("BLK-T", qm::_String));
    parameters.push_back(qm::AgentParameter::Create("", qm::_String));
    GetNativeLinkInformation(nullptr, nullptr, g.model->root().asEntity(), nullptr, parameters);
    benchmark::DoNotOptimize(parameters.back());
  }
  state.counters["host_ops"] = ops;
  state.counters["applications"] = static_cast<double>(g.applications);
  state.counters["ops_per_application"] = ops / static_cast<double>(g.applications);
  state.counters["json_bytes"] = static_cast<double>(json.size());
  state.counters["ops_beyond_walks"] = ops - static_cast<double>(PrescribedWalkOperations(g.model.get()));
}

void BM_AnnotateLinkedDiagram(benchmark::State& state) {
  const orvtest::LinkModelShape shape = orvtest::LargeLinkModelShape(static_cast<double>(state.range(0)) / 1000.0);
  const bool gathered = state.range(1) != 0;
  std::string error;
  std::unique_ptr<Model> model = qmemu::LoadModelText(orvtest::GenerateLinkModel(shape), "linked.json", error);
  if (model == nullptr) {
    state.SkipWithError(error.c_str());
    return;
  }
  qmemu::HostMonitor& monitor = qmemu::HostMonitor::Instance();
  double operations = 0;
  for (auto _ : state) {
    state.PauseTiming();
    Entity* root = qmemu::BuildDiagramSvg(*model, *model->find("DIA"));
    RemoveBoundaryrectElements(root->asEntity());
    monitor.Reset();
    state.ResumeTiming();
    if (gathered) {
      const CLinkGathering links(model.get());
      TraverseSVGTree(root->asEntity(), model.get(), links);
    } else {
      TraverseSVGTree(root->asEntity(), model.get());
    }
    state.PauseTiming();
    operations = static_cast<double>(monitor.Count());
    model->destroy(root);
    state.ResumeTiming();
  }
  const double elements = shape.symbols + shape.lines;
  state.counters["ops_per_element"] = operations / elements;
  state.counters["time_per_element"] =
      benchmark::Counter(elements, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

// Per-element walks only at the small scales: at scale 1000 one run takes
// about a minute.
BENCHMARK(BM_AnnotateLinkedDiagram)
    ->ArgNames({"scale", "gathered"})
    ->Args({62, 0})
    ->Args({125, 0})
    ->Args({250, 0})
    ->Args({62, 1})
    ->Args({125, 1})
    ->Args({250, 1})
    ->Args({500, 1})
    ->Args({1000, 1})
    ->Unit(benchmark::kMillisecond);

// 10,000 of each in the model, 100 of each kind on the element; then the
// model and the element's link count varied on their own.
void Sizes(benchmark::internal::Benchmark* b) {
  b->Args({10000, 100});
  b->Args({2500, 100});
  b->Args({20000, 100});
  b->Args({10000, 10});
  b->Args({10000, 1000});
  b->ArgNames({"model_links", "links"});
  b->Unit(benchmark::kMillisecond);
}

BENCHMARK(BM_GetNativeLinkInformation)->Apply(Sizes);
BENCHMARK(BM_PrescribedWalks)->Apply(Sizes);

}  // namespace

BENCHMARK_MAIN();
