// The modelling server over HTTP: `orv-host serve` in a child process on the
// example model, asked through loopback only. Agent answers must reach the
// client byte for byte, so the client routes are compared with what the
// command-line tool prints for the same agent call, and with texts written
// by hand where the agent's rules fix them.
#include <httplib.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <chrono>
#include <fstream>
#include <future>
#include <nlohmann/json.hpp>
#include <regex>
#include <sstream>
#include <string>
#include <thread>

#include "tests/CliSupport.h"
#include "tests/ServeSupport.h"

namespace {

using Json = nlohmann::json;
using orvtest::RawRequestStatus;
using orvtest::RunHost;
using orvtest::ServerProcess;

const char kModel[] = "examples/model.json";

// What the command-line tool prints as parameter N of one call.
std::string CliAnswer(const std::string& arguments) {
  auto r = RunHost(arguments);
  EXPECT_EQ(r.status, 0) << arguments << "\n" << r.err;
  return r.out;
}

std::string ErrorOf(const httplib::Result& result) {
  if (!result) return "<no answer>";
  Json body = Json::parse(result->body, nullptr, false);
  if (body.is_discarded() || !body.is_object() || !body.contains("error") || !body["error"].is_string()) {
    return "<no JSON error body: " + result->body + ">";
  }
  return body["error"].get<std::string>();
}

void WriteFile(const std::string& path, const std::string& text) { std::ofstream(path, std::ios::binary) << text; }

// An HTTP client whose every answer goes into the contract log.
class CheckedClient {
 public:
  explicit CheckedClient(int port) : client_("127.0.0.1", port) {
    client_.set_connection_timeout(5);
    client_.set_read_timeout(30);
    client_.set_write_timeout(30);
  }
  httplib::Result Get(const std::string& path, const httplib::Headers& headers = {}) {
    return Record("GET", path, client_.Get(path, headers));
  }
  httplib::Result Head(const std::string& path) { return Record("HEAD", path, client_.Head(path)); }
  httplib::Result Post(const std::string& path, const std::string& body, const char* type,
                       const httplib::Headers& headers = {}) {
    return Record("POST", path, client_.Post(path, headers, body, type));
  }
  httplib::Result Delete(const std::string& path) { return Record("DELETE", path, client_.Delete(path)); }
  httplib::Result Options(const std::string& path, const httplib::Headers& headers = {}) {
    return Record("OPTIONS", path, client_.Options(path, headers));
  }

 private:
  static httplib::Result Record(const char* method, const std::string& path, httplib::Result result) {
    if (result && std::string(method) != "OPTIONS") {
      orvtest::ContractLog::Instance().Record(method, path, result->status,
                                              result->get_header_value("Content-Type"), result->body);
    }
    return result;
  }
  httplib::Client client_;
};

// One server for most tests, with a short deadline and no operation budget
// (so that the deadline, not whichever limit a fast machine reaches first,
// stops the page whose walk never ends), and a web directory made here (with
// links into it and out of it).
class ServeTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    signal(SIGPIPE, SIG_IGN);  // a server may close a connection it refuses before the client is done
    char dir[] = "/tmp/orv-serve-test-XXXXXX";
    base_ = mkdtemp(dir);
    web_ = base_ + "/web";
    mkdir(web_.c_str(), 0755);
    mkdir((web_ + "/sub").c_str(), 0755);
    WriteFile(web_ + "/index.html", "<!doctype html><title>client</title>\n");
    WriteFile(web_ + "/app.js", "console.log('client');\n");
    // The icon the annotated SVGs name is one of the client's files.
    WriteFile(web_ + "/ERIcon.gif", orvtest::ReadFile(std::string(ORV_SOURCE_DIR) + "/web/ERIcon.gif"));
    WriteFile(web_ + "/sub/index.html", "sub index\n");
    WriteFile(base_ + "/secret.txt", "outside the web directory\n");
    mkdir((base_ + "/outside").c_str(), 0755);
    WriteFile(base_ + "/outside/index.html", "outside index\n");
    symlink((base_ + "/secret.txt").c_str(), (web_ + "/leak.txt").c_str());
    symlink((base_ + "/outside").c_str(), (web_ + "/leakdir").c_str());
    symlink("app.js", (web_ + "/alias.js").c_str());
    server_ = new ServerProcess({kModel, "--port", "0", "--timeout", "3", "--max-operations", "0", "--web", web_});
    url_ = server_->Url();
    port_ = server_->Port();
  }
  static void TearDownTestSuite() {
    // After every test's requests it still stops cleanly (and, in the
    // sanitizer builds, with no report: those make the exit status non-zero).
    EXPECT_GT(orvtest::ContractLog::Instance().Count(), 0u);
    EXPECT_EQ(orvtest::ContractLog::Instance().Problems(), "");
    server_->Signal(SIGTERM);
    EXPECT_EQ(server_->WaitForExit(30), 0) << server_->Stderr();
    delete server_;
    server_ = nullptr;
    std::system(("rm -rf '" + base_ + "'").c_str());
  }
  void SetUp() override { ASSERT_NE(port_, 0) << "the server printed no URL:\n" << server_->Stderr(); }

  static CheckedClient Client() { return CheckedClient(port_); }

  static ServerProcess* server_;
  static std::string base_, web_, url_;
  static int port_;
};

ServerProcess* ServeTest::server_ = nullptr;
std::string ServeTest::base_, ServeTest::web_, ServeTest::url_;
int ServeTest::port_ = 0;

TEST_F(ServeTest, PrintsOneLineWithItsUrl) {
  EXPECT_EQ(server_->FirstLine(), "orv-host: serving examples/model.json at " + url_);
  EXPECT_EQ(url_, "http://127.0.0.1:" + std::to_string(port_) + "/");
}

// ---- client routes: the agent's bytes, unchanged ----

