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
#include <string>

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

// One server for most tests, with a short deadline so that the page whose
// walk never ends is answered quickly, and a web directory made here (with
// links into it and out of it).
class ServeTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    char dir[] = "/tmp/orv-serve-test-XXXXXX";
    base_ = mkdtemp(dir);
    web_ = base_ + "/web";
    mkdir(web_.c_str(), 0755);
    mkdir((web_ + "/sub").c_str(), 0755);
    WriteFile(web_ + "/index.html", "<!doctype html><title>client</title>\n");
    WriteFile(web_ + "/app.js", "console.log('client');\n");
    WriteFile(web_ + "/sub/index.html", "sub index\n");
    WriteFile(base_ + "/secret.txt", "outside the web directory\n");
    mkdir((base_ + "/outside").c_str(), 0755);
    WriteFile(base_ + "/outside/index.html", "outside index\n");
    symlink((base_ + "/secret.txt").c_str(), (web_ + "/leak.txt").c_str());
    symlink((base_ + "/outside").c_str(), (web_ + "/leakdir").c_str());
    symlink("app.js", (web_ + "/alias.js").c_str());
    server_ = new ServerProcess({kModel, "--port", "0", "--timeout", "3", "--web", web_});
    url_ = server_->Url();
    port_ = server_->Port();
  }
  static void TearDownTestSuite() {
    // After every test's requests it still stops cleanly (and, in the
    // sanitizer builds, with no report: those make the exit status non-zero).
    server_->Signal(SIGTERM);
    EXPECT_EQ(server_->WaitForExit(30), 0) << server_->Stderr();
    delete server_;
    server_ = nullptr;
    std::system(("rm -rf '" + base_ + "'").c_str());
  }
  void SetUp() override { ASSERT_NE(port_, 0) << "the server printed no URL:\n" << server_->Stderr(); }

  static httplib::Client Client() {
    httplib::Client client("127.0.0.1", port_);
    client.set_connection_timeout(5);
    client.set_read_timeout(30);
    client.set_write_timeout(30);
    return client;
  }

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

TEST_F(ServeTest, AnElementWithoutLinksAnswersAnEmptyBody) {
  auto r = Client().Get("/api/elements/BLK-STATION/links");
  ASSERT_TRUE(r);
  EXPECT_EQ(r->status, 200);
  EXPECT_EQ(r->body, "");
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
      {"/sub/..", 403},
      {"/./app.js", 200},
      {"/sub/%2e%2e/app.js", 403},
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
      {"", "the body is no JSON text"},
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
      {"GET", "/api/agents/GetNativeLinkInformation", "", "unknown route GET /api/agents/GetNativeLinkInformation"},
      {"DELETE", "/api/elements/BLK-PUMP/links", "", "unknown route DELETE /api/elements/BLK-PUMP/links"},
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
  std::string body(20u << 20, ' ');  // 20 MiB
  auto r = Client().Post("/api/agents/GetNativeLinkInformation", body, "application/json");
  ASSERT_TRUE(r);
  EXPECT_EQ(r->status, 413);
  EXPECT_EQ(ErrorOf(r), "the body is larger than the server accepts");
  // The server goes on.
  r = Client().Get("/api/elements/BLK-STATION/links");
  ASSERT_TRUE(r);
  EXPECT_EQ(r->status, 200);
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
  EXPECT_EQ(links->status, 200);
  auto r = stuck.get();
  ASSERT_TRUE(r);
  EXPECT_EQ(r->status, 504);
  EXPECT_EQ(ErrorOf(r).rfind("agent GetPropertyPageControls did not finish within its budget (3 s, ", 0), 0u)
      << ErrorOf(r);
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
