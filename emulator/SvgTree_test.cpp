// Tests of the emulated host's SVG side: the tree it builds for a diagram,
// its XML writer, and the three host agents around them.
#include "emulator/SvgTree.h"

#include <climits>
#include <memory>
#include <string>

#include <gtest/gtest.h>

#include "emulator/HostMonitor.h"
#include "emulator/ModelFile.h"
#include "emulator/Parameters.h"

namespace qmemu {
namespace {

const char* const kModel = R"({"root": {"guid": "ROOT", "name": "Root", "children": [
  {"guid": "BLK", "meta": "Block", "name": "Pump <P&1>"},
  {"guid": "DEP", "meta": "Dependency"},
  {"guid": "LONE", "meta": "Block", "name": "Not drawn"},
  {"guid": "DIA", "meta": "Diagram", "name": "D", "children": [
    {"guid": "FRAME", "meta": "FrameSymbol", "values": {"Position": "0 0", "Size": "600 400"},
     "refs": {"ModelElement": "ROOT", "Diagram": "DIA"}},
    {"guid": "SYM", "meta": "Symbol", "values": {"Position": "100 50", "Size": "200 100"},
     "refs": {"ModelElement": "BLK", "Diagram": "DIA"}},
    {"guid": "LINE", "meta": "Line", "values": {"SegmentPoints": "300 100 500 100 500 300"},
     "refs": {"ModelElement": "DEP", "Diagram": "DIA"}},
    {"guid": "CURVE", "meta": "TransitionLine", "values": {"SegmentPoints": "300 150 400 350 500 350"},
     "refs": {"ModelElement": "DEP", "Diagram": "DIA"}}]},
  {"guid": "DIA2", "meta": "Diagram", "name": "Second", "children": [
    {"guid": "SYM2", "meta": "Symbol", "refs": {"ModelElement": "BLK", "Diagram": "DIA2"}}]}]}})";

class SvgTreeTest : public ::testing::Test {
 protected:
  void SetUp() override {
    HostMonitor::Instance().Reset();
    std::string error;
    model = LoadModelText(kModel, "svg.json", error);
    ASSERT_NE(model, nullptr) << error;
  }
  void TearDown() override { HostMonitor::Instance().Reset(); }

  // Runs host agent `path` on `context` with `parameters`.
  void RunHost(const std::string& path, const std::string& context, qm::AgentParameters& parameters) {
    model->runAgent(model->find(path), model->find(context), parameters);
  }
  static ParameterValue* Param(ParamKind kind) { return new ParameterValue(kind); }

  std::unique_ptr<Model> model;
};

TEST(TenthsAsMillimetresTest, Table) {
  EXPECT_EQ("0.0", TenthsAsMillimetres(0));
  EXPECT_EQ("123.4", TenthsAsMillimetres(1234));
  EXPECT_EQ("-0.5", TenthsAsMillimetres(-5));
  EXPECT_EQ("-123.4", TenthsAsMillimetres(-1234));
  EXPECT_EQ("-922337203685477580.8", TenthsAsMillimetres(LLONG_MIN));
}

TEST_F(SvgTreeTest, WriterEscapesAttributesAndTextAndWritesCharacterDataAsComments) {
  Entity* root = AddSvgElement(*model, nullptr, "svg");
  AddSvgAttribute(*model, *root, "a", "&<>\"\t\n\r\x01'");
  Entity* text = AddSvgElement(*model, root, "text", true);
  AddSvgText(*model, *text, "x < y & z");
  AddSvgCharacterData(*model, *root, "kept <as> & is");
  AddSvgElement(*model, root, "empty");
  EXPECT_EQ("<svg a=\"&amp;&lt;&gt;&quot;&#9;&#10;&#13;&#xFFFD;'\">\n"
            "  <text>x &lt; y &amp; z</text>\n"
            "  <!--kept <as> & is-->\n"
            "  <empty/>\n"
            "</svg>\n",
            WriteSvgXml(*root, false));
  EXPECT_EQ("<svg a=\"&amp;&lt;&gt;&quot;&#9;&#10;&#13;&#xFFFD;'\"><text>x &lt; y &amp; z</text>"
            "<!--kept <as> & is--><empty/></svg>",
            WriteSvgXml(*root, true));
}