TEST_F(ServeTest, ExplorerRootIsTheModelNode) {
  auto r = Client().Get("/api/explorer/children");
  ASSERT_TRUE(r);
  EXPECT_EQ(r->status, 200);
  EXPECT_EQ(r->get_header_value("Content-Type"), "application/json");
  EXPECT_EQ(r->body,
            "[ { \"text\" : \"Pump station\", \"hasChildren\" : \"yes\", \"visual\" : \"no\", \"icon\" : \"0\", "
            "\"metaclassType\" : \"Model\", \"modelguid\" : \"PUMP-STATION\", \"metaguid\" : \"\"}]");
}

TEST_F(ServeTest, ExplorerChildrenAreTheAgentsAnswer) {
  auto r = Client().Get("/api/explorer/children?node=PUMP-STATION");
  ASSERT_TRUE(r);
  EXPECT_EQ(r->status, 200);
  EXPECT_EQ(r->body, CliAnswer("--print 3 examples/model.json GetModelViewChildNodes PUMP-STATION '' '' ''"));
  r = Client().Get("/api/explorer/children?node=BLK-PANEL&metaguid=MM-ALARMS");
  ASSERT_TRUE(r);
  EXPECT_EQ(r->status, 200);
  EXPECT_EQ(r->body, CliAnswer("--print 3 examples/model.json GetModelViewChildNodes BLK-PANEL MM-ALARMS '' ''"));
}

TEST_F(ServeTest, LinksAreTheAgentsBytesWithTheirLineEnds) {
  auto r = Client().Get("/api/elements/BLK-PUMP/links");
  ASSERT_TRUE(r);
  EXPECT_EQ(r->status, 200);
  EXPECT_EQ(r->get_header_value("Content-Type"), "application/json");
  EXPECT_EQ(r->body.rfind("[ \r\n    { \r\n        \"linkTypeId\" : \"ORV_INCOMING_DEPENDENCIES\", \r\n", 0), 0u);
  EXPECT_EQ(r->body, CliAnswer("--print 2 examples/model.json GetNativeLinkInformation BLK-PUMP ''"));
}

TEST_F(ServeTest, AnElementWithoutLinksAnswers204) {
  auto r = Client().Get("/api/elements/BLK-STATION/links");
  ASSERT_TRUE(r);
  EXPECT_EQ(r->status, 204);
  EXPECT_EQ(r->body, "");
  EXPECT_EQ(r->get_header_value("Content-Type"), "");
  EXPECT_FALSE(r->get_header_value("ETag").empty());
}

TEST_F(ServeTest, PageControlsAreTheHandWrittenLine) {
  const std::string expected =
      "[{\"kind\" : \"EditBox\", \"text\" : \"Name\", \"value\" : \"Pump\"}, "
      "{\"kind\" : \"EntityList\", \"text\" : \"Owners\", \"value\" : [\"a\", \"b\"]}]";
  for (const char* path : {"/api/elements/BLK-PUMP/page", "/api/elements/BLK-PUMP/page?route=controls"}) {
    auto r = Client().Get(path);
    ASSERT_TRUE(r) << path;
    EXPECT_EQ(r->status, 200) << path;
    EXPECT_EQ(r->body, expected) << path;
  }
}

TEST_F(ServeTest, PageTransformIsTheLibraryParse) {
  auto r = Client().Get("/api/elements/BLK-PUMP/page?route=transform");
  ASSERT_TRUE(r);
  EXPECT_EQ(r->status, 200);
  EXPECT_EQ(r->body.rfind("[ \r\n    { \r\n        \"control\" : \r\n", 0), 0u) << r->body;
  EXPECT_EQ(r->body, CliAnswer("--context BLK-PUMP --print 1 examples/model.json TransformControlInfoToJason ''"));
}

TEST_F(ServeTest, DiagramSvgIsTheAgentsSvg) {
  auto r = Client().Post("/api/diagrams/DIA-REQ/svg?refresh=true", "", "application/json");
  ASSERT_TRUE(r);
  EXPECT_EQ(r->status, 200);
  EXPECT_EQ(r->get_header_value("Content-Type"), "image/svg+xml");
  EXPECT_EQ(r->body, CliAnswer("--context DIA-REQ --print 2 examples/model.json GenerateSVGWithAnnotations '' '' t"));
  // From the cache, with the client's link information.
  const std::string client = R"([{"objID": "BLK-VALVE", "relInfo": {"source": "client"}}])";
  r = Client().Post("/api/diagrams/DIA-LINKS/svg", client, "application/json");
  ASSERT_TRUE(r);
  EXPECT_EQ(r->status, 200);
  EXPECT_EQ(r->body, CliAnswer("--context DIA-LINKS --print 2 examples/model.json GenerateSVGWithAnnotations '" +
                               client + "' '' ''"));
}

TEST_F(ServeTest, StaticFilesOfTheClient) {
  struct Case {
    const char* path;
    const char* body;
    const char* type;
  } cases[] = {
      {"/", "<!doctype html><title>client</title>\n", "text/html; charset=utf-8"},
      {"/index.html", "<!doctype html><title>client</title>\n", "text/html; charset=utf-8"},
      {"/app.js", "console.log('client');\n", "text/javascript; charset=utf-8"},
      {"/alias.js", "console.log('client');\n", "text/javascript; charset=utf-8"},  // a link inside
      {"/sub/", "sub index\n", "text/html; charset=utf-8"},
      {"/sub", "sub index\n", "text/html; charset=utf-8"},
  };
  for (const Case& c : cases) {
    auto r = Client().Get(c.path);
    ASSERT_TRUE(r) << c.path;
    EXPECT_EQ(r->status, 200) << c.path;
    EXPECT_EQ(r->body, c.body) << c.path;
    EXPECT_EQ(r->get_header_value("Content-Type"), c.type) << c.path;
  }
  auto r = Client().Get("/no-such-file.js");
  ASSERT_TRUE(r);
  EXPECT_EQ(r->status, 404);
  EXPECT_EQ(ErrorOf(r), "no such file: /no-such-file.js");
}

