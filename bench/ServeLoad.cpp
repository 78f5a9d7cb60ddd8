// Load run of `orv-host serve` on the example model: starts the server,
// settles it with 10,000 requests, measures its resident memory around two
// more rounds of 10,000, then
// runs 1 keep-alive client and then 8 concurrent ones for 10 s each on a
// mix of explorer, links, page and diagram requests, and prints a Markdown
// table per run of requests per second, p50/p99 latency per route and
// errors, and the throughput of 8 clients over that of 1 (the host runs
// independent agent calls side by side; the target is at least 1.6 on two
// cores).
//
//   build/bench/bin/ServeLoad [--clients N] [--seconds S] [--requests N]
//
// Traffic goes to 127.0.0.1 only; every loop is bounded in count or time.
#include <httplib.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "tests/ServeSupport.h"

namespace {

using Clock = std::chrono::steady_clock;

struct Request {
  const char* route;  // the table row it counts under
  const char* method;
  const char* path;
  const char* body;
};

// One client's round: every route of the browser client, on several
// elements. Diagrams without the client's JSON come from the annotation
// cache, as the client asks for them after the first time. With the
// client's JSON the diagram is regenerated (refresh=true): re-annotating a
// cached tree keeps every earlier request's JSON in it (the agent's rule),
// so a cached tree asked with JSON again and again grows by design.
const Request kMix[] = {
    {"explorer", "GET", "/api/explorer/children", nullptr},
    {"explorer", "GET", "/api/explorer/children?node=PUMP-STATION", nullptr},
    {"explorer", "GET", "/api/explorer/children?node=BLK-PANEL&metaguid=MM-ALARMS", nullptr},
    {"links", "GET", "/api/elements/BLK-PUMP/links", nullptr},
    {"links", "GET", "/api/elements/REQ-001/links", nullptr},
    {"links", "GET", "/api/elements/BLK-SENSOR/links", nullptr},
    {"page", "GET", "/api/elements/BLK-PUMP/page", nullptr},
    {"page", "GET", "/api/elements/PAGE-VALVE/page", nullptr},
    {"page", "GET", "/api/elements/BLK-STATION/page?route=transform", nullptr},
    {"diagram", "POST", "/api/diagrams/DIA-REQ/svg", ""},
    {"diagram", "POST", "/api/diagrams/DIA-LINKS/svg?refresh=true",
     R"([{"objID": "BLK-VALVE", "relInfo": {"source": "client"}}, {"objID": "DEP-VALVE-SATISFY"}])"},
    {"diagram", "POST", "/api/diagrams/DIA-STRUCT/svg", ""},
};
constexpr std::size_t kMixSize = sizeof kMix / sizeof kMix[0];

struct Tally {
  std::map<std::string, std::vector<double>> milliseconds;  // per route
  long errors = 0;
  long requests = 0;
};

// Sends one request; true when it was answered with 200.
bool Send(httplib::Client& client, const Request& request) {
  httplib::Result result = std::string(request.method) == "GET"
                               ? client.Get(request.path)
                               : client.Post(request.path, request.body, "application/json");
  return result && result->status == 200 && !result->body.empty();
}

// Runs `clients` threads; each sends the mix round-robin (starting at its
// own offset) until `perClient` requests are sent or `seconds` have passed.
Tally Run(int port, int clients, long perClient, double seconds) {
  Tally total;
  std::mutex mutex;
  const Clock::time_point end = Clock::now() + std::chrono::duration_cast<Clock::duration>(
                                                   std::chrono::duration<double>(seconds));
  std::vector<std::thread> threads;
  for (int c = 0; c < clients; ++c) {
    threads.emplace_back([&, c] {
      httplib::Client client("127.0.0.1", port);
      client.set_keep_alive(true);
      client.set_tcp_nodelay(true);
      client.set_read_timeout(30);
      Tally mine;
      for (long i = 0; i < perClient && Clock::now() < end; ++i) {
        const Request& request = kMix[(static_cast<std::size_t>(c) + static_cast<std::size_t>(i)) % kMixSize];
        Clock::time_point start = Clock::now();
        bool ok = Send(client, request);
        mine.milliseconds[request.route].push_back(
            std::chrono::duration<double, std::milli>(Clock::now() - start).count());
        ++mine.requests;
        if (!ok) ++mine.errors;
      }
      std::lock_guard<std::mutex> lock(mutex);
      for (auto& entry : mine.milliseconds) {
        auto& all = total.milliseconds[entry.first];
        all.insert(all.end(), entry.second.begin(), entry.second.end());
      }
      total.errors += mine.errors;
      total.requests += mine.requests;
    });
  }
  for (std::thread& thread : threads) thread.join();
  return total;
}

double Percentile(std::vector<double> values, double p) {
  if (values.empty()) return 0;
  std::sort(values.begin(), values.end());
  std::size_t index = static_cast<std::size_t>(p / 100.0 * static_cast<double>(values.size() - 1) + 0.5);
  return values[std::min(index, values.size() - 1)];
}

// VmRSS of a process in KiB, or -1.
long ResidentKiB(int pid) {
  std::ifstream status("/proc/" + std::to_string(pid) + "/status");
  std::string line;
  while (std::getline(status, line)) {
    if (line.rfind("VmRSS:", 0) == 0) return std::atol(line.c_str() + 6);
  }
  return -1;
}

}  // namespace

