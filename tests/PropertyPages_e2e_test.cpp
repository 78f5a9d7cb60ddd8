// Property pages end to end: both page agents of the real plug-in, loaded
// with dlopen, on the pages of the example model, and the command-line tool
// on a page whose walk does not end.
//
// The same pages go through both routes, so the answers side by side show
// how they differ: TransformControlInfoToJason answers in parameter 1 with
// the encoder's pretty, escaped JSON, nested by "children", keyed
// "controlKind", reading the argument value; GetPropertyPageControls answers
// in parameter 2 with one hand-written line, flat, keyed "kind", reading the
// argument 'value', nothing escaped.
//
// Every expected text is written by hand from those rules.
#include <gtest/gtest.h>

#include <initializer_list>
#include <string>
#include <vector>

#include "tests/CliSupport.h"
#include "tests/E2eSupport.h"

namespace {

using qmemu::HostMonitor;

const char kModel[] = "examples/model.json";
const char kInternalError[] = "Internal error (GetPropertyPageControls).";

// Lines joined by the encoder's line end.
std::string Lines(std::initializer_list<const char*> lines) {
  std::string text;
  for (const char* line : lines) {
    if (!text.empty()) text += "\r\n";
    text += line;
  }
  return text;
}

class PropertyPagesTest : public ::testing::Test {
 protected:
  void SetUp() override {
    HostMonitor::Instance().Reset();
    session = orvtest::OpenSessionFile(kModel);
    ASSERT_NE(session, nullptr);
  }
  void TearDown() override { HostMonitor::Instance().Reset(); }

  // TransformControlInfoToJason on `guid`: parameter 1 afterwards.
  std::string Transform(const std::string& guid) {
    qmemu::AgentRun run = orvtest::Run(*session, "TransformControlInfoToJason", guid, {""});
    return run.parameters.empty() ? "<no parameters>" : run.parameters[0];
  }
  // GetPropertyPageControls for `guid`, run on the model's root.
  qmemu::AgentRun Controls(const std::string& guid) {
    return orvtest::Run(*session, "GetPropertyPageControls", "", {guid, "", ""});
  }

