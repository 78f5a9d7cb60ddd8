// GetModelViewChildNodes end to end: the real plug-in, loaded with dlopen,
// run by the emulated host on the example model and on small models written
// here. Every expected answer is written by hand from the encoding rules.
#include <cstdint>
#include <regex>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "testing/HostFaults.h"
#include "tests/E2eSupport.h"

namespace {

using orvtest::OpenSessionFile;
using orvtest::OpenSessionText;
using qmemu::HostMonitor;

const char kAgent[] = "GetModelViewChildNodes";

class ModelViewE2eTest : public ::testing::Test {
 protected:
  void SetUp() override {
    HostMonitor::Instance().Reset();
    session_ = OpenSessionFile("examples/model.json");
    ASSERT_NE(session_, nullptr);
  }
  void TearDown() override { HostMonitor::Instance().Reset(); }

  // The agent's parameters after a call on the root with `texts`.
  std::vector<std::string> Call(const std::vector<std::string>& texts) {
    return orvtest::Run(*session_, kAgent, "", texts).parameters;
  }

  std::unique_ptr<qmemu::Session> session_;
};

// ---------------------------------------------------------------------------
// The example model

TEST_F(ModelViewE2eTest, RootNode) {
  auto after = Call({"", "", "", ""});
  EXPECT_EQ(after[2], R"([ { "text" : "Pump station", "hasChildren" : "yes", "visual" : "no", "icon" : "0", )"
                      R"("metaclassType" : "Model", "modelguid" : "PUMP-STATION", "metaguid" : ""}])");
  EXPECT_EQ(after[3], "");
}

TEST_F(ModelViewE2eTest, OrdinaryNode) {
  auto after = Call({"PKG-OPERATION", "", "", ""});
  EXPECT_EQ(after[2],
            R"json([ { "text" : "Control panel (HMI)", "hasChildren" : "yes", "visual" : "no", "icon" : "12", )json"
            R"json("metaclassType" : "Block", "modelguid" : "BLK-PANEL", "metaguid" : ""}, )json"
            R"json({ "text" : "Dry run", "hasChildren" : "no", "visual" : "no", "icon" : "-1", )json"
            R"json("metaclassType" : "Class", "modelguid" : "ALM-DRY", "metaguid" : ""}, )json"
            R"json({ "text" : "Motor overload", "hasChildren" : "no", "visual" : "no", "icon" : "-1", )json"
            R"json("metaclassType" : "Class", "modelguid" : "ALM-OVERLOAD", "metaguid" : ""}])json");
  EXPECT_EQ(after[3], "");
}

TEST_F(ModelViewE2eTest, NodeWithAttributeNodes) {
  // "Settings" has no values and is left out; "Alarms" is an attribute node.
  auto after = Call({"BLK-PANEL", "", "", ""});
  EXPECT_EQ(after[2], R"([ { "text" : "fault lamp", "hasChildren" : "no", "visual" : "no", "icon" : "14", )"
                      R"("metaclassType" : "Attribute", "modelguid" : "ATT-PANEL-LAMP", "metaguid" : ""}, )"
                      R"({ "text" : "Alarms", "hasChildren" : "yes", "visual" : "no", "icon" : "-1", )"
                      R"("metaclassType" : "", "modelguid" : "BLK-PANEL", "metaguid" : "MM-ALARMS"}])");
}

TEST_F(ModelViewE2eTest, AttributeNode) {
  auto after = Call({"BLK-PANEL", "MM-ALARMS", "", ""});
  EXPECT_EQ(after[2], R"([ { "text" : "Dry run", "hasChildren" : "no", "visual" : "no", "icon" : "-1", )"
                      R"("metaclassType" : "Class", "modelguid" : "ALM-DRY", "metaguid" : ""}, )"
                      R"({ "text" : "Motor overload", "hasChildren" : "no", "visual" : "no", "icon" : "-1", )"
                      R"("metaclassType" : "Class", "modelguid" : "ALM-OVERLOAD", "metaguid" : ""}])");
}

TEST_F(ModelViewE2eTest, EmptyNode) {
  auto after = Call({"ALM-DRY", "", "", ""});
  EXPECT_EQ(after[2], "[ ]");
  EXPECT_EQ(after[3], "");
  EXPECT_EQ(Call({"BLK-PANEL", "MM-SETTINGS", "", ""})[2], "[ ]");
}

TEST_F(ModelViewE2eTest, ExtraEntityParameter) {
  auto after = Call({"PUMP-STATION", "", "", "", "ALM-DRY"});
  EXPECT_EQ(after[2], R"([ { "text" : "Operation", "hasChildren" : "yes", "visual" : "no", "icon" : "1", )"
                      R"("metaclassType" : "Package", "modelguid" : "PKG-OPERATION", "metaguid" : ""}])");
  after = Call({"PKG-OPERATION", "", "", "", "ALM-DRY"});
  EXPECT_EQ(after[2], R"([ { "text" : "Dry run", "hasChildren" : "no", "visual" : "no", "icon" : "-1", )"
                      R"("metaclassType" : "Class", "modelguid" : "ALM-DRY", "metaguid" : ""}])");
  EXPECT_EQ(after[4], "ALM-DRY");
}

TEST_F(ModelViewE2eTest, ValidationFailureWritesNothingAndLeavesTheHostsMessage) {
  auto run = orvtest::Run(*session_, kAgent, "", {"PKG-OPERATION", "", "before"});
  EXPECT_EQ(run.parameters, (std::vector<std::string>{"PKG-OPERATION", "", "before"}));
  EXPECT_EQ(run.messages,
            std::vector<std::string>{"@OrvServer@GetModelViewChildNodes: expected 4 to 5 parameters, got 3"});
  EXPECT_EQ(session_->model().messages().Messages(), run.messages);
}

TEST_F(ModelViewE2eTest, UnknownParentIsReported) {
  auto after = Call({"NO-SUCH-GUID", "", "before", ""});
  EXPECT_EQ(after[2], "before");
  EXPECT_EQ(after[3], "Failed to find parent entity.");
}

TEST_F(ModelViewE2eTest, HostExceptionIsReportedAsInternalError) {
  HostMonitor::Instance().FailOperation("InvokeAgent", 2);
  auto after = Call({"PKG-OPERATION", "", "before", ""});
  EXPECT_EQ(after[2], "before");
  EXPECT_EQ(after[3], "Internal error (GetModelViewChildNodes).");
}

// The answer with every icon number replaced by "?".
std::string WithoutIcons(const std::string& answer) {
  static const std::regex icon(R"("icon" : "-?[0-9]+")");
  return std::regex_replace(answer, icon, R"("icon" : "?")");
}

TEST_F(ModelViewE2eTest, AFaultAtAnyHostOperationIsAnInternalErrorOrALostIcon) {
  const std::vector<std::string> full = Call({"PKG-OPERATION", "", "before", ""});
  ASSERT_EQ(full[3], "");
  std::vector<std::string> after;
  std::size_t errors = 0;
  const std::uint64_t runs = orvtest::SweepHostFaults(
      [&] { after = Call({"PKG-OPERATION", "", "before", ""}); },
      [&](std::uint64_t failedAt) {
        if (failedAt == 0) {
          EXPECT_EQ(after, full);
        } else if (after[3].empty()) {
          // The icon query swallows its own faults: that node's icon is lost
          // (it reads "-1", as some icons already do).
          EXPECT_EQ(WithoutIcons(after[2]), WithoutIcons(full[2])) << "fault at operation " << failedAt;
        } else {
          ++errors;
          EXPECT_EQ(after[3], "Internal error (GetModelViewChildNodes).") << "fault at operation " << failedAt;
          EXPECT_EQ(after[2], "before") << "fault at operation " << failedAt;
        }
      });
  EXPECT_GT(runs, 20u);
  EXPECT_GT(errors, runs / 2);
}

// ---------------------------------------------------------------------------
// Small models

TEST(ModelViewE2eSmallModels, TextsAreEncodedByteForByte) {
  auto session = OpenSessionText(R"json({"root": {"guid": "R", "name": "Plant", "children": [
      {"guid": "A", "meta": "Block", "name": "Panel shows \"FAULT\"\tnow\r\n\\ end"},
      {"guid": "B", "meta": "Block", "name": "Flow/l\u007f\u00e9"}]},
    "hostData": {"icons": {"Block": "-7"}}})json");
  ASSERT_NE(session, nullptr);
  auto after = orvtest::Run(*session, kAgent, "", {"R", "", "", ""}).parameters;
  EXPECT_EQ(after[2],
            "[ { \"text\" : \"Panel shows \\\"FAULT\\\"\\u0009now\\r\\n\\\\ end\", \"hasChildren\" : \"no\", "
            "\"visual\" : \"no\", \"icon\" : \"-7\", \"metaclassType\" : \"Block\", \"modelguid\" : \"A\", "
            "\"metaguid\" : \"\"}, { \"text\" : \"Flow/l\x7f\xc3\xa9\", \"hasChildren\" : \"no\", "
            "\"visual\" : \"no\", \"icon\" : \"-7\", \"metaclassType\" : \"Block\", \"modelguid\" : \"B\", "
            "\"metaguid\" : \"\"}]");
}