// Bytes that XML cannot hold become U+FFFD wherever they are written: the
// reference in attribute values and text, the character itself in comments
// (where references mean nothing). Expected bytes by hand from UTF-8 and the
// XML 1.0 character range.
struct XmlBytesRow {
  const char* what;
  std::string in;
  std::string escaped;  // as attribute value and as text
  std::string comment;
};

TEST_F(SvgTreeTest, WriterReplacesWhatXmlCannotHoldInValuesTextAndComments) {
  const std::string fffd = "\xEF\xBF\xBD";
  const XmlBytesRow rows[] = {
      {"plain", "abc", "abc", "abc"},
      {"NUL", std::string("a\0b", 3), "a&#xFFFD;b", "a" + fffd + "b"},
      {"SOH", "a\x01", "a&#xFFFD;", "a" + fffd},
      {"unit separator", "\x1F", "&#xFFFD;", fffd},
      {"DEL", "\x7F", "&#xFFFD;", fffd},
      {"tab, line feed, carriage return", "\t\n\r", "&#9;&#10;&#13;", "\t\n\r"},
      {"markup", "<&>\"", "&lt;&amp;&gt;&quot;", "<&>\""},
      {"two-byte character", "\xC3\xA9", "\xC3\xA9", "\xC3\xA9"},
      {"C1 control character U+0085", "\xC2\x85", "\xC2\x85", "\xC2\x85"},
      {"three-byte character", "\xE2\x82\xAC", "\xE2\x82\xAC", "\xE2\x82\xAC"},
      {"U+FFFD itself", fffd, fffd, fffd},
      {"four-byte character", "\xF0\x9F\x98\x80", "\xF0\x9F\x98\x80", "\xF0\x9F\x98\x80"},
      {"U+10FFFF", "\xF4\x8F\xBF\xBF", "\xF4\x8F\xBF\xBF", "\xF4\x8F\xBF\xBF"},
      {"lone continuation byte", "a\x80" "b", "a&#xFFFD;b", "a" + fffd + "b"},
      {"lead byte at the end", "a\xC3", "a&#xFFFD;", "a" + fffd},
      {"lead byte before ASCII", "\xC3(", "&#xFFFD;(", fffd + "("},
      {"overlong two-byte form of '/'", "\xC0\xAF", "&#xFFFD;&#xFFFD;", fffd + fffd},
      {"overlong three-byte form", "\xE0\x80\xAF", "&#xFFFD;&#xFFFD;&#xFFFD;", fffd + fffd + fffd},
      {"surrogate U+D800", "\xED\xA0\x80", "&#xFFFD;&#xFFFD;&#xFFFD;", fffd + fffd + fffd},
      {"U+FFFE", "\xEF\xBF\xBE", "&#xFFFD;&#xFFFD;&#xFFFD;", fffd + fffd + fffd},
      {"U+FFFF", "\xEF\xBF\xBF", "&#xFFFD;&#xFFFD;&#xFFFD;", fffd + fffd + fffd},
      {"above U+10FFFF", "\xF4\x90\x80\x80", "&#xFFFD;&#xFFFD;&#xFFFD;&#xFFFD;", fffd + fffd + fffd + fffd},
      {"byte 0xFF", "\xFF", "&#xFFFD;", fffd},
      {"truncated four-byte form", "\xF0\x9F\x98!", "&#xFFFD;&#xFFFD;&#xFFFD;!", fffd + fffd + fffd + "!"},
  };
  for (const XmlBytesRow& row : rows) {
    Entity* root = AddSvgElement(*model, nullptr, "svg");
    AddSvgAttribute(*model, *root, "a", row.in);
    Entity* text = AddSvgElement(*model, root, "text");
    AddSvgText(*model, *text, row.in);
    AddSvgCharacterData(*model, *root, row.in);
    EXPECT_EQ("<svg a=\"" + row.escaped + "\"><text>" + row.escaped + "</text><!--" + row.comment + "--></svg>",
              WriteSvgXml(*root, true))
        << row.what;
    model->destroy(root);
  }
}

