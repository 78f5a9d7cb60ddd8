// The server's counters, answered by GET /metrics in the Prometheus text
// format (version 0.0.4). Safe to update from every request thread.
#ifndef TOOLS_SERVE_METRICS_H_
#define TOOLS_SERVE_METRICS_H_

#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace orvtool {

// Gauges read at the moment of the answer.
struct MetricsGauges {
  std::uint64_t modelVersion = 0;
  std::uint64_t modelEntities = 0;
  int eventClients = 0;
  std::uint64_t residentBytes = 0;
};

class Metrics {
 public:
  // One answered request: `route` the path template ("static" for files).
  void Request(const std::string& route, int status, double seconds);
  // One agent call: `outcome` the name of its outcome in the outcome table
  // (answered, agent-error, refused, unknown-agent, unknown-entity,
  // time-budget, operation-budget, host-fault).
  void AgentCall(const std::string& agent, const std::string& outcome, double seconds,
                 std::uint64_t hostOperations);

  // Every family, with HELP and TYPE lines, label values escaped.
  std::string Text(const MetricsGauges& gauges) const;

 private:
  struct Histogram {
    std::vector<std::uint64_t> buckets;  // cumulative at Text, counts per bucket here
    double sum = 0;
    std::uint64_t count = 0;
  };
  static void Observe(Histogram& histogram, double seconds);
  static void Write(std::string& out, const std::string& name, const std::string& labels,
                    const Histogram& histogram);

  mutable std::mutex mutex_;
  std::map<std::pair<std::string, int>, std::uint64_t> requests_;
  std::map<std::string, Histogram> requestSeconds_;
  std::map<std::pair<std::string, std::string>, std::uint64_t> agentCalls_;
  std::map<std::string, Histogram> agentSeconds_;
  std::map<std::string, std::uint64_t> hostOperations_;
};

// The resident set size of this process in bytes (from /proc/self/statm),
// 0 when it cannot be read.
std::uint64_t ResidentBytes();

// A label value with \, " and line ends escaped as the format asks.
std::string LabelValue(const std::string& value);

}  // namespace orvtool

#endif  // TOOLS_SERVE_METRICS_H_
