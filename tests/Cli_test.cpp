// The command-line tool: usage, and clear messages with a non-zero exit for
// every kind of bad input.
#include <gtest/gtest.h>

#include "tests/CliSupport.h"

namespace {

using orvtest::RunHost;

TEST(Cli, HelpDocumentsTheTool) {
  auto r = RunHost("--help");
  EXPECT_EQ(r.status, 0);
  EXPECT_NE(r.out.find("usage: orv-host [options] MODEL AGENT [PARAMETER...]"), std::string::npos);
  EXPECT_NE(r.out.find("--timeout SECONDS"), std::string::npos);
}

TEST(Cli, MissingArgumentsAreAUsageError) {
  auto r = RunHost("");
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err, "orv-host: expected a model file and an agent name\n(see orv-host --help)\n");
  r = RunHost("--bogus tests/data/minimal.json X");
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err, "orv-host: unknown option --bogus\n(see orv-host --help)\n");
  r = RunHost("--timeout soon tests/data/minimal.json X");
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err, "orv-host: --timeout expects a number from 0 to 1000000, got 'soon'\n(see orv-host --help)\n");
}

TEST(Cli, MissingModelFileIsNamed) {
  auto r = RunHost("tests/data/no-such-model.json GetNativeLinkInformation");
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(r.err, "orv-host: tests/data/no-such-model.json: cannot open: No such file or directory\n");
}

TEST(Cli, SyntaxErrorNamesLineAndColumn) {
  auto r = RunHost("tests/data/syntax-error.json GetNativeLinkInformation");
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(r.err.rfind("orv-host: tests/data/syntax-error.json:4:20: ", 0), 0u) << r.err;
}

TEST(Cli, MissingPluginIsNamed) {
  auto r = RunHost("--plugin /nonexistent/libOrvServer.so tests/data/minimal.json GetNativeLinkInformation");
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(r.err.rfind("orv-host: /nonexistent/libOrvServer.so: cannot load the plug-in: ", 0), 0u) << r.err;
}

TEST(Cli, UnknownAgentIsNamed) {
  auto r = RunHost("tests/data/minimal.json NoSuchAgent");
  EXPECT_EQ(r.status, 3);
  EXPECT_EQ(r.err, "orv-host: unknown agent 'NoSuchAgent': the model declares no agent @OrvServer@NoSuchAgent\n");
}

TEST(Cli, UnknownEntityIsNamed) {
  auto r = RunHost("--context NO-SUCH-GUID tests/data/minimal.json GetNativeLinkInformation a b");
  EXPECT_EQ(r.status, 3);
  EXPECT_EQ(r.err, "orv-host: unknown entity 'NO-SUCH-GUID': no entity has this GUID or path\n");
}

TEST(Cli, PrintsEveryParameterAfterTheCall) {
  // With three parameters the link agent leaves every parameter as it was.
  auto r = RunHost("tests/data/minimal.json GetNativeLinkInformation a b 'c d'");
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, "parameter 1:\na\nparameter 2:\nb\nparameter 3:\nc d\n");
}

TEST(Cli, PrintOptionGivesOneParameterByteForByte) {
  auto r = RunHost("--print 1 tests/data/minimal.json GetNativeLinkInformation 'a b' x");
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, "a b");
  r = RunHost("--print 3 tests/data/minimal.json GetNativeLinkInformation a x");
  EXPECT_EQ(r.status, 1);
}

}  // namespace

namespace {

TEST(Cli, TreePrintsTheOwnershipTree) {
  auto r = orvtest::RunHost("--tree tests/data/minimal.json");
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out,
            "ROOT  [Model]  \"Minimal\"\n"
            "  PKG  [Package]  \"Pumps\"\n"
            "    BLK-PUMP  [Block]  \"Pump\"\n");
}

}  // namespace