  std::unique_ptr<qmemu::Session> session;
};

// ---- the example's pages through both routes ----

TEST_F(PropertyPagesTest, PumpEditBoxAndEntityList) {
  EXPECT_EQ(Transform("BLK-PUMP"),
            Lines({"[ ",
                   "    { ",
                   "        \"control\" : ",
                   "            { ",
                   "                \"controlKind\" : \"EditBox\", ",
                   "                \"text\" : \"Name\", ",
                   "                \"value\" : \"Pump\"",
                   "            }, ",
                   "        \"children\" : ",
                   "            [ ",
                   "            ]",
                   "    }, ",
                   "    { ",
                   "        \"control\" : ",
                   "            { ",
                   "                \"controlKind\" : \"EntityList\", ",
                   "                \"text\" : \"Owners\", ",
                   "                \"value\" : ",
                   "                    [ ",
                   "                        \"a\", ",
                   "                        \"b\"",
                   "                    ]",
                   "            }, ",
                   "        \"children\" : ",
                   "            [ ",
                   "            ]",
                   "    }",
                   "]"}));
  qmemu::AgentRun run = Controls("BLK-PUMP");
  EXPECT_EQ(run.parameters,
            (std::vector<std::string>{"BLK-PUMP",
                                      "[{\"kind\" : \"EditBox\", \"text\" : \"Name\", \"value\" : \"Pump\"}, "
                                      "{\"kind\" : \"EntityList\", \"text\" : \"Owners\", \"value\" : [\"a\", \"b\"]}]",
                                      ""}));
}

TEST_F(PropertyPagesTest, StationNestsItsChildrenOnlyInTheTransformedRoute) {
  EXPECT_EQ(Transform("BLK-STATION"),
            Lines({"[ ",
                   "    { ",
                   "        \"control\" : ",
                   "            { ",
                   "                \"controlKind\" : \"EditBox\", ",
                   "                \"text\" : \"Name\", ",
                   "                \"value\" : \"Station\"",
                   "            }, ",
                   "        \"children\" : ",
                   "            [ ",
                   "                { ",
                   "                    \"control\" : ",
                   "                        { ",
                   "                            \"controlKind\" : \"EditBox\", ",
                   "                            \"text\" : \"Site\", ",
                   "                            \"value\" : \"North basin\"",
                   "                        }, ",
                   "                    \"children\" : ",
                   "                        [ ",
                   "                            { ",
                   "                                \"control\" : ",
                   "                                    { ",
                   "                                        \"controlKind\" : \"CheckBox\", ",
                   "                                        \"text\" : \"Manned\", ",
                   "                                        \"value\" : \"false\"",
                   "                                    }, ",
                   "                                \"children\" : ",
                   "                                    [ ",
                   "                                    ]",
                   "                            }",
                   "                        ]",
                   "                }",
                   "            ]",
                   "    }",
                   "]"}));
  EXPECT_EQ(Controls("BLK-STATION").parameters[1],
            "[{\"kind\" : \"EditBox\", \"text\" : \"Name\", \"value\" : \"Station\"}]");
}

TEST_F(PropertyPagesTest, AQuoteInALabelIsEscapedOnlyInTheTransformedRoute) {
  EXPECT_EQ(Transform("REQ-003"),
            Lines({"[ ",
                   "    { ",
                   "        \"control\" : ",
                   "            { ",
                   "                \"controlKind\" : \"EditBox\", ",
                   "                \"text\" : \"Message \\\"FAULT\\\" shown after\", ",
                   "                \"value\" : \"1 s\"",
                   "            }, ",
                   "        \"children\" : ",
                   "            [ ",
                   "            ]",
                   "    }",
                   "]"}));
  EXPECT_EQ(Controls("REQ-003").parameters[1],
            "[{\"kind\" : \"EditBox\", \"text\" : \"Message \"FAULT\" shown after\", \"value\" : \"1 s\"}]");
}

TEST_F(PropertyPagesTest, TestCaseEntityListOfNames) {
  EXPECT_EQ(Transform("TC-FLOW"),
            Lines({"[ ",
                   "    { ",
                   "        \"control\" : ",
                   "            { ",
                   "                \"controlKind\" : \"EntityList\", ",
                   "                \"text\" : \"Verifies\", ",
                   "                \"value\" : ",
                   "                    [ ",
                   "                        \"Flow_requirement\", ",
                   "                        \"Outlet_flow\"",
                   "                    ]",
                   "            }, ",
                   "        \"children\" : ",
                   "            [ ",
                   "            ]",
                   "    }",
                   "]"}));
  EXPECT_EQ(Controls("TC-FLOW").parameters[1],
            "[{\"kind\" : \"EntityList\", \"text\" : \"Verifies\", \"value\" : [\"Flow_requirement\", \"Outlet_flow\"]}]");
}

// The valve's page has nested children, a label with quotes, a tab and a
// line feed, an entity list of a string and a name, an entity list whose
// value does not parse, and a value written as a name.
TEST_F(PropertyPagesTest, ValvePageShowsEveryDifferenceOfTheTwoRoutes) {
  EXPECT_EQ(Transform("PAGE-VALVE"),
            Lines({"[ ",
                   "    { ",
                   "        \"control\" : ",
                   "            { ",
                   "                \"controlKind\" : \"EditBox\", ",
                   "                \"text\" : \"Name\", ",
                   "                \"value\" : \"Valve V-1\"",
                   "            }, ",
                   "        \"children\" : ",
                   "            [ ",
                   "                { ",
                   "                    \"control\" : ",
                   "                        { ",
                   "                            \"controlKind\" : \"CheckBox\", ",
                   "                            \"text\" : \"Normally open\", ",
                   "                            \"value\" : \"true\"",
                   "                        }, ",
                   "                    \"children\" : ",
                   "                        [ ",
                   "                        ]",
                   "                }",
                   "            ]",
                   "    }, ",
                   "    { ",
                   "        \"control\" : ",
                   "            { ",
                   "                \"controlKind\" : \"Label\", ",
                   "                \"text\" : \"Alarm \\\"HIGH\\\"\\u0009at 4 bar\", ",
                   "                \"value\" : \"Check seals\\nthen reset\"",
                   "            }",
                   "    }, ",
                   "    { ",
                   "        \"control\" : ",
                   "            { ",
                   "                \"controlKind\" : \"EntityList\", ",
                   "                \"text\" : \"Connected pipes\", ",
                   "                \"value\" : ",
                   "                    [ ",
                   "                        \"Inlet A\", ",
                   "                        \"Outlet_B\"",
                   "                    ]",
                   "            }, ",
                   "        \"children\" : ",
                   "            [ ",
                   "            ]",
                   "    }, ",
                   "    { ",
                   "        \"control\" : ",
                   "            { ",
                   "                \"controlKind\" : \"EntityList\", ",
                   "                \"text\" : \"Spares\", ",
                   "                \"value\" : \"{a, (. .)}\"",
                   "            }",
                   "    }, ",
                   "    { ",
                   "        \"control\" : ",
                   "            { ",
                   "                \"controlKind\" : \"ComboBox\", ",
                   "                \"text\" : \"Mode\", ",
                   "                \"value\" : \"auto\"",
                   "            }",
                   "    }",
                   "]"}));
  EXPECT_EQ(Controls("PAGE-VALVE").parameters[1],
            "[{\"kind\" : \"EditBox\", \"text\" : \"Name\", \"value\" : \"Valve V-1\"}, "
            "{\"kind\" : \"Label\", \"text\" : \"Alarm \"HIGH\"\tat 4 bar\", \"value\" : \"Check seals\nthen reset\"}, "
            "{\"kind\" : \"EntityList\", \"text\" : \"Connected pipes\", \"value\" : [\"Inlet A\", \"Outlet_B\"]}, "
            "{\"kind\" : \"EntityList\", \"text\" : \"Spares\", \"value\" : []}, "
            "{\"kind\" : \"ComboBox\", \"text\" : \"Mode\", \"value\" : \"auto\"}]");
}

TEST_F(PropertyPagesTest, AnEntityWithoutAPageGetsTheHostsDefaultPage) {
  EXPECT_EQ(Transform("PAGE-GAUGE"),
            Lines({"[ ",
                   "    { ",
                   "        \"control\" : ",
                   "            { ",
                   "                \"controlKind\" : \"EditBox\", ",
                   "                \"text\" : \"Name\", ",
                   "                \"value\" : \"Gauge \\\"G-1\\\"\"",
                   "            }, ",
                   "        \"children\" : ",
                   "            [ ",
                   "            ]",
                   "    }",
                   "]"}));
  EXPECT_EQ(Controls("PAGE-GAUGE").parameters[1],
            "[{\"kind\" : \"EditBox\", \"text\" : \"Name\", \"value\" : \"Gauge \"G-1\"\"}]");
}

TEST_F(PropertyPagesTest, APageThatDoesNotParseKeepsItsTextOrIsAnInvalidControlString) {
  const std::string page = "{ ControlInfo(. control = EditBox(. text = \"Flow\", 'value' = 12 .) .) }";
  EXPECT_EQ(Transform("PAGE-INVALID"), page);
  EXPECT_EQ(Controls("PAGE-INVALID").parameters,
            (std::vector<std::string>{"PAGE-INVALID", "", "Invalid control string."}));
}

// The page names its argument value without quotes: the transformed route
// reads it, the host's route finds no 'value' and stays on the item until
// the injected fault stops it.
TEST_F(PropertyPagesTest, AnUnquotedValueIsReadByOneRouteAndNeverEndsTheOther) {
  EXPECT_EQ(Transform("PAGE-INCOMPLETE"),
            Lines({"[ ",
                   "    { ",
                   "        \"control\" : ",
                   "            { ",
                   "                \"controlKind\" : \"EditBox\", ",
                   "                \"text\" : \"Setpoint\", ",
                   "                \"value\" : \"4 bar\"",
                   "            }, ",
                   "        \"children\" : ",
                   "            [ ",
                   "            ]",
                   "    }",
                   "]"}));
  HostMonitor::Instance().Reset();
  HostMonitor::Instance().FailAt(20000);
  HostMonitor::Instance().LimitCalls(200000);
  qmemu::AgentRun run = Controls("PAGE-INCOMPLETE");
  EXPECT_EQ(run.parameters, (std::vector<std::string>{"PAGE-INCOMPLETE", "", kInternalError}));
  EXPECT_GT(HostMonitor::Instance().Count("GetArgument"), 1000u);
}

TEST_F(PropertyPagesTest, EachRouteWritesItsOwnParameter) {
  qmemu::AgentRun transform = orvtest::Run(*session, "TransformControlInfoToJason", "PAGE-GAUGE", {"", "kept"});
  ASSERT_EQ(transform.parameters.size(), 2u);
  EXPECT_EQ(transform.parameters[1], "kept");
  qmemu::AgentRun controls = orvtest::Run(*session, "GetPropertyPageControls", "", {"PAGE-GAUGE", "old", "kept"});
  EXPECT_EQ(controls.parameters[0], "PAGE-GAUGE");
  EXPECT_EQ(controls.parameters[2], "kept");
}

TEST_F(PropertyPagesTest, TheMessagesOfThePageControlsAgent) {
  EXPECT_EQ(Controls("NO-SUCH-GUID").parameters,
            (std::vector<std::string>{"NO-SUCH-GUID", "", "Failed to find entity with specified GUID."}));
  // A model without the host's page agent.
  auto bare = orvtest::OpenSessionText(
      R"({"omit": ["@VELExtensionManagement@GetPropertyEditorPage"], "root": {"children": [
           {"guid": "B", "meta": "Block", "name": "B"}]}})");
  ASSERT_NE(bare, nullptr);
  qmemu::AgentRun run = orvtest::Run(*bare, "GetPropertyPageControls", "", {"B", "", ""});
  EXPECT_EQ(run.parameters, (std::vector<std::string>{"B", "", "Failed to find GetPropertyEditorPage agent"}));
  // The transformed route says nothing and leaves its parameter alone.
  run = orvtest::Run(*bare, "TransformControlInfoToJason", "B", {"kept"});
  EXPECT_EQ(run.parameters, std::vector<std::string>{"kept"});
}