TEST_F(ServeTest, StaticFilesNeverLeaveTheWebDirectory) {
  struct Case {
    const char* path;  // sent as it is
    int status;
  } cases[] = {
      {"/../secret.txt", 403},
      {"/sub/../../secret.txt", 403},
      {"/%2e%2e/secret.txt", 403},
      {"/%2E%2E%2Fsecret.txt", 403},
      {"/sub/%2e%2e/%2e%2e/secret.txt", 403},
      {"/..%2f..%2f..%2fetc%2fpasswd", 403},
      {"//etc/passwd", 403},
      {"/%2fetc%2fpasswd", 403},
      {"/leak.txt", 403},          // a link to a file outside
      {"/leakdir/index.html", 403},  // a link to a directory outside
      {"/leakdir/", 403},
      {"/sub/..", 200},            // normalised first: it stays inside
      {"/./app.js", 200},
      {"/sub/%2e%2e/app.js", 200},
      {"/icons/../index.html", 200},
  };
  for (const Case& c : cases) {
    std::string request = std::string("GET ") + c.path + " HTTP/1.1\r\nHost: 127.0.0.1\r\nConnection: close\r\n\r\n";
    EXPECT_EQ(RawRequestStatus(port_, request), c.status) << c.path;
  }
}

// ---- the generic agent route ----

TEST_F(ServeTest, AgentRouteAnswersParametersMessagesOperationsAndTime) {
  auto r = Client().Post("/api/agents/GetNativeLinkInformation", R"({"parameters": ["BLK-PUMP", ""]})",
                         "application/json");
  ASSERT_TRUE(r);
  EXPECT_EQ(r->status, 200);
  Json body = Json::parse(r->body);
  ASSERT_EQ(body["parameters"].size(), 2u);
  EXPECT_EQ(body["parameters"][0], "BLK-PUMP");
  EXPECT_EQ(body["parameters"][1], CliAnswer("--print 2 examples/model.json GetNativeLinkInformation BLK-PUMP ''"));
  EXPECT_EQ(body["messages"], Json::array());
  EXPECT_GT(body["hostOperations"].get<long>(), 0);
  EXPECT_GE(body["milliseconds"].get<double>(), 0.0);
}

TEST_F(ServeTest, AgentRouteRunsOnTheContextAndDefaultsToTheRoot) {
  auto r = Client().Post("/api/agents/TransformControlInfoToJason", R"({"context": "BLK-PUMP", "parameters": [""]})",
                         "application/json");
  ASSERT_TRUE(r);
  EXPECT_EQ(r->status, 200);
  EXPECT_EQ(Json::parse(r->body)["parameters"][0],
            CliAnswer("--context BLK-PUMP --print 1 examples/model.json TransformControlInfoToJason ''"));
  r = Client().Post("/api/agents/GetNativeLinkInformation", "{}", "application/json");
  ASSERT_TRUE(r);
  EXPECT_EQ(r->status, 200);
  EXPECT_EQ(Json::parse(r->body)["parameters"], Json::array());
}

// ---- every error status ----

TEST_F(ServeTest, BadRequestsAre400) {
  struct Case {
    const char* body;
    const char* error;
  } cases[] = {
      {"{\"parameters\": [\"a\"", "the body is no JSON text"},
      {"[\"a\"]", "the body must be a JSON object"},
      {"{\"parameters\": \"a\"}", "\"parameters\" must be an array of strings"},
      {"{\"parameters\": [\"a\", 1]}", "\"parameters\" must be an array of strings"},
      {"{\"parameters\": [null]}", "\"parameters\" must be an array of strings"},
      {"{\"context\": 5}", "\"context\" must be a string"},
  };
  for (const Case& c : cases) {
    auto r = Client().Post("/api/agents/GetNativeLinkInformation", c.body, "application/json");
    ASSERT_TRUE(r) << c.body;
    EXPECT_EQ(r->status, 400) << c.body;
    EXPECT_EQ(ErrorOf(r), c.error) << c.body;
  }
  auto r = Client().Get("/api/elements/BLK-PUMP/page?route=both");
  ASSERT_TRUE(r);
  EXPECT_EQ(r->status, 400);
  EXPECT_EQ(ErrorOf(r), "route must be controls or transform, not 'both'");
  r = Client().Post("/api/diagrams/DIA-REQ/svg?refresh=yes", "", "application/json");
  ASSERT_TRUE(r);
  EXPECT_EQ(r->status, 400);
  r = Client().Post("/api/diagrams/DIA-REQ/svg", "[{\"objID\": ", "application/json");
  ASSERT_TRUE(r);
  EXPECT_EQ(r->status, 400);
  EXPECT_EQ(ErrorOf(r), "the body is no JSON text");
}

TEST_F(ServeTest, UnknownAgentsEntitiesAndRoutesAre404) {
  struct Case {
    const char* method;
    const char* path;
    const char* body;
    const char* error;
  } cases[] = {
      {"POST", "/api/agents/NoSuchAgent", "{}", "unknown agent 'NoSuchAgent': no agent of the plug-in"},
      {"POST", "/api/agents/@VELExtensionManagement@GetImageIndex", "{}",
       "unknown agent '@VELExtensionManagement@GetImageIndex': no agent of the plug-in"},
      {"POST", "/api/agents/GetNativeLinkInformation", "{\"context\": \"NO-SUCH\"}", "unknown entity 'NO-SUCH': no entity has this GUID or path"},
      {"GET", "/api/explorer/children?node=NO-SUCH", "", "unknown entity 'NO-SUCH': no entity has this GUID or path"},
      {"GET", "/api/elements/NO-SUCH/links", "", "unknown entity 'NO-SUCH': no entity has this GUID or path"},
      {"GET", "/api/elements/NO-SUCH/page", "", "unknown entity 'NO-SUCH': no entity has this GUID or path"},
      {"GET", "/api/elements/NO-SUCH/page?route=transform", "", "unknown entity 'NO-SUCH': no entity has this GUID or path"},
      {"POST", "/api/diagrams/NO-SUCH/svg", "", "unknown entity 'NO-SUCH': no entity has this GUID or path"},
      {"GET", "/api/nothing", "", "unknown route GET /api/nothing"},
  };
  for (const Case& c : cases) {
    auto client = Client();
    httplib::Result r = std::string(c.method) == "GET"    ? client.Get(c.path)
                        : std::string(c.method) == "POST" ? client.Post(c.path, c.body, "application/json")
                                                          : client.Delete(c.path);
    ASSERT_TRUE(r) << c.path;
    EXPECT_EQ(r->status, 404) << c.path;
    EXPECT_EQ(ErrorOf(r), c.error) << c.path;
  }
}

