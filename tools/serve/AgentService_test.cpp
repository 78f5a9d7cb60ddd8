// Tests of the server's host side with the real plug-in on the example
// model: outcomes, budgets, the lock, and that nothing piles up between
// calls.
#include "tools/serve/AgentService.h"

#include <gtest/gtest.h>

#include <future>

#include "emulator/HostMonitor.h"

namespace orvtool {
namespace {

class AgentServiceTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    std::string error;
    session_ = qmemu::Session::Open(std::string(ORV_SOURCE_DIR) + "/examples/model.json", ORV_PLUGIN_PATH, error)
                   .release();
    ASSERT_NE(session_, nullptr) << error;
  }
  static void TearDownTestSuite() {
    delete session_;
    session_ = nullptr;
  }
  void SetUp() override { qmemu::HostMonitor::Instance().Reset(); }
  void TearDown() override { qmemu::HostMonitor::Instance().Reset(); }

  static CallRequest Request(const std::string& agent, std::vector<std::string> parameters,
                             const std::string& context = "", std::vector<std::string> entities = {}) {
    return CallRequest{agent, context, std::move(parameters), std::move(entities)};
  }

  static qmemu::Session* session_;
};

qmemu::Session* AgentServiceTest::session_ = nullptr;

TEST_F(AgentServiceTest, SortsEveryOutcome) {
  AgentService service(*session_, CallLimits{10, 0});
  struct Case {
    CallRequest request;
    CallOutcome outcome;
    const char* error;
  } cases[] = {
      {Request("GetNativeLinkInformation", {"BLK-STATION", ""}), CallOutcome::kDone, ""},
      {Request("GetPropertyPageControls", {"BLK-PUMP", "", ""}, "", {"BLK-PUMP"}), CallOutcome::kDone, ""},
      {Request("NoSuchAgent", {}), CallOutcome::kUnknownAgent, "unknown agent 'NoSuchAgent'"},
      {Request("", {}), CallOutcome::kUnknownAgent, "unknown agent ''"},
      {Request("@VELExtensionManagement@GetImageIndex", {}), CallOutcome::kUnknownAgent,
       "unknown agent '@VELExtensionManagement@GetImageIndex'"},
      {Request("GetNativeLinkInformation", {"a", ""}, "NO-SUCH"), CallOutcome::kUnknownEntity,
       "unknown entity 'NO-SUCH'"},
      {Request("GetNativeLinkInformation", {"NO-SUCH", ""}, "", {"NO-SUCH"}), CallOutcome::kUnknownEntity,
       "unknown entity 'NO-SUCH'"},
      {Request("GetPropertyPageControls", {"BLK-PUMP"}), CallOutcome::kRefused,
       "the host refused the parameters of GetPropertyPageControls"},
      {Request("GetPropertyPageControls", {"NO-SUCH", "", ""}), CallOutcome::kAgentError,
       "Failed to find entity with specified GUID."},
      {Request("GetPropertyPageControls", {"PAGE-INVALID", "", ""}), CallOutcome::kAgentError,
       "Invalid control string."},
      {Request("GetModelViewChildNodes", {"NO-SUCH", "", "", ""}), CallOutcome::kAgentError,
       "Failed to find parent entity."},
  };
  for (const Case& c : cases) {
    CallResult result = service.Call(c.request);
    EXPECT_EQ(result.outcome, c.outcome) << c.request.agent << " " << c.error;
    EXPECT_EQ(result.error, c.error) << c.request.agent;
  }
}

TEST_F(AgentServiceTest, ATextAlreadyInTheErrorParameterIsNoMessage) {
  AgentService service(*session_, CallLimits{10, 0});
  CallResult result = service.Call(Request("GetPropertyPageControls", {"BLK-PUMP", "", "left by the caller"}));
  EXPECT_EQ(result.outcome, CallOutcome::kDone);
  EXPECT_EQ(result.run.parameters[2], "left by the caller");
}

