// Agents on separate models on separate threads at once: the four agents that
// keep nothing between calls must answer exactly as they do alone. Four
// threads share the one loaded plug-in, each with a model of its own, and
// compare every answer with the answer computed on one thread first. Run in
// the ThreadSanitizer build, this is the test that finds state an agent
// shares with other calls without saying so.
#include <atomic>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

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