TEST_F(PropertyPagesTest, RefusedParametersAreReportedByTheHost) {
  qmemu::AgentRun run = orvtest::Run(*session, "GetPropertyPageControls", "", {"BLK-PUMP", ""});
  EXPECT_EQ(run.parameters, (std::vector<std::string>{"BLK-PUMP", ""}));
  EXPECT_EQ(run.messages,
            std::vector<std::string>{"@OrvServer@GetPropertyPageControls: expected 3 parameters, got 2"});
}

// A fault in each host operation in turn, through the loaded plug-in.
TEST_F(PropertyPagesTest, FaultsInEveryHostOperationOfBothAgents) {
  const std::string page = "{ ControlInfo(. control = EditBox(. text = \"Name\", 'value' = \"Gauge \\\"G-1\\\"\" .), "
                           "children = { } .) }";
  std::uint64_t n = 1;
  for (;; ++n) {
    ASSERT_LT(n, 100u);
    HostMonitor::Instance().Reset();
    HostMonitor::Instance().FailAt(n);
    std::string text = Transform("PAGE-GAUGE");
    if (HostMonitor::Instance().Count() < n) {
      EXPECT_EQ(text.rfind("[ \r\n", 0), 0u);
      break;
    }
    EXPECT_TRUE(text == "" || text == page) << "fault at operation " << n << ": " << text;
  }
  EXPECT_EQ(n, 6u);  // GetModel, FindEntity, InvokeAgent, GetString, Set
  for (n = 1;; ++n) {
    ASSERT_LT(n, 100u);
    HostMonitor::Instance().Reset();
    HostMonitor::Instance().FailAt(n);
    qmemu::AgentRun run = orvtest::Run(*session, "GetPropertyPageControls", "", {"PAGE-GAUGE", "before", ""});
    if (HostMonitor::Instance().Count() < n) {
      EXPECT_EQ(run.parameters[1], "[{\"kind\" : \"EditBox\", \"text\" : \"Name\", \"value\" : \"Gauge \"G-1\"\"}]");
      EXPECT_EQ(run.parameters[2], "");
      break;
    }
    EXPECT_EQ(run.parameters[1], "before") << "fault at operation " << n;
    EXPECT_EQ(run.parameters[2], kInternalError) << "fault at operation " << n;
  }
  EXPECT_EQ(n, 12u + 3u + 13u + 1u + 1u);
}

