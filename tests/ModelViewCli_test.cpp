// orv-host and the model explorer: the tree of GetModelViewChildNodes
// answers, and the agent run by hand as the demo runs it.
#include <gtest/gtest.h>

#include "tests/CliSupport.h"

namespace {

using orvtest::RunHost;

TEST(ModelViewCli, ExploreWalksTheTreeLevelByLevel) {
  auto r = RunHost("--explore tests/data/explorer.json");
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.err, "");
  EXPECT_EQ(r.out,
            "+ \"Plant\"  [Model]  ROOT  icon 0\n"
            "  + \"Pumps\"  [Package]  PKG  icon 1\n"
            "    + \"Pump\"  [Block]  BLK  icon 12  (in a diagram)\n"
            "      - \"inlet\"  [Port]  IN  icon 16\n"
            // the attribute node stands for BLK, which is in a diagram
            "      + \"Ports\"  [attribute MM-PORTS]  BLK  icon -1  (in a diagram)\n"
            "        - \"inlet\"  [Port]  IN  icon 16\n"
            "    - \"Pumps\"  [Diagram]  DIA  icon -1\n");
}

TEST(ModelViewCli, ExploreStopsWhereTheTreeTurnsBack) {
  auto r = RunHost("--explore tests/data/explorer-cycle.json");
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out,
            "+ \"Plant\"  [Model]  ROOT  icon -1\n"
            "  + \"Pumps\"  [Package]  PKG  icon -1\n"
            "    + \"Pump\"  [Block]  BLK  icon -1\n"
            "      + \"Back\"  [attribute MM-BACK]  BLK  icon -1\n"
            "        + \"Pumps\"  [Package]  PKG  icon -1\n"
            "          ... (already shown above: the tree turns back here)\n");
}

TEST(ModelViewCli, ExploreShowsTheAgentsMessage) {
  auto r = RunHost("--explore tests/data/explorer-no-node-info.json");
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, "! Failed to find GetModelViewNodeInfo agent\n");
}

TEST(ModelViewCli, ExploreTakesAModelFileOnly) {
  auto r = RunHost("--explore tests/data/explorer.json GetModelViewChildNodes");
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err, "orv-host: --explore expects a model file and nothing else\n(see orv-host --help)\n");
  r = RunHost("--explore --tree tests/data/explorer.json");
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err, "orv-host: --tree and --explore exclude each other\n(see orv-host --help)\n");
}

TEST(ModelViewCli, AgentByHandPrintsOneLineOfJson) {
  auto r = RunHost("--print 3 tests/data/explorer.json GetModelViewChildNodes BLK MM-PORTS '' ''");
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, R"([ { "text" : "inlet", "hasChildren" : "no", "visual" : "no", "icon" : "16", )"
                   R"("metaclassType" : "Port", "modelguid" : "IN", "metaguid" : ""}])");
}

TEST(ModelViewCli, RefusedParametersEndWithStatusFive) {
  auto r = RunHost("tests/data/explorer.json GetModelViewChildNodes BLK ''");
  EXPECT_EQ(r.status, 5);
  EXPECT_EQ(r.out, "parameter 1:\nBLK\nparameter 2:\n\n");
  EXPECT_EQ(r.err,
            "orv-host: host message: @OrvServer@GetModelViewChildNodes: expected 4 to 5 parameters, got 2\n");
}

}  // namespace
