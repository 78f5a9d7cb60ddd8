// Throughput of the Jason library against nlohmann/json and RapidJSON on the
// classic benchmark documents (twitter.json, citm_catalog.json, canada.json,
// read in place from the shared data folder).
//
// For every library and document: parse (text to tree, tree destroyed in the
// same iteration), compact encode and pretty encode of a tree parsed once;
// and, for Jason alone, a small answer built, encoded and deleted.
// Bytes per second are always counted in bytes of the input document, so the
// figures of one document compare directly as inverse times. The counter
// "allocs" is the number of global operator new calls per iteration (a
// counting operator new replaces the global one in this program; RapidJSON
// allocates with malloc and is not counted).

// The counting operator new below hands out malloc memory and the matching
// operator delete frees it; GCC cannot see that pairing across inlined
// library code and would warn at every delete.
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic ignored "-Wmismatched-new-delete"
#endif

#include <benchmark/benchmark.h>

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <new>
#include <nlohmann/json.hpp>
#include <rapidjson/document.h>
#include <rapidjson/prettywriter.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>
#include <sstream>
#include <cstdint>
#include <string>

#include "JasonParser/JasonParser.h"

namespace {
std::size_t g_allocations = 0;
}  // namespace

void* operator new(std::size_t size) {
  ++g_allocations;
  if (void* p = std::malloc(size == 0 ? 1 : size)) return p;
  throw std::bad_alloc();
}
void operator delete(void* p) noexcept { std::free(p); }
void operator delete(void* p, std::size_t) noexcept { std::free(p); }

namespace {

const char* const kDocuments[] = {"twitter.json", "citm_catalog.json", "canada.json"};

const std::string& Document(int index) {
  static std::string texts[3];
  if (texts[index].empty()) {
    std::ifstream in(std::string(ORV_SHARED_DIR "/data/json-bench/") + kDocuments[index],
                     std::ios::binary);
    std::ostringstream bytes;
    bytes << in.rdbuf();
    texts[index] = bytes.str();
    if (texts[index].empty()) std::abort();
  }
  return texts[index];
}

// Records bytes per second and allocations per iteration.
class Meter {
 public:
  explicit Meter(benchmark::State& state) : state_(state), before_(g_allocations) {}
  ~Meter() {
    const double iterations = static_cast<double>(state_.iterations());
    state_.SetBytesProcessed(static_cast<int64_t>(state_.iterations()) *
                             static_cast<int64_t>(Document(static_cast<int>(state_.range(0))).size()));
    state_.counters["allocs"] =
        iterations > 0 ? static_cast<double>(g_allocations - before_) / iterations : 0.0;
  }

 private:
  benchmark::State& state_;
  std::size_t before_;
};

void SetLabel(benchmark::State& state) { state.SetLabel(kDocuments[state.range(0)]); }

// Jason -----------------------------------------------------------------------

void BM_JasonParse(benchmark::State& state) {
  std::string text = Document(static_cast<int>(state.range(0)));
  SetLabel(state);
  Meter meter(state);
  for (auto _ : state) {
    CJasonParser parser;
    CJasonTreeRoot* root = parser.ParseJasonText(text);
    if (root == nullptr) state.SkipWithError("parse failed");
    benchmark::DoNotOptimize(root);
    delete root;
  }
}

void JasonEncode(benchmark::State& state, bool compact) {
  std::string text = Document(static_cast<int>(state.range(0)));
  SetLabel(state);
  CJasonParser parser;
  CJasonTreeRoot* root = parser.ParseJasonText(text);
  if (root == nullptr) {
    state.SkipWithError("parse failed");
    return;
  }
  {
    Meter meter(state);
    for (auto _ : state) {
      std::string out;
      root->EncodeToString(out, compact, 0);
      benchmark::DoNotOptimize(out.data());
    }
  }
  delete root;
}

// 100,000 nested arrays, parsed and deleted: the cost of the parser's work
// stack per level (no document of the agents nests like this).
void BM_JasonParseDeep(benchmark::State& state) {
  const int depth = 100000;
  std::string text = std::string(depth, '[') + std::string(depth, ']');
  for (auto _ : state) {
    CJasonParser parser;
    CJasonTreeRoot* root = parser.ParseJasonText(text);
    if (root == nullptr) state.SkipWithError("parse failed");
    benchmark::DoNotOptimize(root);
    delete root;
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) * static_cast<std::int64_t>(text.size()));
}

void BM_JasonEncodeCompact(benchmark::State& state) { JasonEncode(state, true); }
void BM_JasonEncodePretty(benchmark::State& state) { JasonEncode(state, false); }