TEST_F(ServeTest, ABodyOverTheLimitIs413) {
  // Answered from the headers, before the body is read.
  std::string request =
      "POST /api/agents/GetNativeLinkInformation HTTP/1.1\r\nHost: x\r\nContent-Type: application/json\r\n"
      "Content-Length: 20971520\r\n\r\n" + std::string(1000, ' ');
  EXPECT_EQ(RawRequestStatus(port_, request), 413);
  // The server goes on.
  auto r = Client().Get("/api/elements/BLK-STATION/links");
  ASSERT_TRUE(r);
  EXPECT_EQ(r->status, 204);
}

TEST_F(ServeTest, AgentMessagesAndRefusalsAre422) {
  auto r = Client().Post("/api/agents/GetPropertyPageControls", R"({"parameters": ["NO-SUCH", "", ""]})",
                         "application/json");
  ASSERT_TRUE(r);
  EXPECT_EQ(r->status, 422);
  EXPECT_EQ(ErrorOf(r), "Failed to find entity with specified GUID.");
  r = Client().Post("/api/agents/GetModelViewChildNodes", R"({"parameters": ["NO-SUCH", "", "", ""]})",
                    "application/json");
  ASSERT_TRUE(r);
  EXPECT_EQ(r->status, 422);
  EXPECT_EQ(ErrorOf(r), "Failed to find parent entity.");
  r = Client().Post("/api/agents/GetPropertyPageControls", R"({"parameters": ["BLK-PUMP"]})", "application/json");
  ASSERT_TRUE(r);
  EXPECT_EQ(r->status, 422);
  EXPECT_EQ(ErrorOf(r), "the host refused the parameters of GetPropertyPageControls");
  Json body = Json::parse(r->body);
  EXPECT_EQ(body["messages"], Json::array({"@OrvServer@GetPropertyPageControls: expected 3 parameters, got 1"}));
  // A refusal is not carried into the next call.
  r = Client().Get("/api/elements/BLK-PUMP/page");
  ASSERT_TRUE(r);
  EXPECT_EQ(r->status, 200);
  // An element that is no diagram and shows in none has no SVG.
  r = Client().Post("/api/diagrams/REQ-007/svg", "", "application/json");
  ASSERT_TRUE(r);
  EXPECT_EQ(r->status, 422);
  EXPECT_EQ(ErrorOf(r), "no SVG for 'REQ-007': it is no diagram and shows in none");
}

TEST_F(ServeTest, AWalkThatNeverEndsIs504AndTheServerGoesOn) {
  auto stuck = std::async(std::launch::async, [] { return Client().Get("/api/elements/PAGE-INCOMPLETE/page"); });
  // While the agent runs, files are served without waiting for it.
  std::this_thread::sleep_for(std::chrono::milliseconds(300));
  auto file = Client().Get("/app.js");
  ASSERT_TRUE(file);
  EXPECT_EQ(file->status, 200);
  EXPECT_EQ(stuck.wait_for(std::chrono::seconds(0)), std::future_status::timeout);
  // An agent request waits for the stopped call, then runs.
  auto links = Client().Get("/api/elements/BLK-STATION/links");
  ASSERT_TRUE(links);
  EXPECT_EQ(links->status, 204);
  auto r = stuck.get();
  ASSERT_TRUE(r);
  EXPECT_EQ(r->status, 504);
  EXPECT_EQ(ErrorOf(r), "agent GetPropertyPageControls did not finish within its deadline of 3 s and was stopped");
  EXPECT_EQ(Json::parse(r->body)["limit"], "time");
  // The other route of the same page answers.
  r = Client().Get("/api/elements/PAGE-INCOMPLETE/page?route=transform");
  ASSERT_TRUE(r);
  EXPECT_EQ(r->status, 200);
  r = Client().Get("/api/explorer/children");
  ASSERT_TRUE(r);
  EXPECT_EQ(r->status, 200);
}

// ---- servers of their own: defaults, usage, stopping ----

// The listening sockets of this machine on `port` as "address:port" in
// /proc/net/tcp notation (hex, address in network order read as a number).
std::vector<std::string> ListeningAddresses(int port) {
  std::vector<std::string> found;
  char portHex[8];
  std::snprintf(portHex, sizeof portHex, "%04X", port);
  for (const char* table : {"/proc/net/tcp", "/proc/net/tcp6"}) {
    std::ifstream in(table);
    std::string line;
    std::getline(in, line);  // header
    while (std::getline(in, line)) {
      std::istringstream fields(line);
      std::string slot, local, remote, state;
      fields >> slot >> local >> remote >> state;
      if (state == "0A" && local.size() > 5 && local.substr(local.size() - 4) == portHex) found.push_back(local);
    }
  }
  return found;
}


// ---- the contract's rules ----

