// The emulated host must not hide the plug-in's faults: where the host and
// the plug-in meet, the host checks what a real host would. End to end, with
// the real plug-in loaded by dlopen:
// - the host's drawing and the plug-in's markers agree on which lines are
//   curves: both ask for the line style stereotype by its path;
// - whatever bytes a client sends, the answer is well-formed XML;
// - the host's page agent refuses a parameter list of the wrong shape.
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "emulator/Parameters.h"
#include "tests/E2eSupport.h"

namespace {

using qmemu::HostMonitor;
using qmemu::ParameterValue;
using qmemu::ParamKind;

// The lines of `svg` from the group of the element with id `id` to the end
// of that group ("</g>" at the same indentation); "" when there is none.
std::string GroupOf(const std::string& svg, const std::string& id) {
  const std::size_t start = svg.find("<g metaClass=\"Line\" id=\"" + id + "\"");
  if (start == std::string::npos) return std::string();
  const std::size_t end = svg.find("\n  </g>\n", start);
  return end == std::string::npos ? std::string() : svg.substr(start, end - start);
}

class EmulatedHostTest : public ::testing::Test {
 protected:
  void SetUp() override { HostMonitor::Instance().Reset(); }
  void TearDown() override { HostMonitor::Instance().Reset(); }

  // The SVG answer for `diagram` with the client's `json`; "keep" when the
  // plug-in wrote nothing.
  std::string Svg(qmemu::Session& session, const std::string& diagram, const std::string& json) {
    qmemu::AgentRun run = orvtest::Run(session, "GenerateSVGWithAnnotations", diagram, {json, "keep"});
    return run.parameters.size() > 1 ? run.parameters[1] : std::string();
  }
};

// ---- the line style: generator and plug-in go by path ----

// Two lines of three points (100,100) (1100,100) (1100,1100), both showing a
// dependency that carries a hyperlink, so that each gets the outgoing
// hyperlink marker in slot Q3 = P + (16, 0). One has the host's line style
// "@VELLineStyles@automaticLineStyle" with shape Bezier, the other a model
// stereotype of the same name at "@Profile@automaticLineStyle", also Bezier.
const char kLineStyleModel[] = R"({"root": {"guid": "ROOT", "name": "Root", "children": [
  {"guid": "PROFILE", "meta": "Package", "name": "Profile", "children": [
    {"guid": "ST-LOOKALIKE", "meta": "Stereotype", "name": "automaticLineStyle"}]},
  {"guid": "REQ", "meta": "Requirement", "name": "R"},
  {"guid": "BLK", "meta": "Block", "name": "B", "children": [
    {"guid": "DEP", "meta": "Dependency", "in": "ClientDependency", "refs": {"Supplier": "REQ"},
     "stereotypes": [{"apply": "@VELLinks@HYPERLINK", "tags": {"URL": "https://e.org/pump"}}]}]},
  {"guid": "DIA", "meta": "Diagram", "name": "D", "children": [
    {"guid": "LINE-HOST-STYLE", "meta": "Line", "values": {"SegmentPoints": "100 100 1100 100 1100 1100"},
     "refs": {"ModelElement": "DEP", "Diagram": "DIA"},
     "stereotypes": [{"apply": "@VELLineStyles@automaticLineStyle", "tags": {"shape": {"ident": "Bezier"}}}]},
    {"guid": "LINE-PROFILE-STYLE", "meta": "Line", "values": {"SegmentPoints": "100 100 1100 100 1100 1100"},
     "refs": {"ModelElement": "DEP", "Diagram": "DIA"},
     "stereotypes": [{"apply": "@Profile@automaticLineStyle", "tags": {"shape": {"ident": "Bezier"}}}]}]}]}})";

struct LineStyleRow {
  const char* line;
  const char* drawing;  // how the host draws it
  const char* marker;   // where the plug-in puts the Q3 marker
};

