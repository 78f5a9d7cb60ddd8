// Agents on several threads at once: the four agents that keep nothing
// between calls must answer exactly as they do alone, first on separate
// models, then on one model shared through the host's call service while
// another thread generates diagrams. Run in the ThreadSanitizer build, this
// is the test that finds state an agent or the host shares with other calls
// without saying so.
#include <atomic>
#include <chrono>
#include <future>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "emulator/CallService.h"
#include "tests/E2eSupport.h"

namespace {

constexpr int kThreads = 4;
constexpr int kCallsPerAgent = 1000;

// One agent call: the agent, its context entity and its text parameters.
// Each call is chosen to make the agent do real work on the example model.
struct Call {
  const char* agent;
  const char* context;
  std::vector<std::string> texts;
};

const std::vector<Call>& Calls() {
  static const std::vector<Call> calls = {
      // All four kinds of link: JSON tree, encoder.
      {"GetNativeLinkInformation", "", {"BLK-PUMP", ""}},
      // Child entities and an attribute node: host agents run by path, JSON tree.
      {"GetModelViewChildNodes", "", {"BLK-PANEL", "", "", ""}},
      // A page with nested controls: ControlInfo scanner, parser, transformer.
      {"TransformControlInfoToJason", "BLK-STATION", {""}},
      // The same page through the host's parse, written by hand.
      {"GetPropertyPageControls", "", {"BLK-STATION", "", ""}},
  };
  return calls;
}

// The parameters after `call`, or a line saying why the call failed.
std::vector<std::string> Answer(qmemu::Session& session, const Call& call) {
  qmemu::AgentRun run;
  std::string error;
  if (!session.Run(call.agent, call.context, call.texts, run, error)) return {"call failed: " + error};
  return run.parameters;
}

// What one thread saw.
struct ThreadResult {
  int calls = 0;
  int differences = 0;
  std::string firstDifference;
};

// Runs every call kCallsPerAgent times on `session`, in turn, once all
// threads are ready, and compares each answer with `expected`.
void Hammer(qmemu::Session& session, const std::vector<std::vector<std::string>>& expected,
            std::atomic<int>& ready, ThreadResult& result) {
  ready.fetch_add(1);
  while (ready.load() < kThreads) std::this_thread::yield();
  const std::vector<Call>& calls = Calls();
  for (int round = 0; round < kCallsPerAgent; ++round) {
    for (std::size_t c = 0; c < calls.size(); ++c) {
      std::vector<std::string> answer = Answer(session, calls[c]);
      ++result.calls;
      if (answer == expected[c]) continue;
      if (result.differences++ == 0) {
        result.firstDifference = std::string(calls[c].agent) + " in round " + std::to_string(round) + ": " +
                                 (answer.empty() ? "no parameters" : answer.back());
      }
    }
  }
}

TEST(ConcurrentAgentsE2eTest, FourThreadsOnTheirOwnModelsAnswerAsOneThreadDoes) {
  qmemu::HostMonitor::Instance().Reset();
  std::vector<std::unique_ptr<qmemu::Session>> sessions;
  for (int t = 0; t < kThreads; ++t) {
    sessions.push_back(orvtest::OpenSessionFile("examples/model.json"));
    ASSERT_NE(sessions.back(), nullptr);
  }
  // Every session opened the same file: the loader hands back the one copy
  // of the plug-in, so all threads run the same code and the same globals.
  const QmAgentFunction* agent = sessions[0]->plugin()->Find("GetNativeLinkInformation");
  ASSERT_NE(agent, nullptr);
  for (const auto& session : sessions) EXPECT_EQ(session->plugin()->Find("GetNativeLinkInformation"), agent);

  std::vector<std::vector<std::string>> expected;
  for (const Call& call : Calls()) {
    expected.push_back(Answer(*sessions[0], call));
    ASSERT_EQ(expected.back().size(), call.texts.size()) << call.agent << ": " << expected.back().back();
  }
  // Sanity of the reference: each call wrote a real answer.
  EXPECT_NE(expected[0][1].find("ORV_OUTGOING_HYPERLINKS"), std::string::npos) << expected[0][1];
  EXPECT_NE(expected[1][2].find("\"metaguid\" : \"MM-ALARMS\""), std::string::npos) << expected[1][2];
  EXPECT_EQ(expected[1][3], "");
  EXPECT_NE(expected[2][0].find("\"children\" : "), std::string::npos) << expected[2][0];
  EXPECT_NE(expected[3][1].find("\"kind\" : \"EditBox\""), std::string::npos) << expected[3][1];
  EXPECT_EQ(expected[3][2], "");

  std::atomic<int> ready{0};
  std::vector<ThreadResult> results(kThreads);
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back(Hammer, std::ref(*sessions[t]), std::cref(expected), std::ref(ready), std::ref(results[t]));
  }
  for (std::thread& thread : threads) thread.join();

  for (int t = 0; t < kThreads; ++t) {
    EXPECT_EQ(results[t].calls, kCallsPerAgent * static_cast<int>(Calls().size())) << "thread " << t;
    EXPECT_EQ(results[t].differences, 0) << "thread " << t << ", first: " << results[t].firstDifference;
  }
}

}  // namespace

// ---- one shared model through the host's call service ----