TEST_F(ServeTest, AgentTextIsJsonOnlyWhenItParses) {
  struct Case {
    const char* path;
    int status;
    const char* type;
    const char* format;
  } cases[] = {
      {"/api/elements/BLK-PUMP/page", 200, "application/json", "json"},
      {"/api/elements/REQ-003/page", 200, "text/plain", "text"},
      {"/api/elements/PAGE-VALVE/page", 200, "text/plain", "text"},
      {"/api/elements/PAGE-INVALID/page?route=transform", 200, "text/plain", "text"},
      {"/api/elements/BLK-PUMP/links", 200, "application/json", "json"},
      {"/api/explorer/children", 200, "application/json", "json"},
  };
  for (const Case& c : cases) {
    auto r = Client().Get(c.path);
    ASSERT_TRUE(r) << c.path;
    EXPECT_EQ(r->status, c.status) << c.path;
    EXPECT_EQ(r->get_header_value("Content-Type"), c.type) << c.path;
    EXPECT_EQ(r->get_header_value("X-Answer-Format"), c.format) << c.path;
  }
  // The bytes stay the agent's.
  auto r = Client().Get("/api/elements/PAGE-VALVE/page");
  ASSERT_TRUE(r);
  EXPECT_EQ(r->body, CliAnswer("--print 2 examples/model.json GetPropertyPageControls PAGE-VALVE '' ''"));
}

TEST_F(ServeTest, EveryGetAnswerHasAnEtagAndIfNoneMatchAnswers304) {
  for (const char* path : {"/api/explorer/children", "/api/elements/BLK-PUMP/links", "/api/elements/BLK-PUMP/page",
                           "/api/search?q=pump", "/api/elements/BLK-VALVE/path", "/api/elements/BLK-VALVE/diagrams",
                           "/api/diagrams/DIA-LINKS/svg", "/api/openapi.json", "/ERIcon.gif", "/app.js",
                           "/api/elements/BLK-STATION/links"}) {
    auto r = Client().Get(path);
    ASSERT_TRUE(r) << path;
    std::string tag = r->get_header_value("ETag");
    ASSERT_EQ(tag.size(), 18u) << path << " " << tag;
    EXPECT_EQ(tag.front(), '"');
    auto again = Client().Get(path, {{"If-None-Match", tag}});
    ASSERT_TRUE(again) << path;
    EXPECT_EQ(again->status, 304) << path;
    EXPECT_EQ(again->body, "") << path;
    EXPECT_EQ(again->get_header_value("ETag"), tag) << path;
    auto other = Client().Get(path, {{"If-None-Match", "\"0000000000000000\", W/\"1\""}});
    ASSERT_TRUE(other);
    EXPECT_NE(other->status, 304) << path;
  }
  EXPECT_EQ(Client().Get("/app.js")->get_header_value("Cache-Control"), "no-cache");
  EXPECT_EQ(Client().Get("/ERIcon.gif")->get_header_value("Cache-Control"), "public, max-age=86400");
  // A POST carries an ETag, and never answers 304.
  auto post = Client().Post("/api/diagrams/DIA-REQ/svg?refresh=true", "", "application/json");
  ASSERT_TRUE(post);
  std::string tag = post->get_header_value("ETag");
  EXPECT_FALSE(tag.empty());
  post = Client().Post("/api/diagrams/DIA-REQ/svg?refresh=true", "", "application/json", {{"If-None-Match", tag}});
  ASSERT_TRUE(post);
  EXPECT_EQ(post->status, 200);
}

TEST_F(ServeTest, WrongMethodsAre405WithAllow) {
  struct Case {
    const char* method;
    const char* path;
    const char* allow;
  } cases[] = {
      {"GET", "/api/agents/GetNativeLinkInformation", "POST, OPTIONS"},
      {"DELETE", "/api/elements/BLK-PUMP/links", "GET, HEAD, OPTIONS"},
      {"POST", "/index.html", "GET, HEAD, OPTIONS"},
      {"DELETE", "/api/diagrams/DIA-REQ/svg", "GET, HEAD, POST, OPTIONS"},
  };
  for (const Case& c : cases) {
    auto client = Client();
    httplib::Result r = std::string(c.method) == "GET"    ? client.Get(c.path)
                        : std::string(c.method) == "POST" ? client.Post(c.path, "{}", "application/json")
                                                          : client.Delete(c.path);
    ASSERT_TRUE(r) << c.path;
    EXPECT_EQ(r->status, 405) << c.path;
    EXPECT_EQ(r->get_header_value("Allow"), c.allow) << c.path;
    EXPECT_NE(ErrorOf(r).find(std::string(c.method) + " " + c.path), std::string::npos) << ErrorOf(r);
  }
  auto r = Client().Options("/api/elements/BLK-PUMP/links");
  ASSERT_TRUE(r);
  EXPECT_EQ(r->status, 204);
  EXPECT_EQ(r->get_header_value("Allow"), "GET, HEAD, OPTIONS");
  EXPECT_EQ(r->get_header_value("Access-Control-Allow-Origin"), "");  // no CORS without --cors
  r = Client().Head("/api/elements/BLK-PUMP/links");
  ASSERT_TRUE(r);
  EXPECT_EQ(r->status, 200);
  EXPECT_EQ(r->body, "");
}

TEST_F(ServeTest, BodyHeadersAreCheckedAtOnce) {
  struct Case {
    const char* headers;
    int status;
  } cases[] = {
      {"Content-Length: -5\r\n", 400},
      {"Content-Length: 99999999999999999999999\r\n", 400},
      {"Content-Length: 5x\r\n", 400},
      {"Content-Length: 999999999999\r\n", 413},
      {"", 411},
  };
  for (const Case& c : cases) {
    auto start = std::chrono::steady_clock::now();
    std::string request = std::string("POST /api/agents/GetNativeLinkInformation HTTP/1.1\r\nHost: x\r\n") +
                          c.headers + "Content-Type: application/json\r\n\r\n";
    EXPECT_EQ(RawRequestStatus(port_, request), c.status) << c.headers;
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(2)) << c.headers;
  }
}

