// GetNativeLinkInformation end to end: the real plug-in, loaded with dlopen,
// on the bundled example model and through the command-line tool. Expected
// texts are written by hand from the model file and the encoder's layout.
#include <gtest/gtest.h>

#include <cstdint>
#include <initializer_list>
#include <string>

#include "tests/CliSupport.h"
#include "testing/HostFaults.h"
#include "tests/E2eSupport.h"

namespace {

// Lines joined by "\r\n", none after the last.
std::string Lines(std::initializer_list<const char*> lines) {
  std::string text;
  bool first = true;
  for (const char* line : lines) {
    if (!first) text += "\r\n";
    text += line;
    first = false;
  }
  return text;
}

class LinkInformationE2eTest : public ::testing::Test {
 protected:
  void SetUp() override {
    qmemu::HostMonitor::Instance().Reset();
    session = orvtest::OpenSessionFile("examples/model.json");
    ASSERT_NE(session, nullptr);
  }
  void TearDown() override { qmemu::HostMonitor::Instance().Reset(); }

  // The text that the agent leaves in its second parameter for `guid`.
  std::string LinksOf(const std::string& guid) {
    qmemu::AgentRun run = orvtest::Run(*session, "GetNativeLinkInformation", "", {guid, "untouched"});
    EXPECT_EQ(run.parameters.size(), 2u);
    EXPECT_EQ(run.parameters[0], guid);
    return run.parameters.size() == 2 ? run.parameters[1] : "<no second parameter>";
  }

