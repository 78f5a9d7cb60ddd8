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

TEST(HttpRoutes, StatusOfEveryOutcome) {
  struct Case {
    CallOutcome outcome;
    int status;
  } cases[] = {
      {CallOutcome::kDone, 200},       {CallOutcome::kUnknownAgent, 404}, {CallOutcome::kUnknownEntity, 404},
      {CallOutcome::kRefused, 422},    {CallOutcome::kAgentError, 422},   {CallOutcome::kCutOff, 504},
      {CallOutcome::kEscaped, 500},
  };
  for (const Case& c : cases) EXPECT_EQ(StatusOf(c.outcome), c.status) << static_cast<int>(c.outcome);
}

TEST(HttpRoutes, ErrorBodies) {
  HttpAnswer answer = ErrorAnswer(404, "unknown entity 'a\"b'");
  EXPECT_EQ(answer.status, 404);
  EXPECT_EQ(answer.contentType, "application/json");
  EXPECT_EQ(answer.body, R"({"error":"unknown entity 'a\"b'"})");

  CallResult refused;
  refused.outcome = CallOutcome::kRefused;
  refused.error = "the host refused the parameters of X";
  refused.run.messages = {"first", "second"};
  answer = FailureAnswer(refused);
  EXPECT_EQ(answer.status, 422);
  EXPECT_EQ(answer.body, R"({"error":"the host refused the parameters of X","messages":["first","second"]})");

  CallResult message;
  message.outcome = CallOutcome::kAgentError;
  message.error = "Invalid control string.";
  message.run.messages = {"not shown"};
  answer = FailureAnswer(message);
  EXPECT_EQ(answer.status, 422);
  EXPECT_EQ(answer.body, R"({"error":"Invalid control string."})");

  CallResult cut;
  cut.outcome = CallOutcome::kCutOff;
  cut.error = "stopped";
  EXPECT_EQ(FailureAnswer(cut).status, 504);
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
