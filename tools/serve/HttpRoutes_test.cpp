// Tests of the HTTP layer's pure parts: the agent route's body, statuses
// and error bodies.
#include "tools/serve/HttpRoutes.h"

#include <gtest/gtest.h>

namespace orvtool {
namespace {

TEST(HttpRoutes, ParsesTheAgentBody) {
  struct Case {
    const char* body;
    bool ok;
    const char* context;
    std::vector<std::string> parameters;
    const char* error;
  } cases[] = {
      {R"({"context": "BLK-PUMP", "parameters": ["a", "", "b\u0000c"]})", true, "BLK-PUMP",
       {"a", "", std::string("b\0c", 3)}, ""},
      {R"({"parameters": []})", true, "", {}, ""},
      {R"({})", true, "", {}, ""},
      {R"({"context": "@Predefined@ExternalObject", "other": 1})", true, "@Predefined@ExternalObject", {}, ""},
      {R"( {"parameters": ["\"quoted\"\r\n"]} )", true, "", {"\"quoted\"\r\n"}, ""},
      {"", true, "", {}, ""},  // both members are optional, so the body is too
      {" \r\n", true, "", {}, ""},
      {"{", false, "", {}, "the body is no JSON text"},
      {"{} {}", false, "", {}, "the body is no JSON text"},
      {"\"text\"", false, "", {}, "the body must be a JSON object"},
      {"[]", false, "", {}, "the body must be a JSON object"},
      {R"({"context": null})", false, "", {}, "\"context\" must be a string"},
      {R"({"context": ["a"]})", false, "", {}, "\"context\" must be a string"},
      {R"({"parameters": {"a": "b"}})", false, "", {}, "\"parameters\" must be an array of strings"},
      {R"({"parameters": "a"})", false, "", {}, "\"parameters\" must be an array of strings"},
      {R"({"parameters": ["a", 2]})", false, "", {}, "\"parameters\" must be an array of strings"},
      {R"({"parameters": [["a"]]})", false, "", {}, "\"parameters\" must be an array of strings"},
      {"{\"parameters\": [\"\xff\"]}", false, "", {}, "the body is no JSON text"},  // not UTF-8
  };
  for (const Case& c : cases) {
    std::string context = "stale", error;
    std::vector<std::string> parameters{"stale"};
    EXPECT_EQ(ParseAgentBody(c.body, context, parameters, error), c.ok) << c.body;
    if (c.ok) {
      EXPECT_EQ(context, c.context) << c.body;
      EXPECT_EQ(parameters, c.parameters) << c.body;
    } else {
      EXPECT_EQ(error, c.error) << c.body;
      EXPECT_TRUE(parameters.empty()) << c.body;
    }
  }
}

using qmemu::CallResult;
using qmemu::Outcome;

CallResult ResultOf(Outcome outcome) {
  CallResult result;
  result.outcome = std::move(outcome);
  return result;
}

// One row per outcome: the status and body the server answers, the status
// from the same table as orv-host's exit status.
TEST(HttpRoutes, FailureAnswerOfEveryOutcome) {
  const struct {
    Outcome outcome;
    int status;
    const char* body;
  } rows[] = {
      {Outcome::AgentError("Invalid control string."), 422, R"({"error":"Invalid control string."})"},
      {Outcome::Refused("the host refused the parameters of X", {"first", "second"}), 422,
       R"({"error":"the host refused the parameters of X","messages":["first","second"]})"},
      {Outcome::UnknownAgent("unknown agent 'X'"), 404, R"({"error":"unknown agent 'X'"})"},
      {Outcome::UnknownEntity("unknown entity 'a\"b'"), 404, R"({"error":"unknown entity 'a\"b'"})"},
      {Outcome::BudgetSpent(true, "late"), 504, R"({"error":"late","limit":"time"})"},
      {Outcome::BudgetSpent(false, "spent"), 504, R"({"error":"spent","limit":"operations"})"},
      {Outcome::HostFault("escaped"), 500, R"({"error":"escaped"})"},
  };
  for (const auto& row : rows) {
    CallResult result = ResultOf(row.outcome);
    result.run.messages = {"not shown unless refused"};
    HttpAnswer answer = FailureAnswer(result);
    EXPECT_EQ(answer.status, row.status) << row.body;
    EXPECT_EQ(answer.status, qmemu::OutcomeRowOf(row.outcome.kind()).httpStatus);
    EXPECT_EQ(answer.contentType, "application/json");
    EXPECT_EQ(answer.body, row.body);
  }
}

TEST(HttpRoutes, ErrorBodies) {
  HttpAnswer answer = ErrorAnswer(404, "unknown entity 'a\"b'");
  EXPECT_EQ(answer.status, 404);
  EXPECT_EQ(answer.contentType, "application/json");
  EXPECT_EQ(answer.body, R"({"error":"unknown entity 'a\"b'"})");
}

TEST(HttpRoutes, AgentRunJsonKeepsTextsAndReplacesBytesThatAreNotUtf8) {
  CallResult result;
  result.run.parameters = {"BLK-PUMP", "[ \r\n\t\"x\" ]", std::string("a\xff" "b"), "\xc3\xa9"};
  result.run.messages = {};
  result.hostOperations = 216;
  result.milliseconds = 0.5;
  EXPECT_EQ(AgentRunJson(result),
            "{\"hostOperations\":216,\"messages\":[],\"milliseconds\":0.5,"
            "\"parameters\":[\"BLK-PUMP\",\"[ \\r\\n\\t\\\"x\\\" ]\",\"a\xef\xbf\xbd" "b\",\"\xc3\xa9\"]}");
}

}  // namespace
}  // namespace orvtool
