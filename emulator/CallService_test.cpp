// The call service with the real plug-in on the example model: outcomes,
// budgets, the locks, and that nothing piles up between calls.
#include "emulator/CallService.h"

#include <gtest/gtest.h>

#include <future>

#include "emulator/HostMonitor.h"

namespace qmemu {
namespace {

class CallServiceTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    std::string error;
    session_ = Session::Open(std::string(ORV_SOURCE_DIR) + "/examples/model.json", ORV_PLUGIN_PATH, error)
                   .release();
    ASSERT_NE(session_, nullptr) << error;
  }
  static void TearDownTestSuite() {
    delete session_;
    session_ = nullptr;
  }
  void SetUp() override { HostMonitor::Instance().Reset(); }
  void TearDown() override { HostMonitor::Instance().Reset(); }

  static CallRequest Request(const std::string& agent, std::vector<std::string> parameters,
                             const std::string& context = "", std::vector<std::string> entities = {}) {
    return CallRequest{agent, context, std::move(parameters), std::move(entities), nullptr};
  }

  static Session* session_;
};

Session* CallServiceTest::session_ = nullptr;

TEST_F(CallServiceTest, SortsEveryOutcome) {
  CallService service(*session_, CallLimits{10, 0});
  struct Case {
    CallRequest request;
    OutcomeKind outcome;
    const char* error;
  } cases[] = {
      {Request("GetNativeLinkInformation", {"BLK-STATION", ""}), OutcomeKind::kAnswered, ""},
      {Request("GetPropertyPageControls", {"BLK-PUMP", "", ""}, "", {"BLK-PUMP"}), OutcomeKind::kAnswered, ""},
      {Request("NoSuchAgent", {}), OutcomeKind::kUnknownAgent, "unknown agent 'NoSuchAgent': no agent of the plug-in"},
      {Request("", {}), OutcomeKind::kUnknownAgent, "unknown agent '': no agent of the plug-in"},
      {Request("@VELExtensionManagement@GetImageIndex", {}), OutcomeKind::kUnknownAgent,
       "unknown agent '@VELExtensionManagement@GetImageIndex': no agent of the plug-in"},
      {Request("GetNativeLinkInformation", {"a", ""}, "NO-SUCH"), OutcomeKind::kUnknownEntity,
       "unknown entity 'NO-SUCH': no entity has this GUID or path"},
      {Request("GetNativeLinkInformation", {"NO-SUCH", ""}, "", {"NO-SUCH"}), OutcomeKind::kUnknownEntity,
       "unknown entity 'NO-SUCH': no entity has this GUID or path"},
      {Request("GetPropertyPageControls", {"BLK-PUMP"}), OutcomeKind::kRefused,
       "the host refused the parameters of GetPropertyPageControls"},
      {Request("GetPropertyPageControls", {"NO-SUCH", "", ""}), OutcomeKind::kAgentError,
       "Failed to find entity with specified GUID."},
      {Request("GetPropertyPageControls", {"PAGE-INVALID", "", ""}), OutcomeKind::kAgentError,
       "Invalid control string."},
      {Request("GetModelViewChildNodes", {"NO-SUCH", "", "", ""}), OutcomeKind::kAgentError,
       "Failed to find parent entity."},
  };
  for (const Case& c : cases) {
    CallResult result = service.Call(c.request);
    EXPECT_EQ(result.outcome.kind(), c.outcome) << c.request.agent << " " << c.error;
    EXPECT_EQ(result.outcome.text(), c.error) << c.request.agent;
  }
}

TEST_F(CallServiceTest, ATextAlreadyInTheErrorParameterIsNoMessage) {
  CallService service(*session_, CallLimits{10, 0});
  CallResult result = service.Call(Request("GetPropertyPageControls", {"BLK-PUMP", "", "left by the caller"}));
  EXPECT_EQ(result.outcome.kind(), OutcomeKind::kAnswered);
  EXPECT_EQ(result.run.parameters[2], "left by the caller");
}

TEST_F(CallServiceTest, ADoneCallReportsParametersOperationsAndTime) {
  CallService service(*session_, CallLimits{});
  CallResult result = service.Call(Request("GetPropertyPageControls", {"BLK-PUMP", "", ""}));
  ASSERT_EQ(result.outcome.kind(), OutcomeKind::kAnswered);
  EXPECT_EQ(result.run.parameters,
            (std::vector<std::string>{"BLK-PUMP",
                                      "[{\"kind\" : \"EditBox\", \"text\" : \"Name\", \"value\" : \"Pump\"}, "
                                      "{\"kind\" : \"EntityList\", \"text\" : \"Owners\", \"value\" : [\"a\", \"b\"]}]",
                                      ""}));
  EXPECT_TRUE(result.run.messages.empty());
  EXPECT_GT(result.hostOperations, 10u);
  // Counted by the call's own monitor, not the thread's.
  EXPECT_EQ(HostMonitor::Instance().Count(), 0u);
  EXPECT_GE(result.milliseconds, 0.0);
}