TEST_F(AgentServiceTest, ADoneCallReportsParametersOperationsAndTime) {
  AgentService service(*session_, CallLimits{});
  CallResult result = service.Call(Request("GetPropertyPageControls", {"BLK-PUMP", "", ""}));
  ASSERT_EQ(result.outcome, CallOutcome::kDone);
  EXPECT_EQ(result.run.parameters,
            (std::vector<std::string>{"BLK-PUMP",
                                      "[{\"kind\" : \"EditBox\", \"text\" : \"Name\", \"value\" : \"Pump\"}, "
                                      "{\"kind\" : \"EntityList\", \"text\" : \"Owners\", \"value\" : [\"a\", \"b\"]}]",
                                      ""}));
  EXPECT_TRUE(result.run.messages.empty());
  EXPECT_GT(result.hostOperations, 10u);
  EXPECT_EQ(result.hostOperations, qmemu::HostMonitor::Instance().Count());
  EXPECT_GE(result.milliseconds, 0.0);
}

TEST_F(AgentServiceTest, AWalkThatNeverEndsIsCutOffByTheOperationBudget) {
  AgentService service(*session_, CallLimits{0, 5000});
  CallResult result = service.Call(Request("GetPropertyPageControls", {"PAGE-INCOMPLETE", "", ""}));
  EXPECT_EQ(result.outcome, CallOutcome::kCutOff);
  EXPECT_EQ(result.limit, SpentLimit::kOperations);
  EXPECT_EQ(result.error,
            "agent GetPropertyPageControls used up its budget of 5000 host operations and was stopped");
  // The agent ended by its own failure rule: the message, and no answer.
  ASSERT_EQ(result.run.parameters.size(), 3u);
  EXPECT_EQ(result.run.parameters[1], "");
  EXPECT_EQ(result.run.parameters[2], "Internal error (GetPropertyPageControls).");
  EXPECT_GT(result.hostOperations, 5000u);
  // The next call has a budget of its own.
  EXPECT_EQ(service.Call(Request("GetPropertyPageControls", {"BLK-PUMP", "", ""})).outcome, CallOutcome::kDone);
}

TEST_F(AgentServiceTest, AWalkThatNeverEndsIsCutOffByTheDeadline) {
  AgentService service(*session_, CallLimits{0.2, 0});
  CallResult result = service.Call(Request("GetPropertyPageControls", {"PAGE-INCOMPLETE", "", ""}));
  EXPECT_EQ(result.outcome, CallOutcome::kCutOff);
  EXPECT_EQ(result.limit, SpentLimit::kTime);
  EXPECT_EQ(result.error, "agent GetPropertyPageControls did not finish within its deadline of 0.2 s and was stopped");
  EXPECT_GE(result.milliseconds, 200.0);
  EXPECT_LT(result.milliseconds, 5000.0);
}

TEST_F(AgentServiceTest, NothingPilesUpBetweenCalls) {
  AgentService service(*session_, CallLimits{});
  service.Call(Request("GetPropertyPageControls", {"PAGE-VALVE", "", ""}));
  const std::size_t entities = session_->model().entities().size();
  for (int i = 0; i < 20; ++i) {
    EXPECT_EQ(service.Call(Request("GetPropertyPageControls", {"PAGE-VALVE", "", ""})).outcome, CallOutcome::kDone);
    EXPECT_EQ(service.Call(Request("GetPropertyPageControls", {"x"})).outcome, CallOutcome::kRefused);
  }
  EXPECT_EQ(session_->model().entities().size(), entities);
  EXPECT_TRUE(session_->model().messages().Messages().empty());
}

TEST_F(AgentServiceTest, CallsFromManyThreadsRunOneAtATime) {
  AgentService service(*session_, CallLimits{});
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
        good += links.outcome == CallOutcome::kDone && links.run.parameters.at(1) == expected &&
                page.outcome == CallOutcome::kDone;
      }
      return good;
    }));
  }
  for (auto& thread : threads) EXPECT_EQ(thread.get(), 25);
}

TEST(AgentServiceErrorParameter, PositionsOfTheAgentsWithAnErrorParameter) {
  EXPECT_EQ(ErrorParameterPosition("GetPropertyPageControls"), 3u);
  EXPECT_EQ(ErrorParameterPosition("GetModelViewChildNodes"), 4u);
  EXPECT_EQ(ErrorParameterPosition("GetNativeLinkInformation"), 0u);
  EXPECT_EQ(ErrorParameterPosition("TransformControlInfoToJason"), 0u);
  EXPECT_EQ(ErrorParameterPosition("GenerateSVGWithAnnotations"), 0u);
}

}  // namespace
}  // namespace orvtool