TEST_F(SvgTreeTest, ElementNamesComeFromTheIdentOrTheUnboundReference) {
  Entity* bound = AddSvgElement(*model, nullptr, "g");
  Entity* unbound = AddSvgElement(*model, nullptr, "boundaryrect", true);
  EXPECT_EQ("g", SvgElementName(*bound));
  EXPECT_EQ("boundaryrect", SvgElementName(*unbound));
  EXPECT_EQ("ref:boundaryrect", unbound->value("InstanceOf"));
  EXPECT_EQ(nullptr, unbound->reference("InstanceOf"));
}

TEST_F(SvgTreeTest, DiagramTreeHasSymbolsLinesAndBoundaryRectangles) {
  Entity* root = BuildDiagramSvg(*model, *model->find("DIA"));
  EXPECT_EQ(nullptr, root->owner());
  EXPECT_EQ(
      "<svg xmlns=\"http://www.w3.org/2000/svg\" xmlns:xlink=\"http://www.w3.org/1999/xlink\" version=\"1.1\" "
      "width=\"60.0mm\" height=\"40.0mm\">\n"
      "  <title>D</title>\n"
      "  <rect width=\"100%\" height=\"100%\" fill=\"white\"/>\n"
      "  <boundaryrect x=\"0.0mm\" y=\"0.0mm\" width=\"60.0mm\" height=\"40.0mm\"/>\n"
      "  <g metaClass=\"Symbol\" id=\"FRAME\">\n"
      "    <rect x=\"0.0mm\" y=\"0.0mm\" width=\"60.0mm\" height=\"40.0mm\" fill=\"none\" stroke=\"black\" "
      "stroke-width=\"0.5mm\"/>\n"
      "    <text x=\"2.0mm\" y=\"5.0mm\" font-family=\"sans-serif\" font-size=\"3.5mm\">D</text>\n"
      "    <boundaryrect x=\"0.0mm\" y=\"0.0mm\" width=\"60.0mm\" height=\"40.0mm\"/>\n"
      "  </g>\n"
      "  <g metaClass=\"Symbol\" id=\"SYM\">\n"
      "    <rect x=\"10.0mm\" y=\"5.0mm\" width=\"20.0mm\" height=\"10.0mm\" fill=\"rgb(255,255,225)\" "
      "stroke=\"black\" stroke-width=\"0.25mm\"/>\n"
      "    <text x=\"20.0mm\" y=\"11.0mm\" font-family=\"sans-serif\" font-size=\"3.5mm\" "
      "text-anchor=\"middle\">Pump &lt;P&amp;1&gt;</text>\n"
      "    <boundaryrect x=\"10.0mm\" y=\"5.0mm\" width=\"20.0mm\" height=\"10.0mm\"/>\n"
      "  </g>\n"
      "  <g metaClass=\"Line\" id=\"LINE\">\n"
      "    <svg x=\"0mm\" y=\"0mm\" width=\"60.0mm\" height=\"40.0mm\" viewBox=\"0 0 60.0 40.0\" "
      "overflow=\"visible\">\n"
      "      <polyline points=\"30.0,10.0 50.0,10.0 50.0,30.0\" fill=\"none\" stroke=\"black\" "
      "stroke-width=\"0.35\"/>\n"
      "    </svg>\n"
      "    <boundaryrect x=\"30.0mm\" y=\"10.0mm\" width=\"20.0mm\" height=\"20.0mm\"/>\n"
      "  </g>\n"
      "  <g metaClass=\"Line\" id=\"CURVE\">\n"
      "    <svg x=\"0mm\" y=\"0mm\" width=\"60.0mm\" height=\"40.0mm\" viewBox=\"0 0 60.0 40.0\" "
      "overflow=\"visible\">\n"
      "      <path d=\"M 30.0,15.0 Q 40.0,35.0 50.0,35.0\" fill=\"none\" stroke=\"black\" stroke-width=\"0.35\"/>\n"
      "    </svg>\n"
      "    <boundaryrect x=\"30.0mm\" y=\"15.0mm\" width=\"20.0mm\" height=\"20.0mm\"/>\n"
      "  </g>\n"
      "</svg>\n",
      WriteSvgXml(*root, false));
  // The line's boundary rectangle carries its name unbound; the symbol's an Ident.
  const Entity* lineGroup = root->list("Expression")[10];  // 5 attributes, title, background, boundaryrect, 2 symbols
  EXPECT_EQ("ref:boundaryrect", lineGroup->list("Expression").back()->value("InstanceOf"));
  EXPECT_EQ(0u, HostMonitor::Instance().Count());  // the host's own work is not counted
}