namespace shared {

constexpr int kReaders = 3;
constexpr int kRounds = 150;

qmemu::CallRequest Request(const Call& call) {
  qmemu::CallRequest request;
  request.agent = call.agent;
  request.context = call.context;
  request.parameters = call.texts;
  return request;
}

// A diagram request that makes the host generate the SVG again every time.
const Call kDiagram{"GenerateSVGWithAnnotations", "DIA-LINKS", {"", "", "t"}};

std::vector<std::string> Answer(qmemu::CallService& service, const Call& call) {
  qmemu::CallResult result = service.Call(Request(call));
  if (!result.outcome.IsAnswered()) return {"call failed: " + result.outcome.text()};
  return result.run.parameters;
}

}  // namespace shared

// Readers run the four independent agents side by side on one model while
// another thread generates diagrams: every answer equals the one computed
// alone. In the ThreadSanitizer build this finds any state that the
// readers, the SVG generation and the host share without a lock.
TEST(ConcurrentAgentsE2eTest, ReadersAndADiagramOnOneSharedModelAnswerAsAlone) {
  auto session = orvtest::OpenSessionFile("examples/model.json");
  ASSERT_NE(session, nullptr);
  qmemu::CallService service(*session, qmemu::CallLimits{0, 0});
  std::vector<std::vector<std::string>> expected;
  for (const Call& call : Calls()) expected.push_back(shared::Answer(service, call));
  const std::vector<std::string> diagram = shared::Answer(service, shared::kDiagram);
  ASSERT_EQ(diagram.size(), 3u) << diagram.front();
  ASSERT_NE(diagram[1].find("_obluelink"), std::string::npos) << diagram[1];
  const std::size_t entities = session->model().entities().size();

  std::atomic<int> ready{0};
  std::vector<int> differences(shared::kReaders + 1, 0);
  std::vector<std::string> first(shared::kReaders + 1);
  auto start = [&] {
    ready.fetch_add(1);
    while (ready.load() < shared::kReaders + 1) std::this_thread::yield();
  };
  auto note = [&](int thread, const std::vector<std::string>& answer, const char* agent) {
    if (differences[thread]++ == 0) first[thread] = std::string(agent) + ": " + (answer.empty() ? "" : answer.back());
  };
  std::vector<std::thread> threads;
  for (int t = 0; t < shared::kReaders; ++t) {
    threads.emplace_back([&, t] {
      start();
      for (int round = 0; round < shared::kRounds; ++round) {
        for (std::size_t c = 0; c < Calls().size(); ++c) {
          std::vector<std::string> answer = shared::Answer(service, Calls()[c]);
          if (answer != expected[c]) note(t, answer, Calls()[c].agent);
        }
      }
    });
  }
  threads.emplace_back([&] {
    start();
    for (int round = 0; round < shared::kRounds / 5; ++round) {
      std::vector<std::string> answer = shared::Answer(service, shared::kDiagram);
      if (answer != diagram) note(shared::kReaders, answer, shared::kDiagram.agent);
    }
  });
  for (std::thread& thread : threads) thread.join();
  for (int t = 0; t <= shared::kReaders; ++t) EXPECT_EQ(differences[t], 0) << "thread " << t << ": " << first[t];
  // Parse results and messages went with their calls; the one cached tree stays.
  EXPECT_EQ(session->model().entities().size(), entities);
  EXPECT_TRUE(session->model().messages().Messages().empty());
}

// A reader is not kept waiting for a diagram: the SVG call stops in the
// middle of its generation (inside the plug-in's customization agent, at
// its first CreateEntity) until a links call and a page call on another
// thread have been answered. Ordering only: were readers locked out, the
// readers' answers would never come and the wait below would fail.
TEST(ConcurrentAgentsE2eTest, ReadersAreAnsweredWhileADiagramIsGenerated) {
  auto session = orvtest::OpenSessionFile("examples/model.json");
  ASSERT_NE(session, nullptr);
  qmemu::CallService service(*session, qmemu::CallLimits{0, 0});
  const std::vector<std::string> links = shared::Answer(service, Calls()[0]);
  const std::vector<std::string> page = shared::Answer(service, Calls()[3]);
  const std::vector<std::string> diagram = shared::Answer(service, shared::kDiagram);

  std::promise<void> svgInside, readersDone;
  std::shared_future<void> done = readersDone.get_future().share();
  qmemu::CallRequest svg = shared::Request(shared::kDiagram);
  svg.prepare = [&](qmemu::HostMonitor& monitor) {
    monitor.CallOn(qmemu::HostOperation::kCreateEntity, 1, [&] {
      svgInside.set_value();
      done.wait();
    });
  };
  auto generation = std::async(std::launch::async, [&] { return service.Call(svg); });
  svgInside.get_future().wait();
  auto readers = std::async(std::launch::async, [&] {
    return std::make_pair(shared::Answer(service, Calls()[0]), shared::Answer(service, Calls()[3]));
  });
  // Generous: a failure here means the readers waited for the diagram.
  const bool answered = readers.wait_for(std::chrono::seconds(60)) == std::future_status::ready;
  readersDone.set_value();
  EXPECT_TRUE(answered) << "the readers waited for the SVG generation";
  auto answers = readers.get();
  EXPECT_EQ(answers.first, links);
  EXPECT_EQ(answers.second, page);
  qmemu::CallResult result = generation.get();
  EXPECT_TRUE(result.outcome.IsAnswered()) << result.outcome.text();
  EXPECT_EQ(result.run.parameters, diagram);
}