  std::unique_ptr<qmemu::Session> session;
};

TEST_F(LinkInformationE2eTest, PumpHasAllFourKinds) {
  EXPECT_EQ(LinksOf("BLK-PUMP"), Lines({
                                     "[ ",
                                     "    { ",
                                     "        \"linkTypeId\" : \"ORV_INCOMING_DEPENDENCIES\", ",
                                     "        \"links\" : ",
                                     "            [ ",
                                     "                { ",
                                     "                    \"linkedObjectName\" : \"Motor\", ",
                                     "                    \"linkedObjectGuid\" : \"BLK-MOTOR\"",
                                     "                }",
                                     "            ]",
                                     "    }, ",
                                     "    { ",
                                     "        \"linkTypeId\" : \"ORV_OUTGOING_DEPENDENCIES\", ",
                                     "        \"links\" : ",
                                     "            [ ",
                                     "                { ",
                                     "                    \"linkedObjectName\" : \"Deliver 40 l/s at 3 bar\", ",
                                     "                    \"linkedObjectGuid\" : \"REQ-001\"",
                                     "                }",
                                     "            ]",
                                     "    }, ",
                                     "    { ",
                                     "        \"linkTypeId\" : \"ORV_INCOMING_HYPERLINKS\", ",
                                     "        \"links\" : ",
                                     "            [ ",
                                     "                { ",
                                     "                    \"linkedObjectName\" : \"Controller\", ",
                                     "                    \"linkedObjectGuid\" : \"BLK-CONTROLLER\"",
                                     "                }",
                                     "            ]",
                                     "    }, ",
                                     "    { ",
                                     "        \"linkTypeId\" : \"ORV_OUTGOING_HYPERLINKS\", ",
                                     "        \"links\" : ",
                                     "            [ ",
                                     "                { ",
                                     "                    \"hyperlinkName\" : \"Dry-run requirement\", ",
                                     "                    \"hyperlinkURL\" : \"vorn:qm:REQ-002\"",
                                     "                }, ",
                                     "                { ",
                                     "                    \"hyperlinkName\" : \"Motor data\", ",
                                     "                    \"hyperlinkURL\" : \"vorn:a:b:BLK-MOTOR\"",
                                     "                }, ",
                                     "                { ",
                                     "                    \"hyperlinkName\" : \"\", ",
                                     "                    \"hyperlinkURL\" : \"https://example.org/pumps/p40\"",
                                     "                }",
                                     "            ]",
                                     "    }",
                                     "]",
                                 }));
}

TEST_F(LinkInformationE2eTest, DatasheetHasOnlyIncomingHyperlinksListedOncePerHyperlink) {
  EXPECT_EQ(LinksOf("REQ-007"), Lines({
                                    "[ ",
                                    "    { ",
                                    "        \"linkTypeId\" : \"ORV_INCOMING_HYPERLINKS\", ",
                                    "        \"links\" : ",
                                    "            [ ",
                                    "                { ",
                                    "                    \"linkedObjectName\" : \"Level sensor\", ",
                                    "                    \"linkedObjectGuid\" : \"BLK-SENSOR\"",
                                    "                }, ",
                                    "                { ",
                                    "                    \"linkedObjectName\" : \"Level sensor\", ",
                                    "                    \"linkedObjectGuid\" : \"BLK-SENSOR\"",
                                    "                }",
                                    "            ]",
                                    "    }",
                                    "]",
                                }));
}

TEST_F(LinkInformationE2eTest, SensorsTargetOutsideTheModelIsListedWithEmptyNameAndGuid) {
  // Its satisfy dependency names "vorn:qm:REQ-099", which the model lacks,
  // and has no supplier.
  EXPECT_EQ(LinksOf("BLK-SENSOR"), Lines({
                                       "[ ",
                                       "    { ",
                                       "        \"linkTypeId\" : \"ORV_OUTGOING_DEPENDENCIES\", ",
                                       "        \"links\" : ",
                                       "            [ ",
                                       "                { ",
                                       "                    \"linkedObjectName\" : \"\", ",
                                       "                    \"linkedObjectGuid\" : \"\"",
                                       "                }",
                                       "            ]",
                                       "    }, ",
                                       "    { ",
                                       "        \"linkTypeId\" : \"ORV_OUTGOING_HYPERLINKS\", ",
                                       "        \"links\" : ",
                                       "            [ ",
                                       "                { ",
                                       "                    \"hyperlinkName\" : \"Datasheet\", ",
                                       "                    \"hyperlinkURL\" : \"vorn:qm:REQ-007\"",
                                       "                }, ",
                                       "                { ",
                                       "                    \"hyperlinkName\" : \"\", ",
                                       "                    \"hyperlinkURL\" : \"vorn:docs:sensors:REQ-007\"",
                                       "                }",
                                       "            ]",
                                       "    }",
                                       "]",
                                   }));
}

TEST_F(LinkInformationE2eTest, ControllerNamesWithQuotesAreEscaped) {
  // Outgoing: a plain satisfy, a trace whose target reference names REQ-002,
  // and a satisfy without target reference, which names its supplier, the
  // placeholder. Both external ones are also found by their source
  // reference and listed once.
  EXPECT_EQ(LinksOf("BLK-CONTROLLER"),
            Lines({
                "[ ",
                "    { ",
                "        \"linkTypeId\" : \"ORV_OUTGOING_DEPENDENCIES\", ",
                "        \"links\" : ",
                "            [ ",
                "                { ",
                "                    \"linkedObjectName\" : \"Panel shows \\\"FAULT\\\" within 1 s\", ",
                "                    \"linkedObjectGuid\" : \"REQ-003\"",
                "                }, ",
                "                { ",
                "                    \"linkedObjectName\" : \"Run dry for 30 s without damage\", ",
                "                    \"linkedObjectGuid\" : \"REQ-002\"",
                "                }, ",
                "                { ",
                "                    \"linkedObjectName\" : \"ExternalObject\", ",
                "                    \"linkedObjectGuid\" : \"@Predefined@ExternalObject\"",
                "                }",
                "            ]",
                "    }, ",
                "    { ",
                "        \"linkTypeId\" : \"ORV_OUTGOING_HYPERLINKS\", ",
                "        \"links\" : ",
                "            [ ",
                "                { ",
                "                    \"hyperlinkName\" : \"Driven pump\", ",
                "                    \"hyperlinkURL\" : \"vorn:qm:BLK-PUMP\"",
                "                }, ",
                "                { ",
                "                    \"hyperlinkName\" : \"Panel requirement\", ",
                "                    \"hyperlinkURL\" : \"vorn:a:b:REQ-003\"",
                "                }",
                "            ]",
                "    }",
                "]",
            }));
}

TEST_F(LinkInformationE2eTest, MotorNamesWithATabAreEscaped) {
  EXPECT_EQ(LinksOf("BLK-MOTOR"), Lines({
                                      "[ ",
                                      "    { ",
                                      "        \"linkTypeId\" : \"ORV_OUTGOING_DEPENDENCIES\", ",
                                      "        \"links\" : ",
                                      "            [ ",
                                      "                { ",
                                      "                    \"linkedObjectName\" : \"Pump\", ",
                                      "                    \"linkedObjectGuid\" : \"BLK-PUMP\"",
                                      "                }, ",
                                      "                { ",
                                      "                    \"linkedObjectName\" : \"Noise\\u0009below 70 dB(A)\", ",
                                      "                    \"linkedObjectGuid\" : \"REQ-004\"",
                                      "                }, ",
                                      "                { ",
                                      "                    \"linkedObjectName\" : \"ExternalObject\", ",
                                      "                    \"linkedObjectGuid\" : \"@Predefined@ExternalObject\"",
                                      "                }",
                                      "            ]",
                                      "    }, ",
                                      "    { ",
                                      "        \"linkTypeId\" : \"ORV_INCOMING_HYPERLINKS\", ",
                                      "        \"links\" : ",
                                      "            [ ",
                                      "                { ",
                                      "                    \"linkedObjectName\" : \"Pump\", ",
                                      "                    \"linkedObjectGuid\" : \"BLK-PUMP\"",
                                      "                }",
                                      "            ]",
                                      "    }",
                                      "]",
                                  }));
}

TEST_F(LinkInformationE2eTest, DryRunRequirementListsSuppliersThenTheExternalTrace) {
  // Suppliers in model order: the copy, the trace held by the station on
  // behalf of the pump (named by its owner), the verify; then the trace
  // parked on the placeholder whose target reference names REQ-002, named
  // by its source reference.
  EXPECT_EQ(LinksOf("REQ-002"), Lines({
                                    "[ ",
                                    "    { ",
                                    "        \"linkTypeId\" : \"ORV_INCOMING_DEPENDENCIES\", ",
                                    "        \"links\" : ",
                                    "            [ ",
                                    "                { ",
                                    "                    \"linkedObjectName\" : \"Dry-run protection (supplier copy)\", ",
                                    "                    \"linkedObjectGuid\" : \"REQ-006\"",
                                    "                }, ",
                                    "                { ",
                                    "                    \"linkedObjectName\" : \"Station\", ",
                                    "                    \"linkedObjectGuid\" : \"BLK-STATION\"",
                                    "                }, ",
                                    "                { ",
                                    "                    \"linkedObjectName\" : \"Dry-run test\", ",
                                    "                    \"linkedObjectGuid\" : \"TC-DRY\"",
                                    "                }, ",
                                    "                { ",
                                    "                    \"linkedObjectName\" : \"Controller\", ",
                                    "                    \"linkedObjectGuid\" : \"BLK-CONTROLLER\"",
                                    "                }",
                                    "            ]",
                                    "    }, ",
                                    "    { ",
                                    "        \"linkTypeId\" : \"ORV_INCOMING_HYPERLINKS\", ",
                                    "        \"links\" : ",
                                    "            [ ",
                                    "                { ",
                                    "                    \"linkedObjectName\" : \"Pump\", ",
                                    "                    \"linkedObjectGuid\" : \"BLK-PUMP\"",
                                    "                }",
                                    "            ]",
                                    "    }",
                                    "]",
                                }));
}

TEST_F(LinkInformationE2eTest, PlaceholderListsOnlyTheDependenciesWithoutTargetReference) {
  EXPECT_EQ(LinksOf("@Predefined@ExternalObject"), Lines({
                                                       "[ ",
                                                       "    { ",
                                                       "        \"linkTypeId\" : \"ORV_INCOMING_DEPENDENCIES\", ",
                                                       "        \"links\" : ",
                                                       "            [ ",
                                                       "                { ",
                                                       "                    \"linkedObjectName\" : \"Motor\", ",
                                                       "                    \"linkedObjectGuid\" : \"BLK-MOTOR\"",
                                                       "                }, ",
                                                       "                { ",
                                                       "                    \"linkedObjectName\" : \"Controller\", ",
                                                       "                    \"linkedObjectGuid\" : \"BLK-CONTROLLER\"",
                                                       "                }",
                                                       "            ]",
                                                       "    }",
                                                       "]",
                                                   }));
}

TEST_F(LinkInformationE2eTest, StationsDependencyOnBehalfOfThePumpIsNobodysOutgoingLink) {
  EXPECT_EQ(LinksOf("BLK-STATION"), "");
}

TEST_F(LinkInformationE2eTest, UnknownGuidAndElementWithoutLinksWriteTheEmptyText) {
  EXPECT_EQ(LinksOf("NO-SUCH-GUID"), "");
  EXPECT_EQ(LinksOf("ATT-FLOW"), "");
}

TEST_F(LinkInformationE2eTest, OneOrThreeParametersWriteNothing) {
  qmemu::AgentRun run = orvtest::Run(*session, "GetNativeLinkInformation", "", {"BLK-PUMP"});
  EXPECT_EQ(run.parameters, std::vector<std::string>{"BLK-PUMP"});
  run = orvtest::Run(*session, "GetNativeLinkInformation", "", {"BLK-PUMP", "x", "y"});
  EXPECT_EQ(run.parameters, (std::vector<std::string>{"BLK-PUMP", "x", "y"}));
  EXPECT_TRUE(run.messages.empty());
}

TEST_F(LinkInformationE2eTest, AnyContextEntityGivesTheSameAnswer) {
  const std::string fromRoot = LinksOf("BLK-PUMP");
  qmemu::AgentRun run = orvtest::Run(*session, "GetNativeLinkInformation", "REQ-004", {"BLK-PUMP", ""});
  EXPECT_EQ(run.parameters[1], fromRoot);
}

TEST_F(LinkInformationE2eTest, AFaultAtAnyHostOperationLeavesTheOutputUntouched) {
  // The host prepares the parameters without counted operations, so the
  // count covers the agent alone.
  const std::string full = LinksOf("BLK-PUMP");
  const std::uint64_t operations = qmemu::HostMonitor::Instance().Count();
  ASSERT_GT(operations, 100u);
  qmemu::AgentRun run;
  const std::uint64_t runs = orvtest::SweepHostFaults(
      [&] { run = orvtest::Run(*session, "GetNativeLinkInformation", "", {"BLK-PUMP", "untouched"}); },
      [&](std::uint64_t failedAt) {
        ASSERT_EQ(run.parameters.size(), 2u);
        EXPECT_EQ(run.parameters[1], failedAt != 0 ? std::string("untouched") : full)
            << "fault at operation " << failedAt;
      });
  EXPECT_EQ(runs, operations + 1);
}

TEST(LinkInformationCli, ToolPrintsTheLinkInformationByteForByte) {
  auto r = orvtest::RunHost("--print 2 examples/model.json GetNativeLinkInformation REQ-007 ''");
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, Lines({
                       "[ ",
                       "    { ",
                       "        \"linkTypeId\" : \"ORV_INCOMING_HYPERLINKS\", ",
                       "        \"links\" : ",
                       "            [ ",
                       "                { ",
                       "                    \"linkedObjectName\" : \"Level sensor\", ",
                       "                    \"linkedObjectGuid\" : \"BLK-SENSOR\"",
                       "                }, ",
                       "                { ",
                       "                    \"linkedObjectName\" : \"Level sensor\", ",
                       "                    \"linkedObjectGuid\" : \"BLK-SENSOR\"",
                       "                }",
                       "            ]",
                       "    }",
                       "]",
                   }));
  r = orvtest::RunHost("examples/model.json GetNativeLinkInformation BLK-STATION old");
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, "parameter 1:\nBLK-STATION\nparameter 2:\n\n");
}

}  // namespace