// The explicit line style is the stereotype at
// "@VELLineStyles@automaticLineStyle", found by path as HasStereotype finds
// it; a stereotype of the model with the same name is no line style.
TEST(SvgTreeLineStyleTest, OnlyTheLineStyleAtItsPathDecidesTheCurve) {
  const char* const text = R"({"root": {"guid": "ROOT", "children": [
    {"guid": "PROFILE", "meta": "Package", "name": "Profile", "children": [
      {"guid": "ST-LOOKALIKE", "meta": "Stereotype", "name": "automaticLineStyle"}]},
    {"guid": "DEP", "meta": "Dependency"},
    {"guid": "DIA", "meta": "Diagram", "name": "D", "children": [
      {"guid": "STYLE-BEZIER", "meta": "Line", "values": {"SegmentPoints": "0 0 100 0 100 100"},
       "refs": {"ModelElement": "DEP"},
       "stereotypes": [{"apply": "@VELLineStyles@automaticLineStyle", "tags": {"shape": {"ident": "Bezier"}}}]},
      {"guid": "LOOKALIKE-BEZIER", "meta": "Line", "values": {"SegmentPoints": "0 0 100 0 100 100"},
       "refs": {"ModelElement": "DEP"},
       "stereotypes": [{"apply": "@Profile@automaticLineStyle", "tags": {"shape": {"ident": "Bezier"}}}]},
      {"guid": "TRANSITION-LOOKALIKE-POLYLINE", "meta": "TransitionLine",
       "values": {"SegmentPoints": "0 0 100 0 100 100"}, "refs": {"ModelElement": "DEP"},
       "stereotypes": [{"apply": "@Profile@automaticLineStyle", "tags": {"shape": {"ident": "Polyline"}}}]},
      {"guid": "TRANSITION-STYLE-POLYLINE", "meta": "TransitionLine",
       "values": {"SegmentPoints": "0 0 100 0 100 100"}, "refs": {"ModelElement": "DEP"},
       "stereotypes": [{"apply": "@VELLineStyles@automaticLineStyle", "tags": {"shape": {"ident": "Polyline"}}}]}]}]}})";
  std::string error;
  std::unique_ptr<Model> model = LoadModelText(text, "styles.json", error);
  ASSERT_NE(model, nullptr) << error;
  const struct {
    const char* line;
    const char* drawing;
  } rows[] = {{"STYLE-BEZIER", "<path "},
              {"LOOKALIKE-BEZIER", "<polyline "},
              {"TRANSITION-LOOKALIKE-POLYLINE", "<path "},  // no line style: a transition is a curve
              {"TRANSITION-STYLE-POLYLINE", "<polyline "}};
  const std::string svg = WriteSvgXml(*BuildDiagramSvg(*model, *model->find("DIA")), false);
  for (const auto& row : rows) {
    const std::size_t group = svg.find(std::string("id=\"") + row.line + "\"");
    ASSERT_NE(group, std::string::npos) << row.line;
    const std::size_t end = svg.find("</g>", group);
    const std::size_t drawing = svg.find(row.drawing, group);
    EXPECT_LT(drawing, end) << row.line << " should be drawn with " << row.drawing;
  }
}