// ---- the command-line tool ----

TEST(PropertyPagesCli, PrintsBothAnswers) {
  auto r = orvtest::RunHost("--print 2 examples/model.json GetPropertyPageControls BLK-PUMP '' ''");
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, "[{\"kind\" : \"EditBox\", \"text\" : \"Name\", \"value\" : \"Pump\"}, "
                   "{\"kind\" : \"EntityList\", \"text\" : \"Owners\", \"value\" : [\"a\", \"b\"]}]");
  r = orvtest::RunHost("--print 1 --context PAGE-GAUGE examples/model.json TransformControlInfoToJason ''");
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out.rfind("[ \r\n    { \r\n        \"control\" : \r\n", 0), 0u) << r.out;
}

TEST(PropertyPagesCli, APageWhoseWalkNeverEndsIsStoppedByTheTimeLimit) {
  auto r = orvtest::RunHost("--timeout 2 tests/data/incomplete-page.json GetPropertyPageControls SWITCH '' ''");
  EXPECT_EQ(r.status, 4);
  EXPECT_EQ(r.err, "orv-host: agent GetPropertyPageControls did not finish within its deadline of 2 s and was stopped\n");
  // The host stopped the call through its host operations; the agent's
  // catch-all ended it by its failure rule.
  EXPECT_EQ(r.out, "parameter 1:\nSWITCH\nparameter 2:\n\nparameter 3:\nInternal error (GetPropertyPageControls).\n");
}

}  // namespace
