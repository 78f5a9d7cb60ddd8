// Throughput of the ControlInfo route as the property-page agent runs it:
// scan and parse the text, transform the tree to JSON, encode it in the
// pretty layout, free both trees. Two inputs: a typical page of about 2 KB
// and a generated description of about 1 MB.
//
// Counters: bytes per second of ControlInfo text, tokens per text, and
// operator new calls per token (this program replaces the global operator
// new to count them; memory that the JSON library takes from its node pool
// is counted only when the pool asks for a new chunk).
#include <benchmark/benchmark.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <new>
#include <string>

#include "ControlInfoParser/CIParser.h"
#include "ControlInfoParser/ControlInfoToJasonTransformer.h"

namespace {
std::uint64_t g_allocations = 0;
}  // namespace

// Kept out of line so that the compiler does not pair the inlined malloc
// with a delete expression and warn about a mismatch.
__attribute__((noinline)) void* operator new(std::size_t size) {
  ++g_allocations;
  void* p = std::malloc(size == 0 ? 1 : size);
  if (p == nullptr) throw std::bad_alloc();
  return p;
}
void* operator new[](std::size_t size) { return operator new(size); }
__attribute__((noinline)) void operator delete(void* p) noexcept { std::free(p); }
void operator delete[](void* p) noexcept { std::free(p); }
__attribute__((noinline)) void operator delete(void* p, std::size_t) noexcept { std::free(p); }
void operator delete[](void* p, std::size_t) noexcept { std::free(p); }

namespace {

std::string Control(const std::string& kind, const std::string& text, const std::string& value) {
  return kind + "(. text = \"" + text + "\", value = \"" + value + "\" .)";
}

std::string Info(const std::string& control, const std::string& children) {
  return "ControlInfo(.\r\n\tcontrol = " + control + ",\r\n\tchildren = {" + children + "}\r\n.)";
}

// One group of a page: a few controls, an entity list and one nested group.
std::string Group(int n) {
  const std::string id = std::to_string(n);
  const std::string nested =
      Info(Control("CheckBox", "Enabled " + id, "true"), "") + ",\r\n" +
      Info(Control("ComboBox", "Mode", "Automatic"), "");
  return Info(Control("EditBox", "Name", "Pump " + id), "") + ",\r\n" +
         Info(Control("EditBox", "Description", "Feeds the \\\"main\\\" tank\\n(line two)"), "") + ",\r\n" +
         Info(Control("EntityList", "Owners", "{Owner_" + id + ", 'Second owner', \\\"Third\\\"}"), "") +
         ",\r\n" + Info(Control("GroupBox", "Settings " + id, ""), nested);
}

// A page of groups, at least `bytes` long.
std::string Page(std::size_t bytes) {
  std::string text = "{\r\n";
  for (int n = 0; text.size() < bytes; ++n) {
    if (n > 0) text += ",\r\n";
    text += Group(n);
  }
  text += "\r\n}";
  return text;
}

void RunRoute(benchmark::State& state, const std::string& text) {
  CCIParser counter;
  std::unique_ptr<CCIExpression> check(counter.ParseControlInfoText(text));
  if (!check || !CControlInfoToJasonTransformer::TransformControlInfoList(check.get())) {
    state.SkipWithError("the generated page does not transform");
    return;
  }
  const double tokens = static_cast<double>(counter.Tokens().size());
  std::string json;
  const std::uint64_t before = g_allocations;
  for (auto _ : state) {
    CCIParser parser;
    std::unique_ptr<CCIExpression> tree(parser.ParseControlInfoText(text));
    std::unique_ptr<CJasonTreeArray> array(CControlInfoToJasonTransformer::TransformControlInfoList(tree.get()));
    json.clear();
    array->EncodeToString(json, false, 0);
    benchmark::DoNotOptimize(json.data());
  }
  const double allocations = static_cast<double>(g_allocations - before);
  const double runs = static_cast<double>(state.iterations());
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) *
                          static_cast<std::int64_t>(text.size()));
  state.counters["text_bytes"] = static_cast<double>(text.size());
  state.counters["tokens"] = tokens;
  state.counters["json_bytes"] = static_cast<double>(json.size());
  state.counters["allocs_per_token"] = allocations / runs / tokens;
}

void BM_TypicalPage2KB(benchmark::State& state) { RunRoute(state, Page(2 * 1024)); }
void BM_GeneratedPage1MB(benchmark::State& state) { RunRoute(state, Page(1024 * 1024)); }

BENCHMARK(BM_TypicalPage2KB);
BENCHMARK(BM_GeneratedPage1MB)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