TEST_F(SvgTreeTest, DiagramFinderAnswersTheDiagramThatPresentsAnElement) {
  const struct {
    const char* context;
    const char* diagram;  // nullptr: none
  } rows[] = {{"DIA", "DIA"}, {"SYM2", "DIA2"}, {"BLK", "DIA"}, {"DEP", "DIA"}, {"ROOT", "DIA"}, {"LONE", nullptr}};
  for (const auto& row : rows) {
    qm::AgentParameters parameters;
    parameters.push_back(Param(ParamKind::Interface));
    RunHost("@OrvServer@GetDiagramFromModelElement", row.context, parameters);
    Entity* answer = Entity::From(ParameterValue::Of(*parameters.front()).unknown);
    EXPECT_EQ(row.diagram == nullptr ? nullptr : model->find(row.diagram), answer) << row.context;
  }
}

TEST_F(SvgTreeTest, DiagramFinderLeavesAParameterOfAnotherKindAlone) {
  qm::AgentParameters parameters;
  ParameterValue* text = Param(ParamKind::Text);
  text->text = "keep";
  parameters.push_back(text);
  RunHost("@OrvServer@GetDiagramFromModelElement", "BLK", parameters);
  EXPECT_EQ("keep", TextAt(parameters, 1));
}

TEST_F(SvgTreeTest, XmlWriterAgentWritesTheContextTree) {
  Entity* root = AddSvgElement(*model, nullptr, "svg");
  AddSvgElement(*model, root, "g");
  for (bool compact : {false, true}) {
    qm::AgentParameters parameters;
    parameters.push_back(Param(ParamKind::Text));
    ParameterValue* flag = Param(ParamKind::Boolean);
    flag->boolean = compact;
    parameters.push_back(flag);
    model->runAgent(model->find("@VELXMLFramework@WriteXMLToString"), root, parameters);
    EXPECT_EQ(compact ? "<svg><g/></svg>" : "<svg>\n  <g/>\n</svg>\n", TextAt(parameters, 1));
  }
}

TEST_F(SvgTreeTest, GeneratorWithoutCustomizationWritesTheTreeAndFreesIt) {
  const std::size_t before = model->entities().size();
  qm::AgentParameters parameters;
  parameters.push_back(Param(ParamKind::Interface));
  parameters.push_back(Param(ParamKind::Interface));
  parameters.push_back(Param(ParamKind::Text));
  parameters.push_back(Param(ParamKind::Interface));
  RunHost("@VELDiagramAgents@GenerateSVGString", "DIA", parameters);
  Entity* fresh = BuildDiagramSvg(*model, *model->find("DIA"));
  EXPECT_EQ(WriteSvgXml(*fresh, false), TextAt(parameters, 3));  // boundaryrects and all
  model->destroy(fresh);
  EXPECT_EQ(before, model->entities().size());
}

TEST_F(SvgTreeTest, GeneratorOnAnotherEntityDoesNothing) {
  qm::AgentParameters parameters;
  for (int i = 0; i < 4; ++i) parameters.push_back(Param(i == 2 ? ParamKind::Text : ParamKind::Interface));
  SetTextAt(parameters, 3, "keep");
  RunHost("@VELDiagramAgents@GenerateSVGString", "BLK", parameters);
  EXPECT_EQ("keep", TextAt(parameters, 3));
}

}  // namespace
}  // namespace qmemu