TEST_F(CallServiceTest, AWalkThatNeverEndsIsCutOffByTheOperationBudget) {
  CallService service(*session_, CallLimits{0, 5000});
  CallResult result = service.Call(Request("GetPropertyPageControls", {"PAGE-INCOMPLETE", "", ""}));
  EXPECT_EQ(result.outcome.kind(), OutcomeKind::kOperationBudget);
  EXPECT_EQ(result.outcome.text(),
            "agent GetPropertyPageControls used up its budget of 5000 host operations and was stopped");
  // The agent ended by its own failure rule: the message, and no answer.
  ASSERT_EQ(result.run.parameters.size(), 3u);
  EXPECT_EQ(result.run.parameters[1], "");
  EXPECT_EQ(result.run.parameters[2], "Internal error (GetPropertyPageControls).");
  // Exact in operations: the 5001st throws, the agent's catch-all writes
  // its message (GetString of nothing, one Set) within the grace.
  EXPECT_GT(result.hostOperations, 5000u);
  EXPECT_LT(result.hostOperations, 5000u + HostMonitor::kBudgetGrace);
  // The next call has a budget of its own.
  EXPECT_EQ(service.Call(Request("GetPropertyPageControls", {"BLK-PUMP", "", ""})).outcome.kind(), OutcomeKind::kAnswered);
}

TEST_F(CallServiceTest, AWalkThatNeverEndsIsCutOffByTheDeadline) {
  CallService service(*session_, CallLimits{0.2, 0});
  CallResult result = service.Call(Request("GetPropertyPageControls", {"PAGE-INCOMPLETE", "", ""}));
  EXPECT_EQ(result.outcome.kind(), OutcomeKind::kTimeBudget);
  EXPECT_EQ(result.outcome.text(),
            "agent GetPropertyPageControls did not finish within its deadline of 0.2 s and was stopped");
  EXPECT_GE(result.milliseconds, 200.0);
  EXPECT_LT(result.milliseconds, 5000.0);
}

TEST_F(CallServiceTest, NothingPilesUpBetweenCalls) {
  CallService service(*session_, CallLimits{});
  service.Call(Request("GetPropertyPageControls", {"PAGE-VALVE", "", ""}));
  const std::size_t entities = session_->model().entities().size();
  for (int i = 0; i < 20; ++i) {
    EXPECT_EQ(service.Call(Request("GetPropertyPageControls", {"PAGE-VALVE", "", ""})).outcome.kind(), OutcomeKind::kAnswered);
    EXPECT_EQ(service.Call(Request("GetPropertyPageControls", {"x"})).outcome.kind(), OutcomeKind::kRefused);
  }
  EXPECT_EQ(session_->model().entities().size(), entities);
  EXPECT_TRUE(session_->model().messages().Messages().empty());
}

TEST_F(CallServiceTest, CallsFromManyThreadsGiveTheSingleThreadedAnswers) {
  CallService service(*session_, CallLimits{});
  const std::string expected =
      service.Call(Request("GetNativeLinkInformation", {"BLK-PUMP", ""})).run.parameters.at(1);
  ASSERT_FALSE(expected.empty());
  std::vector<std::future<int>> threads;
  for (int t = 0; t < 4; ++t) {
    threads.push_back(std::async(std::launch::async, [&] {
      int good = 0;
      for (int i = 0; i < 25; ++i) {
        CallResult links = service.Call(Request("GetNativeLinkInformation", {"BLK-PUMP", ""}));
        CallResult page = service.Call(Request("GetPropertyPageControls", {"BLK-PUMP", "", ""}));
        good += links.outcome.IsAnswered() && links.run.parameters.at(1) == expected &&
                page.outcome.IsAnswered();
      }
      return good;
    }));
  }
  for (auto& thread : threads) EXPECT_EQ(thread.get(), 25);
}

TEST_F(CallServiceTest, AReloadReplacesTheModelAndCountsTheVersion) {
  const std::string model = std::string(ORV_SOURCE_DIR) + "/examples/model.json";
  std::string error;
  CallService owning(Session::Open(model, ORV_PLUGIN_PATH, error), CallLimits{});
  ASSERT_TRUE(error.empty()) << error;
  EXPECT_EQ(owning.version(), 1u);
  std::size_t entities = 0;
  EXPECT_EQ(owning.WithModel([&](Model& m) { entities = m.entities().size(); }), 1u);
  EXPECT_GT(entities, 0u);

  ASSERT_TRUE(owning.Reload(model, ORV_PLUGIN_PATH, error)) << error;
  EXPECT_EQ(owning.version(), 2u);
  EXPECT_TRUE(owning.Call(Request("GetNativeLinkInformation", {"BLK-PUMP", ""})).outcome.IsAnswered());

  // A file that does not load keeps the model and its version.
  EXPECT_FALSE(owning.Reload(model + ".missing", ORV_PLUGIN_PATH, error));
  EXPECT_NE(error.find("model.json.missing"), std::string::npos) << error;
  EXPECT_EQ(owning.version(), 2u);
  EXPECT_TRUE(owning.Call(Request("GetNativeLinkInformation", {"BLK-PUMP", ""})).outcome.IsAnswered());

  // A service over the caller's session cannot replace it.
  CallService borrowing(*session_, CallLimits{});
  EXPECT_FALSE(borrowing.Reload(model, ORV_PLUGIN_PATH, error));
  EXPECT_EQ(error, "the service does not own its model");
  EXPECT_EQ(borrowing.version(), 1u);
}

}  // namespace
}  // namespace qmemu