TEST_F(EmulatedHostTest, ModelStereotypeNamedLikeTheLineStyleChangesNeitherDrawingNorMarkers) {
  auto session = orvtest::OpenSessionText(kLineStyleModel);
  ASSERT_NE(session, nullptr);
  // Q3 by hand. As a polyline: 45 % of the length 2000 is 900 along the
  // first segment, at (1000, 100), 50 units to the left of travel (up):
  // P = (1000, 50). As the quadratic Bezier curve at t = 0.45: (797.5, 302.5)
  // with tangent (1100, 900) of length 1421.27, 50 units along the normal
  // (0.6332, -0.7740): (829.16, 263.80), truncated P = (829, 263).
  const LineStyleRow rows[] = {
      {"LINE-HOST-STYLE", "<path d=\"M 10.0,10.0 Q 110.0,10.0 110.0,110.0\"",
       "id=\"LINE-HOST-STYLE_obluelink\" viewBox=\"845 263 16 16\""},
      {"LINE-PROFILE-STYLE", "<polyline points=\"10.0,10.0 110.0,10.0 110.0,110.0\"",
       "id=\"LINE-PROFILE-STYLE_obluelink\" viewBox=\"1016 50 16 16\""},
  };
  const std::string svg = Svg(*session, "DIA", "");
  for (const LineStyleRow& row : rows) {
    const std::string group = GroupOf(svg, row.line);
    ASSERT_NE(group, "") << row.line << "\n" << svg;
    EXPECT_NE(group.find(row.drawing), std::string::npos) << row.line << "\n" << group;
    EXPECT_NE(group.find(row.marker), std::string::npos) << row.line << "\n" << group;
  }
}

// ---- any client bytes: the answer stays well-formed XML ----

const char kClientBytesModel[] = R"({"root": {"guid": "ROOT", "name": "Root", "children": [
  {"guid": "REQ", "meta": "Requirement", "name": "R"},
  {"guid": "BLK", "meta": "Block", "name": "B", "children": [
    {"guid": "DEP", "meta": "Dependency", "in": "ClientDependency", "refs": {"Supplier": "REQ"},
     "stereotypes": [{"apply": "@Predefined@satisfy"}]}]},
  {"guid": "DIA", "meta": "Diagram", "name": "D", "children": [
    {"guid": "SYM-BLK", "meta": "Symbol", "values": {"Position": "100 100", "Size": "300 200"},
     "refs": {"ModelElement": "BLK", "Diagram": "DIA"}}]}]}})";

// A client JSON whose "relInfo" string holds every byte 0x00 to 0xFF, then
// "--" and "-->". The string is written as the client sends it: every byte
// raw, except the three that a text parameter or a JSON string cannot carry
// raw (0x00 ends the C string; the double quote and the backslash end or
// escape the JSON string), which are escaped.
std::string AllBytesClientJson() {
  std::string relInfo;
  for (int b = 0; b <= 0xFF; ++b) {
    if (b == 0x00) {
      relInfo += "\\u0000";
    } else if (b == '"' || b == '\\') {
      relInfo += '\\';
      relInfo += static_cast<char>(b);
    } else {
      relInfo += static_cast<char>(b);
    }
  }
  relInfo += " -- -->";
  return "[{\"objID\": \"BLK\", \"relInfo\": \"" + relInfo + "\"}]";
}

bool ToolAccepts(const std::string& command, const std::string& svg) {
  const std::string path = orvtest::TempFile(svg, ".svg");
  const int status = std::system((command + " '" + path + "' >/dev/null 2>&1").c_str());
  unlink(path.c_str());
  return status == 0;
}

TEST_F(EmulatedHostTest, ClientTextWithEveryByteGivesAnAnswerThatXmlToolsAccept) {
  auto session = orvtest::OpenSessionText(kClientBytesModel);
  ASSERT_NE(session, nullptr);
  const std::string json = AllBytesClientJson();
  // The first request annotates the fresh tree; the second the cached one.
  for (const char* request : {"first", "cached"}) {
    const std::string svg = Svg(*session, "DIA", json);
    ASSERT_EQ(svg.compare(0, 5, "<svg "), 0) << request;
    // The client's text is there, as a comment, with what XML cannot hold
    // replaced: the printable ASCII run survives, the control bytes and the
    // bytes from 0x80 up that begin no UTF-8 character do not.
    EXPECT_NE(svg.find("<!--\"\\u0000\xEF\xBF\xBD\xEF\xBF\xBD"), std::string::npos) << request;
    EXPECT_NE(svg.find(" !\\\"#$%&'()*+,-./0123456789:;<=>?@ABC"), std::string::npos) << request;
    EXPECT_NE(svg.find(" \\u002D- \\u002D->\"-->"), std::string::npos) << request;
    EXPECT_EQ(svg.find('\x01'), std::string::npos) << request;
    EXPECT_EQ(svg.find('\x7F'), std::string::npos) << request;
    EXPECT_EQ(svg.find('\xFF'), std::string::npos) << request;
    EXPECT_TRUE(ToolAccepts("xmllint --noout", svg)) << request;
    EXPECT_TRUE(ToolAccepts("rsvg-convert -f png", svg)) << request;
  }
}

