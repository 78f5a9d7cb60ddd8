// Tests of the server's small parts: body header checks, entity tags, the
// icon inlined for export, agent text types, the explorer search rule,
// path normalisation, event texts and the metrics format.
#include <gtest/gtest.h>

#include "tools/serve/ExplorerIndex.h"
#include "tools/serve/HttpRoutes.h"
#include "tools/serve/Metrics.h"
#include "tools/serve/ModelEvents.h"
#include "tools/serve/StaticFiles.h"

namespace orvtool {
namespace {

TEST(ServeParts, BodyHeaderStatus) {
  struct Case {
    const char* method;
    const char* length;  // nullptr: no header
    const char* transfer;
    int status;
  } cases[] = {
      {"POST", "0", nullptr, 0},          {"POST", "100", nullptr, 0},       {"POST", "1000", nullptr, 0},
      {"POST", "1001", nullptr, 413},     {"POST", "-5", nullptr, 400},      {"POST", "", nullptr, 400},
      {"POST", "12a", nullptr, 400},      {"POST", "99999999999999999999", nullptr, 400},
      {"POST", nullptr, nullptr, 411},    {"POST", nullptr, "chunked", 0},   {"GET", nullptr, nullptr, 0},
      {"DELETE", nullptr, nullptr, 0},    {"POST", "-5", "chunked", 0},
  };
  for (const Case& c : cases) {
    HttpRequest request;
    request.method = c.method;
    if (c.length != nullptr) request.headers.emplace("content-length", c.length);
    if (c.transfer != nullptr) request.headers.emplace("transfer-encoding", c.transfer);
    std::string error;
    EXPECT_EQ(BodyHeaderStatus(request, 1000, error), c.status) << c.method << " " << (c.length ? c.length : "-");
    EXPECT_EQ(error.empty(), c.status == 0);
  }
}

TEST(ServeParts, EntityTagsAndIfNoneMatch) {
  std::string tag = EntityTag("body", 1);
  EXPECT_EQ(tag.size(), 18u);
  EXPECT_NE(tag, EntityTag("body", 2));
  EXPECT_NE(tag, EntityTag("bodx", 1));
  EXPECT_EQ(tag, EntityTag("body", 1));
  struct Case {
    std::string header;
    bool matches;
  } cases[] = {{tag, true}, {"\"x\", " + tag, true}, {"W/" + tag, true}, {"*", true}, {"", false},
               {"\"x\"", false}, {tag.substr(1), false}};
  for (const Case& c : cases) EXPECT_EQ(TagMatches(c.header, tag), c.matches) << c.header;
}

TEST(ServeParts, AgentTextTypes) {
  struct Case {
    const char* bytes;
    const char* type;
    const char* format;
  } cases[] = {{"[]", "application/json", "json"}, {"[ \r\n]", "application/json", "json"},
               {"[{\"a\" : \"b\"c\"}]", "text/plain", "text"}, {"", "text/plain", "text"},
               {"Page: x", "text/plain", "text"}};
  for (const Case& c : cases) {
    HttpAnswer answer = AgentTextAnswer(c.bytes);
    EXPECT_EQ(answer.body, c.bytes);
    EXPECT_EQ(answer.contentType, c.type) << c.bytes;
    EXPECT_EQ(answer.Header("x-answer-format"), c.format) << c.bytes;
  }
}

TEST(ServeParts, CutOffAnswersNameTheLimit) {
  qmemu::CallResult result;
  result.outcome = qmemu::Outcome::BudgetSpent(false, "stopped");
  EXPECT_EQ(FailureAnswer(result).body, R"({"error":"stopped","limit":"operations"})");
  EXPECT_EQ(FailureAnswer(result).status, 504);
  result.outcome = qmemu::Outcome::BudgetSpent(true, "stopped");
  EXPECT_EQ(FailureAnswer(result).body, R"({"error":"stopped","limit":"time"})");
  EXPECT_EQ(FailureAnswer(result).status, 504);
}

TEST(ServeParts, InlinedIcon) {
  const struct {
    const char* svg;
    const char* gif;
    const char* expected;
  } rows[] = {
      {"<image xlink:href=\"a.gif\"/>", "GIF", "<image xlink:href=\"a.gif\"/>"},
      {"<a xlink:href=\"ERIcon.gif\"/><b href=\"ERIcon.gif\"/>", "GIF89a",
       "<a xlink:href=\"data:image/gif;base64,R0lGODlh\"/><b href=\"data:image/gif;base64,R0lGODlh\"/>"},
      {"x=\"ERIcon.gif\"", "G", "x=\"data:image/gif;base64,Rw==\""},
      {"x=\"ERIcon.gif\"", "GI", "x=\"data:image/gif;base64,R0k=\""},
      {"ERIcon.gif \"ERIcon.gif", "GIF", "ERIcon.gif \"ERIcon.gif"},
  };
  for (const auto& row : rows) EXPECT_EQ(InlineErIcon(row.svg, row.gif), row.expected) << row.svg;
  // The client's icon is a GIF.
  std::string gif;
  ASSERT_TRUE(ReadWholeFile(std::string(ORV_SOURCE_DIR) + "/web/ERIcon.gif", gif));
  EXPECT_EQ(InlineErIcon("\"ERIcon.gif\"", gif).rfind("\"data:image/gif;base64,R0lGODlh", 0), 0u);
}

TEST(ServeParts, SearchComparesAsciiLettersWithoutCase) {
  struct Case {
    const char* text;
    const char* query;
    bool found;
  } cases[] = {{"Hours limit", "LIMIT", true}, {"ATT-PUMP1", "pump", true}, {"Pumpe", "pumps", false},
               {"\xc3\x84rger", "\xc3\xa4", false}, {"abc", "", true}, {"", "a", false}};
  for (const Case& c : cases) EXPECT_EQ(ContainsIgnoringAsciiCase(c.text, c.query), c.found) << c.text;
}

TEST(ServeParts, PathNormalisation) {
  struct Case {
    const char* in;
    bool ok;
    const char* out;
  } cases[] = {{"a/../b", true, "b"}, {"icons/../index.html", true, "index.html"}, {"a/./", true, "a/"},
               {"a/..", true, ""}, {"a//b", true, "a/b"}, {"..", false, ""}, {"a/../../b", false, ""},
               {"", true, ""}, {"a/b/", true, "a/b/"}};
  for (const Case& c : cases) {
    std::string path = c.in;
    EXPECT_EQ(NormaliseRelativePath(path), c.ok) << c.in;
    if (c.ok) {
      EXPECT_EQ(path, c.out) << c.in;
    }
  }
}

TEST(ServeParts, EventTexts) {
  EXPECT_EQ(EventText("hello", 1, ""), "event: hello\nid: 1\ndata: {\"version\":1}\n\n");
  EXPECT_EQ(EventText("model-error", 3, "m.json:2:5: bad\nthing"),
            "event: model-error\nid: 3\ndata: {\"error\":\"m.json:2:5: bad\\nthing\",\"version\":3}\n\n");
  ModelEvents events;
  ModelEvent event;
  EXPECT_EQ(events.Next(0, std::chrono::milliseconds(1), event), ModelEvents::Wait::kTimeout);
  events.Publish("model-changed", 2, "");
  EXPECT_EQ(events.Next(0, std::chrono::milliseconds(1), event), ModelEvents::Wait::kEvent);
  EXPECT_EQ(event.version, 2u);
  events.Stop();
  EXPECT_EQ(events.Next(1, std::chrono::seconds(10), event), ModelEvents::Wait::kStopped);
}

TEST(ServeParts, MetricsText) {
  Metrics metrics;
  metrics.Request("/api/search", 200, 0.003);
  metrics.AgentCall("GetNativeLinkInformation", "answered", 0.0007, 12);
  std::string text = metrics.Text(MetricsGauges{2, 217, 1, 4096});
  for (const char* line : {"orv_http_requests_total{route=\"/api/search\",status=\"200\"} 1\n",
                           "orv_http_request_seconds_bucket{route=\"/api/search\",le=\"0.0025\"} 0\n",
                           "orv_http_request_seconds_bucket{route=\"/api/search\",le=\"0.005\"} 1\n",
                           "orv_http_request_seconds_bucket{route=\"/api/search\",le=\"+Inf\"} 1\n",
                           "orv_http_request_seconds_count{route=\"/api/search\"} 1\n",
                           "orv_agent_calls_total{agent=\"GetNativeLinkInformation\",outcome=\"answered\"} 1\n",
                           "orv_agent_host_operations_total{agent=\"GetNativeLinkInformation\"} 12\n",
                           "orv_model_version 2\n", "orv_model_entities 217\n", "orv_event_clients 1\n",
                           "process_resident_memory_bytes 4096\n"}) {
    EXPECT_NE(text.find(line), std::string::npos) << line;
  }
  EXPECT_EQ(LabelValue("a\"b\\c\nd"), "a\\\"b\\\\c\\nd");
}

}  // namespace
}  // namespace orvtool