int main(int argc, char** argv) {
  int clients = 8;
  double seconds = 10;
  long requests = 10000;
  for (int i = 1; i + 1 < argc; i += 2) {
    std::string option = argv[i];
    if (option == "--clients") clients = std::max(1, std::atoi(argv[i + 1]));
    if (option == "--seconds") seconds = std::max(0.1, std::atof(argv[i + 1]));
    if (option == "--requests") requests = std::max(1L, std::atol(argv[i + 1]));
  }
  orvtest::ServerProcess server({"examples/model.json", "--port", "0"});
  const int port = server.Port();
  if (port == 0) {
    std::fprintf(stderr, "ServeLoad: the server did not start:\n%s", server.Stderr().c_str());
    return 1;
  }
  const int pid = server.Pid();

  // Settle: every request of the mix many times over, so that the
  // annotation cache is filled and the allocator's pools and the worker
  // threads' stacks have reached their working size.
  Tally warm = Run(port, clients, (requests + clients - 1) / clients, 600);
  const long before = ResidentKiB(pid);
  Tally counted = Run(port, clients, (requests + clients - 1) / clients, 600);
  const long after = ResidentKiB(pid);
  Tally again = Run(port, clients, (requests + clients - 1) / clients, 600);
  const long afterAgain = ResidentKiB(pid);

  auto timedRun = [&](int n, double& elapsed) {
    Clock::time_point start = Clock::now();
    Tally tally = Run(port, n, 1L << 40, seconds);
    elapsed = std::chrono::duration<double>(Clock::now() - start).count();
    return tally;
  };
  double singleElapsed = 0, elapsed = 0;
  Tally single = timedRun(1, singleElapsed);
  Tally timed = timedRun(clients, elapsed);
  const long afterTimed = ResidentKiB(pid);

  server.Signal(SIGTERM);
  const int status = server.WaitForExit(30);

  auto table = [&](int n, double seconds, Tally& tally) {
    std::printf("%d client%s, %.1f s: %ld requests, %.0f requests/s, %ld errors\n\n", n, n == 1 ? "" : "s", seconds,
                tally.requests, static_cast<double>(tally.requests) / seconds, tally.errors);
    std::printf("| route | requests | p50 ms | p99 ms |\n|---|---:|---:|---:|\n");
    for (const char* route : {"explorer", "links", "page", "diagram"}) {
      const std::vector<double>& ms = tally.milliseconds[route];
      std::printf("| %s | %zu | %.2f | %.2f |\n", route, ms.size(), Percentile(ms, 50), Percentile(ms, 99));
    }
    std::printf("\n");
  };
  table(1, singleElapsed, single);
  table(clients, elapsed, timed);
  const double singleRate = static_cast<double>(single.requests) / singleElapsed;
  const double rate = static_cast<double>(timed.requests) / elapsed;
  std::printf("throughput of %d clients over 1 client: %.2f\n", clients, singleRate > 0 ? rate / singleRate : 0.0);
  std::printf("\nresident memory: %ld KiB after settling (%ld requests), %ld KiB after %ld more (%+ld KiB), "
              "%ld KiB after %ld more (%+ld KiB), %ld KiB after the timed run (%+ld KiB)\n",
              before, warm.requests, after, counted.requests, after - before, afterAgain, again.requests,
              afterAgain - after, afterTimed, afterTimed - afterAgain);
  const long errors = warm.errors + counted.errors + again.errors + single.errors + timed.errors;
  std::printf("errors: %ld in all; server exit status %d\n", errors, status);
  return errors == 0 && status == 0 ? 0 : 1;
}