// ---- the page agent checks the shape of its parameter list ----

const char kPageModel[] = R"({"root": {"guid": "ROOT", "name": "Root", "children": [
  {"guid": "BLK", "meta": "Block", "name": "Pump",
   "values": {"PropertyPage": "{ ControlInfo(. control = EditBox(. text = \"Name\", 'value' = \"Pump\" .), children = { } .) }"}}]}})";

const char kSwapped[] =
    "@VELExtensionManagement@GetPropertyEditorPage: parameter 2 (context) must be interface, got entity list";

// A parameter list of a text holding "before", then the given kinds, in order.
void BuildList(qm::AgentParameters& parameters, qm::EntityList& entities, const std::vector<ParamKind>& kinds) {
  auto* text = new ParameterValue(ParamKind::Text);
  text->text = "before";
  parameters.push_back(text);
  for (ParamKind kind : kinds) {
    auto* p = new ParameterValue(kind);
    if (kind == ParamKind::EntityList) p->list = &entities;
    parameters.push_back(p);
  }
}

TEST_F(EmulatedHostTest, PlugInsOwnPageRequestIsAccepted) {
  auto session = orvtest::OpenSessionText(kPageModel);
  ASSERT_NE(session, nullptr);
  qmemu::AgentRun run = orvtest::Run(*session, "GetPropertyPageControls", "", {"BLK", "", ""});
  EXPECT_EQ(run.parameters,
            (std::vector<std::string>{"BLK", R"([{"kind" : "EditBox", "text" : "Name", "value" : "Pump"}])", ""}));
  EXPECT_EQ(run.messages, std::vector<std::string>{});
}

TEST_F(EmulatedHostTest, SwappedPageAgentParametersFail) {
  auto session = orvtest::OpenSessionText(kPageModel);
  ASSERT_NE(session, nullptr);
  qmemu::Model& model = session->model();
  qm::IVelEntity* agent = model.FindEntity("@VELExtensionManagement@GetPropertyEditorPage");
  qm::IVelEntity* blk = model.FindEntity("BLK");
  ASSERT_NE(agent, nullptr);
  // As the page controls agent calls it, and with the last two swapped.
  qm::EntityList entities;
  qm::AgentParameters declared;
  BuildList(declared, entities, {ParamKind::Interface, ParamKind::EntityList});
  model.InvokeAgent(agent, blk, declared);
  EXPECT_EQ(qmemu::TextAt(declared, 1).compare(0, 14, "{ ControlInfo("), 0);
  EXPECT_EQ(model.messages().Messages(), std::vector<std::string>{});
  qm::AgentParameters swapped;
  BuildList(swapped, entities, {ParamKind::EntityList, ParamKind::Interface});
  model.InvokeAgent(agent, blk, swapped);
  EXPECT_EQ(qmemu::TextAt(swapped, 1), "before");
  EXPECT_EQ(model.messages().Messages(), std::vector<std::string>{kSwapped});
}

// TransformControlInfoToJason hands its caller's list on to the page agent
// unchanged: a list with the last two swapped gets no page, so the plug-in
// leaves its first parameter as it was.
TEST_F(EmulatedHostTest, TransformHandsOnASwappedListAndGetsNoPage) {
  auto session = orvtest::OpenSessionText(kPageModel);
  ASSERT_NE(session, nullptr);
  QmAgentFunction* transform = session->plugin()->Find("TransformControlInfoToJason");
  ASSERT_NE(transform, nullptr);
  qmemu::Model& model = session->model();
  qm::EntityList entities;
  qm::AgentParameters swapped;
  BuildList(swapped, entities, {ParamKind::EntityList, ParamKind::Interface});
  transform(nullptr, nullptr, model.FindEntity("BLK"), &model.access(), swapped);
  EXPECT_EQ(qmemu::TextAt(swapped, 1), "before");
  EXPECT_EQ(model.messages().Messages(), std::vector<std::string>{kSwapped});
  model.messages().Clear();
  qm::AgentParameters declared;
  BuildList(declared, entities, {ParamKind::Interface, ParamKind::EntityList});
  transform(nullptr, nullptr, model.FindEntity("BLK"), &model.access(), declared);
  EXPECT_EQ(qmemu::TextAt(declared, 1).compare(0, 1, "["), 0) << qmemu::TextAt(declared, 1);
  EXPECT_EQ(model.messages().Messages(), std::vector<std::string>{});
}

}  // namespace