TEST_F(ServeTest, AnyContentTypeUpToTheLimitIsAccepted) {
  std::string body = R"({"parameters": ["BLK-PUMP", ""], "padding": ")" + std::string(9000, 'x') + "\"}";
  for (const char* type : {"application/x-www-form-urlencoded", "application/json", "text/plain"}) {
    auto r = Client().Post("/api/agents/GetNativeLinkInformation", body, type);
    ASSERT_TRUE(r) << type;
    EXPECT_EQ(r->status, 200) << type;
  }
  auto r = Client().Post("/api/agents/GetNativeLinkInformation", "", "application/json");
  ASSERT_TRUE(r);
  EXPECT_EQ(r->status, 200);  // both members are optional
}

TEST_F(ServeTest, ExplorerQueryMistakesAre400) {
  auto r = Client().Get("/api/explorer/children?metaguid=MM-ALARMS");
  ASSERT_TRUE(r);
  EXPECT_EQ(r->status, 400);
  EXPECT_EQ(ErrorOf(r), "metaguid 'MM-ALARMS' needs the node it belongs to");
  r = Client().Get("/api/explorer/children?node=BLK-PANEL&metaguid=NO-SUCH");
  ASSERT_TRUE(r);
  EXPECT_EQ(r->status, 400);
  EXPECT_EQ(ErrorOf(r), "metaguid 'NO-SUCH' names no meta definition");
}

TEST_F(ServeTest, SearchPathAndDiagrams) {
  auto r = Client().Get("/api/search?q=LIMIT&limit=1");
  ASSERT_TRUE(r);
  ASSERT_EQ(r->status, 200);
  Json answer = Json::parse(r->body);
  EXPECT_EQ(answer["query"], "LIMIT");
  ASSERT_EQ(answer["results"].size(), 1u);
  EXPECT_EQ(answer["results"][0]["guid"], "ATT-PUMP1-HOURS-LIMIT");
  EXPECT_EQ(answer["results"][0]["kind"], "Attribute");
  std::vector<std::string> path;
  for (const Json& node : answer["results"][0]["path"]) path.push_back(node["modelguid"]);
  EXPECT_EQ(path, (std::vector<std::string>{"PUMP-STATION", "PKG-STRUCT", "BLK-STATION", "ATT-PUMP1",
                                            "ATT-PUMP1-HOURS", "ATT-PUMP1-HOURS-LIMIT"}));
  r = Client().Get("/api/elements/ATT-PUMP1-HOURS-LIMIT/path");
  ASSERT_TRUE(r);
  EXPECT_EQ(Json::parse(r->body)["path"], answer["results"][0]["path"]);
  r = Client().Get("/api/elements/BLK-VALVE/diagrams");
  ASSERT_TRUE(r);
  EXPECT_EQ(r->body, R"({"diagrams":[{"guid":"DIA-LINKS","name":"Valve links"}],"guid":"BLK-VALVE"})");
  struct Case {
    const char* path;
    int status;
  } cases[] = {
      {"/api/search", 400},           {"/api/search?q=", 400},          {"/api/search?q=a&limit=0", 400},
      {"/api/search?q=a&limit=501", 400}, {"/api/search?q=a&limit=x", 400}, {"/api/elements/NO-SUCH/path", 404},
      {"/api/elements/NO-SUCH/diagrams", 404}, {"/api/elements/BLK-PUMP/path?metaguid=NO-SUCH", 422},
  };
  for (const Case& c : cases) {
    auto e = Client().Get(c.path);
    ASSERT_TRUE(e) << c.path;
    EXPECT_EQ(e->status, c.status) << c.path;
  }
}

TEST_F(ServeTest, StandaloneSvgRendersOutsideTheServer) {
  auto r = Client().Post("/api/diagrams/DIA-LINKS/svg?refresh=true&standalone=true",
                         R"([{"objID": "BLK-VALVE", "relInfo": {"note": "x"}}])", "application/json");
  ASSERT_TRUE(r);
  ASSERT_EQ(r->status, 200);
  EXPECT_EQ(r->body.find("\"ERIcon.gif\""), std::string::npos);
  EXPECT_NE(r->body.find("\"data:image/gif;base64,R0lGODlh"), std::string::npos);
  EXPECT_EQ(r->get_header_value("Content-Disposition"), "attachment; filename=\"DIA-LINKS.svg\"");
  std::string svg = base_ + "/export.svg", png = base_ + "/export.png";
  WriteFile(svg, r->body);
  ASSERT_EQ(std::system(("rsvg-convert -o '" + png + "' '" + svg + "'").c_str()), 0);
  struct stat info {};
  ASSERT_EQ(stat(png.c_str(), &info), 0);
  EXPECT_GT(info.st_size, 100);
  auto get = Client().Get("/api/diagrams/DIA-LINKS/svg?standalone=true");
  ASSERT_TRUE(get);
  EXPECT_EQ(get->status, 200);
}