struct MessageRow {
  const char* omit;
  const char* faults;
  std::vector<std::string> texts;
  const char* message;
};

TEST(ModelViewE2eSmallModels, EveryFailureRowThroughThePlugIn) {
  const MessageRow rows[] = {
      {R"(["@VELExtensionManagement@GetModelViewNodeInfo"])", "{}", {"", "", "before", ""},
       "Failed to find GetModelViewNodeInfo agent"},
      {R"(["@VELExtensionManagement@GetModelViewChildren"])", "{}", {"P", "", "before", ""},
       "Failed to find GetModelViewChildrenAgent agent"},
      {"[]", "{}", {"Q", "", "before", ""}, "Failed to find parent entity."},
      {"[]", R"({"P": "drop-definition"})", {"P", "", "before", ""},
       "Failed to find meta definitions for all of the children."},
  };
  for (const MessageRow& row : rows) {
    auto session = OpenSessionText(std::string(R"({"omit": )") + row.omit +
                                   R"(, "root": {"children": [{"guid": "P", "meta": "Package", "children": [
                                       {"meta": "Block"}]}]}, "hostData": {"modelViewFaults": )" +
                                   row.faults + "}}");
    ASSERT_NE(session, nullptr);
    auto after = orvtest::Run(*session, kAgent, "", row.texts).parameters;
    EXPECT_EQ(after[3], row.message);
    EXPECT_EQ(after[2], "before") << row.message;
  }
}

TEST(ModelViewE2eSmallModels, NullEntriesFromTheHostAreSkipped) {
  auto session = OpenSessionText(R"({"root": {"children": [{"guid": "P", "meta": "Package", "children": [
      {"guid": "X", "meta": "Block"}, {"guid": "Y", "meta": "Block"}, {"guid": "Z", "meta": "Block"}]}]},
    "hostData": {"modelViewFaults": {"P": "null-child:1 null-definition:3"}}})");
  ASSERT_NE(session, nullptr);
  auto after = orvtest::Run(*session, kAgent, "", {"P", "", "", ""}).parameters;
  EXPECT_EQ(after[2], R"([ { "text" : "Block", "hasChildren" : "no", "visual" : "no", "icon" : "-1", )"
                      R"("metaclassType" : "Block", "modelguid" : "Y", "metaguid" : ""}])");
  EXPECT_EQ(after[3], "");
}

}  // namespace