// One small answer as an agent makes it: an array of four objects of five
// string pairs, built, encoded compact and deleted. Each iteration is one
// agent call, so the pool's chunks are taken and given back every time.
void BM_JasonSmallAnswer(benchmark::State& state) {
  const std::size_t before = g_allocations;
  for (auto _ : state) {
    CJasonTreeArray* answer = new CJasonTreeArray;
    for (int i = 0; i < 4; ++i) {
      CJasonTreeObject* object = new CJasonTreeObject;
      object->pairs.push_back(CreatePairFromStrings("guid", "{2F0A61C4-9E1B-4D57-8C3A-5B7E0D19A6F2}"));
      object->pairs.push_back(CreatePairFromStrings("name", "Requirement"));
      object->pairs.push_back(CreatePairFromStrings("kind", "incoming"));
      object->pairs.push_back(CreatePairFromStrings("url", "vorn:qm:2F0A61C4-9E1B-4D57"));
      object->pairs.push_back(CreatePairFromStrings("flag", "true"));
      answer->values.push_back(object);
    }
    std::string out;
    answer->EncodeToString(out, true, 0);
    benchmark::DoNotOptimize(out.data());
    delete answer;
  }
  const double iterations = static_cast<double>(state.iterations());
  state.counters["allocs"] =
      iterations > 0 ? static_cast<double>(g_allocations - before) / iterations : 0.0;
}

// nlohmann/json ---------------------------------------------------------------

void BM_NlohmannParse(benchmark::State& state) {
  const std::string& text = Document(static_cast<int>(state.range(0)));
  SetLabel(state);
  Meter meter(state);
  for (auto _ : state) {
    nlohmann::json doc = nlohmann::json::parse(text);
    benchmark::DoNotOptimize(doc);
  }
}

void NlohmannDump(benchmark::State& state, int indent) {
  const nlohmann::json doc = nlohmann::json::parse(Document(static_cast<int>(state.range(0))));
  SetLabel(state);
  Meter meter(state);
  for (auto _ : state) {
    std::string out = doc.dump(indent);
    benchmark::DoNotOptimize(out.data());
  }
}

void BM_NlohmannDump(benchmark::State& state) { NlohmannDump(state, -1); }
void BM_NlohmannDump4(benchmark::State& state) { NlohmannDump(state, 4); }

// RapidJSON -------------------------------------------------------------------

void BM_RapidJsonParse(benchmark::State& state) {
  const std::string& text = Document(static_cast<int>(state.range(0)));
  SetLabel(state);
  Meter meter(state);
  for (auto _ : state) {
    rapidjson::Document doc;
    doc.Parse(text.c_str(), text.size());
    if (doc.HasParseError()) state.SkipWithError("parse failed");
    benchmark::DoNotOptimize(doc);
  }
}

template <typename Writer>
void RapidJsonWrite(benchmark::State& state) {
  const std::string& text = Document(static_cast<int>(state.range(0)));
  rapidjson::Document doc;
  doc.Parse(text.c_str(), text.size());
  SetLabel(state);
  Meter meter(state);
  for (auto _ : state) {
    rapidjson::StringBuffer buffer;
    Writer writer(buffer);
    doc.Accept(writer);
    benchmark::DoNotOptimize(buffer.GetString());
  }
}

void BM_RapidJsonWriter(benchmark::State& state) {
  RapidJsonWrite<rapidjson::Writer<rapidjson::StringBuffer>>(state);
}
void BM_RapidJsonPrettyWriter(benchmark::State& state) {
  RapidJsonWrite<rapidjson::PrettyWriter<rapidjson::StringBuffer>>(state);
}

BENCHMARK(BM_JasonParse)->DenseRange(0, 2);
BENCHMARK(BM_JasonParseDeep);
BENCHMARK(BM_NlohmannParse)->DenseRange(0, 2);
BENCHMARK(BM_RapidJsonParse)->DenseRange(0, 2);
BENCHMARK(BM_JasonEncodeCompact)->DenseRange(0, 2);
BENCHMARK(BM_NlohmannDump)->DenseRange(0, 2);
BENCHMARK(BM_RapidJsonWriter)->DenseRange(0, 2);
BENCHMARK(BM_JasonEncodePretty)->DenseRange(0, 2);
BENCHMARK(BM_JasonSmallAnswer);
BENCHMARK(BM_NlohmannDump4)->DenseRange(0, 2);
BENCHMARK(BM_RapidJsonPrettyWriter)->DenseRange(0, 2);

}  // namespace

BENCHMARK_MAIN();