TEST_F(ServeTest, MetricsInThePrometheusFormat) {
  Client().Get("/api/elements/BLK-PUMP/links");
  auto r = Client().Get("/metrics");
  ASSERT_TRUE(r);
  ASSERT_EQ(r->status, 200);
  EXPECT_EQ(r->get_header_value("Content-Type"), "text/plain; version=0.0.4");
  for (const char* family : {"# TYPE orv_http_requests_total counter\n", "# TYPE orv_http_request_seconds histogram\n",
                             "# TYPE orv_agent_calls_total counter\n", "# TYPE orv_agent_call_seconds histogram\n",
                             "# TYPE orv_agent_host_operations_total counter\n", "# TYPE orv_model_version gauge\n",
                             "# TYPE orv_model_entities gauge\n", "# TYPE orv_event_clients gauge\n",
                             "# TYPE process_resident_memory_bytes gauge\n",
                             "orv_agent_calls_total{agent=\"GetNativeLinkInformation\",outcome=\"answered\"} ",
                             "orv_http_requests_total{route=\"/api/elements/{guid}/links\",status=\"200\"} ",
                             "orv_model_version 1\n"}) {
    EXPECT_NE(r->body.find(family), std::string::npos) << family;
  }
  // Every line is a comment or "name{labels} value".
  std::istringstream lines(r->body);
  std::string line;
  std::regex sample(R"(^[a-z_]+(\{[a-z_]+="[^"]*"(,[a-z_]+="[^"]*")*\})? [0-9.e+-]+$)");
  while (std::getline(lines, line)) {
    if (line.rfind("# ", 0) == 0) continue;
    EXPECT_TRUE(std::regex_match(line, sample)) << line;
  }
}

TEST_F(ServeTest, ACutOffNamesItsLimit) {
  auto r = Client().Get("/api/elements/PAGE-INCOMPLETE/page");
  ASSERT_TRUE(r);
  EXPECT_EQ(r->status, 504);
  Json body = Json::parse(r->body);
  EXPECT_EQ(body["limit"], "time");
}

TEST(ServeBudget, AnOperationBudgetCutOffNamesItsLimit) {
  ServerProcess server({kModel, "--port", "0", "--timeout", "0", "--max-operations", "5000"});
  int port = server.Port();
  ASSERT_NE(port, 0) << server.Stderr();
  CheckedClient client(port);
  auto r = client.Get("/api/elements/PAGE-INCOMPLETE/page");
  ASSERT_TRUE(r);
  EXPECT_EQ(r->status, 504);
  EXPECT_EQ(r->body,
            R"({"error":"agent GetPropertyPageControls used up its budget of 5000 host operations and was stopped",)"
            R"("limit":"operations"})");
  // The server goes on.
  r = client.Get("/api/elements/BLK-PUMP/links");
  ASSERT_TRUE(r);
  EXPECT_EQ(r->status, 200);
}

TEST(ServeCors, OnlyTheNamedOriginsGetCorsHeaders) {
  ServerProcess server({kModel, "--port", "0", "--cors", "http://a.example", "--cors", "http://b.example"});
  int port = server.Port();
  ASSERT_NE(port, 0) << server.Stderr();
  CheckedClient client(port);
  auto r = client.Get("/api/explorer/children", {{"Origin", "http://b.example"}});
  ASSERT_TRUE(r);
  EXPECT_EQ(r->get_header_value("Access-Control-Allow-Origin"), "http://b.example");
  EXPECT_EQ(r->get_header_value("Vary"), "Origin");
  EXPECT_EQ(r->get_header_value("Access-Control-Expose-Headers"), "ETag, X-Answer-Format, Allow");
  r = client.Options("/api/diagrams/DIA-REQ/svg", {{"Origin", "http://a.example"},
                                                   {"Access-Control-Request-Method", "POST"}});
  ASSERT_TRUE(r);
  EXPECT_EQ(r->status, 204);
  EXPECT_EQ(r->get_header_value("Access-Control-Allow-Methods"), "GET, HEAD, POST, OPTIONS");
  EXPECT_EQ(r->get_header_value("Access-Control-Allow-Headers"), "Content-Type, If-None-Match");
  EXPECT_EQ(r->get_header_value("Access-Control-Max-Age"), "600");
  r = client.Get("/api/explorer/children", {{"Origin", "http://c.example"}});
  ASSERT_TRUE(r);
  EXPECT_EQ(r->get_header_value("Access-Control-Allow-Origin"), "");
  server.Signal(SIGTERM);
  EXPECT_EQ(server.WaitForExit(20), 0);
}

TEST(ServePort, ASecondServerOnABusyPortExitsWith2) {
  ServerProcess first({kModel, "--port", "0"});
  int port = first.Port();
  ASSERT_NE(port, 0) << first.Stderr();
  auto r = RunHost("serve examples/model.json --port " + std::to_string(port));
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(r.err, "orv-host serve: cannot listen on 127.0.0.1 port " + std::to_string(port) +
                       ": the port is in use\n");
  first.Signal(SIGTERM);
  EXPECT_EQ(first.WaitForExit(20), 0);
}

// Reads the event stream until `text` arrives or `seconds` pass.
bool StreamShows(int port, const std::string& text, double seconds, std::string& seen) {
  int fd = socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(static_cast<uint16_t>(port));
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  if (connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) return false;
  std::string request = "GET /api/events HTTP/1.1\r\nHost: x\r\n\r\n";
  send(fd, request.data(), request.size(), MSG_NOSIGNAL);
  auto end = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
  while (seen.find(text) == std::string::npos && std::chrono::steady_clock::now() < end) {
    pollfd p{fd, POLLIN, 0};
    if (poll(&p, 1, 50) <= 0) continue;
    char buffer[1024];
    ssize_t n = recv(fd, buffer, sizeof buffer, 0);
    if (n <= 0) break;
    seen.append(buffer, static_cast<std::size_t>(n));
  }
  close(fd);
  return seen.find(text) != std::string::npos;
}

TEST(ServeWatch, AChangedModelIsReloadedAndAnnounced) {
  char dir[] = "/tmp/orv-watch-XXXXXX";
  std::string folder = mkdtemp(dir), model = folder + "/model.json";
  std::ifstream in(std::string(ORV_SOURCE_DIR) + "/examples/model.json", std::ios::binary);
  std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  WriteFile(model, text);
  ServerProcess server({model, "--port", "0", "--watch"});
  int port = server.Port();
  ASSERT_NE(port, 0) << server.Stderr();
  std::string seen;
  auto edit = std::async(std::launch::async, [&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    std::string changed = text;
    changed.replace(changed.find("\"name\": \"Pump\""), 14, "\"name\": \"Main pump\"");
    WriteFile(model, changed);
  });
  EXPECT_TRUE(StreamShows(port, "event: model-changed\nid: 2\ndata: {\"version\":2}\n\n", 2.3, seen)) << seen;
  edit.get();
  EXPECT_EQ(seen.find("event: hello\nid: 1\ndata: {\"version\":1}\n\n") != std::string::npos, true) << seen;
  CheckedClient client(port);
  auto r = client.Get("/api/explorer/children?node=PKG-STRUCT");
  ASSERT_TRUE(r);
  EXPECT_NE(r->body.find("Main pump"), std::string::npos);
  // A broken file keeps the old model and says where it breaks.
  seen.clear();
  auto breakIt = std::async(std::launch::async, [&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    WriteFile(model, "{\n  \"format\": \n");
  });
  EXPECT_TRUE(StreamShows(port, "event: model-error\nid: 2\ndata: {\"error\":\"" + model + ":3:1: ", 2.3, seen))
      << seen;
  breakIt.get();
  r = client.Get("/api/explorer/children?node=PKG-STRUCT");
  ASSERT_TRUE(r);
  EXPECT_NE(r->body.find("Main pump"), std::string::npos);
  EXPECT_NE(server.Stderr().find("keeping the model loaded before"), std::string::npos);
  server.Signal(SIGTERM);
  EXPECT_EQ(server.WaitForExit(20), 0) << server.Stderr();
  std::system(("rm -rf '" + folder + "'").c_str());
}

TEST(ServeDefaults, BindsLoopbackOnlyAndServesTheBundledClient) {
  ServerProcess server({kModel, "--port", "0"});
  int port = server.Port();
  ASSERT_NE(port, 0) << server.Stderr();
  EXPECT_EQ(server.Url().rfind("http://127.0.0.1:", 0), 0u);
  char expected[16];
  std::snprintf(expected, sizeof expected, "0100007F:%04X", port);  // 127.0.0.1 as /proc writes it
  EXPECT_EQ(ListeningAddresses(port), std::vector<std::string>{expected});
  // The client files beside the build (share/orvserver/web): the source's web/.
  httplib::Client client("127.0.0.1", port);
  client.set_read_timeout(30);
  auto r = client.Get("/");
  ASSERT_TRUE(r);
  EXPECT_EQ(r->status, 200);
  EXPECT_EQ(r->body, orvtest::ReadFile(std::string(ORV_SOURCE_DIR) + "/web/index.html"));
  // The icon the annotated SVG names (xlink:href="ERIcon.gif", relative to
  // the page): a file of the client, a 16 x 16 GIF.
  r = client.Get("/ERIcon.gif");
  ASSERT_TRUE(r);
  EXPECT_EQ(r->status, 200);
  EXPECT_EQ(r->get_header_value("Content-Type"), "image/gif");
  EXPECT_EQ(r->body, orvtest::ReadFile(std::string(ORV_SOURCE_DIR) + "/web/ERIcon.gif"));
  ASSERT_GT(r->body.size(), 13u);
  EXPECT_EQ(r->body.substr(0, 10), std::string("GIF89a\x10\x00\x10\x00", 10));
  EXPECT_EQ(r->body.back(), '\x3b');
  server.Signal(SIGINT);
  EXPECT_EQ(server.WaitForExit(20), 0) << server.Stderr();
}

TEST(ServeDefaults, SigtermMidRequestExitsCleanly) {
  ServerProcess server({kModel, "--port", "0", "--timeout", "3"});
  int port = server.Port();
  ASSERT_NE(port, 0) << server.Stderr();
  auto stuck = std::async(std::launch::async, [port] {
    httplib::Client client("127.0.0.1", port);
    client.set_read_timeout(30);
    return client.Get("/api/elements/PAGE-INCOMPLETE/page");
  });
  std::this_thread::sleep_for(std::chrono::milliseconds(1000));  // well inside the agent call
  server.Signal(SIGTERM);
  // The request under way is answered (stopped by its budget), then the
  // server exits: plug-in unloaded, model freed, status 0.
  auto r = stuck.get();
  ASSERT_TRUE(r);
  EXPECT_EQ(r->status, 504);
  EXPECT_EQ(server.WaitForExit(20), 0) << server.Stderr();
  EXPECT_NE(server.Stderr().find("orv-host serve: stopped\n"), std::string::npos) << server.Stderr();
}

TEST(ServeUsage, BadArgumentsAreNamedWithANonZeroStatus) {
  struct Case {
    const char* arguments;
    int status;
    const char* err;
  } cases[] = {
      {"serve", 1, "orv-host serve: expected a model file\n(see orv-host serve --help)\n"},
      {"serve examples/model.json --port 70000", 1,
       "orv-host serve: --port expects a whole number from 0 to 65535, got '70000'\n(see orv-host serve --help)\n"},
      {"serve examples/model.json --port", 1, "orv-host serve: --port needs a value\n(see orv-host serve --help)\n"},
      {"serve examples/model.json --timeout soon", 1,
       "orv-host serve: --timeout expects seconds from 0 to 1000000, got 'soon'\n(see orv-host serve --help)\n"},
      {"serve examples/model.json --bogus 1", 1, "orv-host serve: unknown option --bogus\n(see orv-host serve --help)\n"},
      {"serve examples/model.json other.json", 1,
       "orv-host serve: unexpected argument 'other.json'\n(see orv-host serve --help)\n"},
      {"serve tests/data/no-such-model.json", 2,
       "orv-host serve: tests/data/no-such-model.json: cannot open: No such file or directory\n"},
      {"serve examples/model.json --web /nonexistent-web-dir", 2,
       "orv-host serve: /nonexistent-web-dir: no such directory\n"},
      {"serve examples/model.json --bind 999.1.1.1 --port 0", 2,
       "orv-host serve: cannot listen on 999.1.1.1 port 0\n"},
  };
  for (const Case& c : cases) {
    auto r = RunHost(c.arguments);
    EXPECT_EQ(r.status, c.status) << c.arguments;
    EXPECT_EQ(r.err, c.err) << c.arguments;
  }
  auto r = RunHost("serve --help");
  EXPECT_EQ(r.status, 0);
  EXPECT_NE(r.out.find("usage: orv-host serve MODEL [options]"), std::string::npos);
}

}  // namespace
