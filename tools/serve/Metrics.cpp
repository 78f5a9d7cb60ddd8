#include "tools/serve/Metrics.h"

#include <unistd.h>

#include <cstdio>

namespace orvtool {
namespace {

// Upper bounds of the latency buckets, in seconds.
const double kBounds[] = {0.0005, 0.001, 0.0025, 0.005, 0.01, 0.025, 0.05, 0.1, 0.25, 0.5, 1, 2.5, 5, 10};
constexpr std::size_t kBucketCount = sizeof kBounds / sizeof kBounds[0];

std::string Number(double value, const char* format = "%.17g") {
  char text[40];
  std::snprintf(text, sizeof text, format, value);
  return text;
}

void Header(std::string& out, const char* name, const char* type, const char* help) {
  out += std::string("# HELP ") + name + " " + help + "\n# TYPE " + name + " " + type + "\n";
}

}  // namespace

std::string LabelValue(const std::string& value) {
  std::string out;
  for (char c : value) {
    if (c == '\\') out += "\\\\";
    else if (c == '"') out += "\\\"";
    else if (c == '\n') out += "\\n";
    else out += c;
  }
  return out;
}

std::uint64_t ResidentBytes() {
  FILE* f = std::fopen("/proc/self/statm", "r");
  if (f == nullptr) return 0;
  unsigned long long size = 0, resident = 0;
  int read = std::fscanf(f, "%llu %llu", &size, &resident);
  std::fclose(f);
  if (read != 2) return 0;
  return static_cast<std::uint64_t>(resident) * static_cast<std::uint64_t>(sysconf(_SC_PAGESIZE));
}

void Metrics::Observe(Histogram& histogram, double seconds) {
  if (histogram.buckets.empty()) histogram.buckets.assign(kBucketCount, 0);
  for (std::size_t i = 0; i < kBucketCount; ++i) {
    if (seconds <= kBounds[i]) {
      ++histogram.buckets[i];
      break;
    }
  }
  histogram.sum += seconds;
  ++histogram.count;
}

void Metrics::Write(std::string& out, const std::string& name, const std::string& labels,
                    const Histogram& histogram) {
  std::uint64_t cumulative = 0;
  for (std::size_t i = 0; i < kBucketCount; ++i) {
    cumulative += histogram.buckets.empty() ? 0 : histogram.buckets[i];
    out += name + "_bucket{" + labels + ",le=\"" + Number(kBounds[i], "%g") + "\"} " + std::to_string(cumulative) + "\n";
  }
  out += name + "_bucket{" + labels + ",le=\"+Inf\"} " + std::to_string(histogram.count) + "\n";
  out += name + "_sum{" + labels + "} " + Number(histogram.sum) + "\n";
  out += name + "_count{" + labels + "} " + std::to_string(histogram.count) + "\n";
}

void Metrics::Request(const std::string& route, int status, double seconds) {
  std::lock_guard<std::mutex> lock(mutex_);
  ++requests_[{route, status}];
  Observe(requestSeconds_[route], seconds);
}

void Metrics::AgentCall(const std::string& agent, const std::string& outcome, double seconds,
                        std::uint64_t hostOperations) {
  std::lock_guard<std::mutex> lock(mutex_);
  ++agentCalls_[{agent, outcome}];
  Observe(agentSeconds_[agent], seconds);
  hostOperations_[agent] += hostOperations;
}

std::string Metrics::Text(const MetricsGauges& gauges) const {
  std::lock_guard<std::mutex> lock(mutex_);
  std::string out;
  Header(out, "orv_http_requests_total", "counter", "HTTP requests answered, by route template and status.");
  for (const auto& [key, count] : requests_) {
    out += "orv_http_requests_total{route=\"" + LabelValue(key.first) + "\",status=\"" +
           std::to_string(key.second) + "\"} " + std::to_string(count) + "\n";
  }
  Header(out, "orv_http_request_seconds", "histogram", "Time to answer a request, by route template.");
  for (const auto& [route, histogram] : requestSeconds_) {
    Write(out, "orv_http_request_seconds", "route=\"" + LabelValue(route) + "\"", histogram);
  }
  Header(out, "orv_agent_calls_total", "counter", "Agent calls, by agent and outcome.");
  for (const auto& [key, count] : agentCalls_) {
    out += "orv_agent_calls_total{agent=\"" + LabelValue(key.first) + "\",outcome=\"" + LabelValue(key.second) +
           "\"} " + std::to_string(count) + "\n";
  }
  Header(out, "orv_agent_call_seconds", "histogram", "Run time of agent calls, by agent.");
  for (const auto& [agent, histogram] : agentSeconds_) {
    Write(out, "orv_agent_call_seconds", "agent=\"" + LabelValue(agent) + "\"", histogram);
  }
  Header(out, "orv_agent_host_operations_total", "counter", "Host operations made by agent calls, by agent.");
  for (const auto& [agent, count] : hostOperations_) {
    out += "orv_agent_host_operations_total{agent=\"" + LabelValue(agent) + "\"} " + std::to_string(count) + "\n";
  }
  Header(out, "orv_model_version", "gauge", "Version of the loaded model: 1 at start, one more per reload.");
  out += "orv_model_version " + std::to_string(gauges.modelVersion) + "\n";
  Header(out, "orv_model_entities", "gauge", "Entities of the loaded model.");
  out += "orv_model_entities " + std::to_string(gauges.modelEntities) + "\n";
  Header(out, "orv_event_clients", "gauge", "Open event streams.");
  out += "orv_event_clients " + std::to_string(gauges.eventClients) + "\n";
  Header(out, "process_resident_memory_bytes", "gauge", "Resident memory of the server process.");
  out += "process_resident_memory_bytes " + std::to_string(gauges.residentBytes) + "\n";
  return out;
}

}  // namespace orvtool
