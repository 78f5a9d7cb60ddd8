// The SVG agents end to end: the real plug-in, loaded with dlopen, run by the
// emulated host on the example model, with the host's own SVG generation
// and XML writer. Goldens (tests/data/svg/*.svg) were checked line by line
// against the annotation rules: marker slots, colours, ids, attributes.
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "emulator/Parameters.h"
#include "emulator/SvgTree.h"
#include "tests/CliSupport.h"
#include "tests/E2eSupport.h"
#include "tests/PngReader.h"

namespace {

using qmemu::HostMonitor;

const char kGenerator[] = "InvokeAgent(@VELDiagramAgents@GenerateSVGString)";

std::string Golden(const std::string& diagram) {
  return orvtest::ReadFile(std::string(ORV_SOURCE_DIR) + "/tests/data/svg/" + diagram + ".svg");
}

// The lines of `svg` from the top-level group of the element with id `id`
// to its closing tag, each line ending in "\n"; "" when there is none.
std::string GroupOf(const std::string& svg, const std::string& id) {
  const std::string marker = "\" id=\"" + id + "\"";
  std::string group;
  bool inside = false;
  for (std::size_t at = 0; at < svg.size();) {
    std::size_t next = svg.find('\n', at);
    next = next == std::string::npos ? svg.size() : next + 1;
    const std::string line = svg.substr(at, next - at);
    at = next;
    if (!inside && line.compare(0, 16, "  <g metaClass=\"") == 0 && line.find(marker) != std::string::npos) {
      inside = true;
      if (line.size() >= 3 && line.compare(line.size() - 3, 3, "/>\n") == 0) return line;
    }
    if (!inside) continue;
    group += line;
    if (line == "  </g>\n") return group;
  }
  return std::string();
}

class SvgAnnotationTest : public ::testing::Test {
 protected:
  void SetUp() override {
    HostMonitor::Instance().Reset();
    HostMonitor::Instance().SetLogging(true);
    session = orvtest::OpenSessionFile("examples/model.json");
    ASSERT_NE(session, nullptr);
  }
  void TearDown() override { HostMonitor::Instance().Reset(); }

  // The SVG answered for `context` with the client's `json`; the output
  // parameter starts as "keep". `refresh` is the third parameter, if given.
  std::string Svg(const std::string& context, const std::string& json = "",
                  const char* refresh = nullptr) {
    std::vector<std::string> texts = {json, "keep"};
    if (refresh != nullptr) texts.push_back(refresh);
    qmemu::AgentRun run = orvtest::Run(*session, "GenerateSVGWithAnnotations", context, texts);
    EXPECT_EQ(ClientText(), "") << "g_strJasonText must be empty after every request";
    return run.parameters.size() > 1 ? run.parameters[1] : std::string("(no output parameter)");
  }
  std::size_t Generations() const { return HostMonitor::Instance().LogCount(kGenerator); }
  std::string ClientText() const {
    return *static_cast<std::string*>(session->plugin()->FindData("g_strJasonText"));
  }

  std::unique_ptr<qmemu::Session> session;
};

// ---- goldens ----

TEST_F(SvgAnnotationTest, RequirementDiagramMatchesItsGolden) { EXPECT_EQ(Golden("DIA-REQ"), Svg("DIA-REQ")); }

TEST_F(SvgAnnotationTest, StructureDiagramMatchesItsGolden) { EXPECT_EQ(Golden("DIA-STRUCT"), Svg("DIA-STRUCT")); }

TEST_F(SvgAnnotationTest, LinksDiagramMatchesItsGolden) { EXPECT_EQ(Golden("DIA-LINKS"), Svg("DIA-LINKS")); }

TEST_F(SvgAnnotationTest, PumpSymbolAt1000_500HasTheFourMarkersAtTheirSlots) {
  const std::string pump = GroupOf(Svg("DIA-STRUCT"), "SYM-PUMP");
  for (const char* box : {"id=\"SYM-PUMP_redlink\" viewBox=\"1268 505 16 16\"",
                          "id=\"SYM-PUMP_yellowlink\" viewBox=\"1268 521 16 16\"",
                          "id=\"SYM-PUMP_obluelink\" viewBox=\"1284 505 16 16\"",
                          "id=\"SYM-PUMP_ibluelink\" viewBox=\"1284 521 16 16\""}) {
    EXPECT_NE(pump.find(box), std::string::npos) << box;
  }
}

TEST_F(SvgAnnotationTest, GeneratedDiagramKeepsNoLinkTextAndNoBoundaryRectangles) {
  // The first annotation adds "nativelinks:" texts and the re-annotation run
  // right after it removes them again; the boundary rectangles go first.
  for (const char* diagram : {"DIA-REQ", "DIA-STRUCT", "DIA-LINKS"}) {
    const std::string svg = Svg(diagram);
    EXPECT_EQ(svg.find("nativelinks:"), std::string::npos) << diagram;
    EXPECT_EQ(svg.find("boundaryrect"), std::string::npos) << diagram;
    EXPECT_EQ(svg.find("<!--"), std::string::npos) << diagram;
    EXPECT_EQ(svg.find("--"), std::string::npos) << diagram;
  }
}

TEST_F(SvgAnnotationTest, FrameGetsTheDiagramsAttributesButNoTriangles) {
  // The diagram carries a hyperlink of its own, so its frame has links.
  EXPECT_EQ(
      "  <g metaClass=\"Symbol\" id=\"SYM-SVG-FRAME\" guid=\"DIA-LINKS\" objectType=\"Diagram\" desc=\"Valve links\">\n"
      "    <rect x=\"0.0mm\" y=\"0.0mm\" width=\"200.0mm\" height=\"120.0mm\" fill=\"none\" stroke=\"black\" "
      "stroke-width=\"0.5mm\"/>\n"
      "    <text x=\"2.0mm\" y=\"5.0mm\" font-family=\"sans-serif\" font-size=\"3.5mm\">Valve links</text>\n"
      "  </g>\n",
      GroupOf(Svg("DIA-LINKS"), "SYM-SVG-FRAME"));
}

TEST_F(SvgAnnotationTest, ModelElementContextDrawsTheDiagramThatPresentsIt) {
  // BLK-PUMP is shown first in the requirement diagram.
  EXPECT_EQ(Golden("DIA-REQ"), Svg("BLK-PUMP"));
  HostMonitor::Instance().Reset();
  HostMonitor::Instance().SetLogging(true);
  EXPECT_EQ(Golden("DIA-LINKS"), Svg("SYM-SVG-NOTE"));  // a presentation element: its diagram
  EXPECT_EQ(1u, HostMonitor::Instance().LogCount("InvokeAgent(@OrvServer@GetDiagramFromModelElement)"));
}

TEST_F(SvgAnnotationTest, ElementThatNoDiagramPresentsGetsNothing) {
  EXPECT_EQ("keep", Svg("REQ-004"));
  EXPECT_EQ("keep", Svg(""));  // the model's root
  EXPECT_EQ(0u, Generations());
}

TEST_F(SvgAnnotationTest, FewerThanTwoParametersDoNothing) {
  qmemu::AgentRun run = orvtest::Run(*session, "GenerateSVGWithAnnotations", "DIA-REQ", {"[]"});
  EXPECT_EQ(std::vector<std::string>{"[]"}, run.parameters);
  EXPECT_EQ(0u, HostMonitor::Instance().Count("FindEntity"));
  EXPECT_EQ(0u, Generations());
}

// ---- the cache ----

TEST_F(SvgAnnotationTest, SecondRequestWithoutRefreshDoesNotGenerateAgain) {
  const std::string first = Svg("DIA-STRUCT");
  EXPECT_EQ(1u, Generations());
  EXPECT_EQ(first, Svg("DIA-STRUCT"));
  EXPECT_EQ(first, Svg("DIA-STRUCT", "", ""));
  EXPECT_EQ(1u, Generations());
  // Each request writes the XML once.
  EXPECT_EQ(3u, HostMonitor::Instance().LogCount("InvokeAgent(@VELXMLFramework@WriteXMLToString)"));
}

TEST_F(SvgAnnotationTest, EachDiagramIsCachedOnItsOwn) {
  Svg("DIA-STRUCT");
  Svg("DIA-REQ");
  Svg("DIA-STRUCT");
  Svg("BLK-PUMP");  // DIA-REQ again
  EXPECT_EQ(2u, Generations());
}

struct RefreshRow {
  const char* flag;
  bool regenerates;
};

TEST_F(SvgAnnotationTest, OnlyALowerCaseTAtTheStartRefreshes) {
  const RefreshRow rows[] = {{"t", true},    {"true", true},  {"tx", true},  {"false", false},
                             {"", false},    {"T", false},    {"TRUE", false}, {" t", false},
                             {"yes", false}};
  const std::string golden = Golden("DIA-LINKS");
  Svg("DIA-LINKS");
  for (const RefreshRow& row : rows) {
    const std::size_t before = Generations();
    EXPECT_EQ(golden, Svg("DIA-LINKS", "", row.flag)) << row.flag;
    EXPECT_EQ(before + (row.regenerates ? 1u : 0u), Generations()) << row.flag;
  }
}

TEST_F(SvgAnnotationTest, RefreshDeletesTheCachedTree) {
  Svg("DIA-LINKS");
  const std::size_t entities = session->model().entities().size();
  Svg("DIA-LINKS", "", "true");
  // The old tree went; a tree of the same size replaced it.
  EXPECT_EQ(entities, session->model().entities().size());
  EXPECT_EQ(2u, Generations());
}

TEST_F(SvgAnnotationTest, ANewSessionStartsWithAnEmptyCache) {
  Svg("DIA-REQ");
  session.reset();  // unloads the plug-in and its cache
  session = orvtest::OpenSessionFile("examples/model.json");
  ASSERT_NE(session, nullptr);
  EXPECT_EQ(Golden("DIA-REQ"), Svg("DIA-REQ"));
  EXPECT_EQ(2u, Generations());
}

// ---- re-annotation from the client's JSON ----

const char kClientJson[] =
    R"({"objects": [{"objID": "BLK-VALVE", "relInfo": {"links": [{"to": "ext--1"}]}},)"
    R"( {"objID": "DIA-LINKS", "relInfo": [true]}, {"objID": "DEP-VALVE-SATISFY"}]})";

const char kValveGroup[] =
    "  <g metaClass=\"Symbol\" id=\"SYM-SVG-VALVE\" guid=\"BLK-VALVE\" objectType=\"Block\" desc=\"Valve\">\n";

std::string ImageGroup(const std::string& x, const std::string& y) {
  return "    <g>\n"
         "      <image type=\"ER\" x=\"" + x + "\" y=\"" + y +
         "\" width=\"3.00mm\" height=\"3.00mm\" xlink:href=\"ERIcon.gif\" visibility=\"visible\"/>\n"
         "    </g>\n";
}

// The group of `id` in the golden, with `added` inserted before its end.
std::string GoldenGroupWith(const std::string& id, const std::string& added) {
  std::string group = GroupOf(Golden("DIA-LINKS"), id);
  group.insert(group.size() - 7, added);  // before "  </g>\n"
  return group;
}

TEST_F(SvgAnnotationTest, ClientJsonOnTheFirstRequestAnnotatesTheNewTree) {
  const std::string svg = Svg("DIA-LINKS", kClientJson);
  EXPECT_EQ(GoldenGroupWith("SYM-SVG-VALVE",
                            "    <!--{\"links\": [{\"to\": \"ext\\u002D-1\"}]}-->\n" + ImageGroup("30.00mm", "30.00mm")),
            GroupOf(svg, "SYM-SVG-VALVE"));
}

TEST_F(SvgAnnotationTest, ReannotationAddsTheClientTextAndTheErImage) {
  Svg("DIA-LINKS");
  const std::string svg = Svg("DIA-LINKS", kClientJson);
  EXPECT_EQ(1u, Generations());
  // The symbol: its client text ("--" escaped) and an icon at its corner.
  EXPECT_EQ(GoldenGroupWith("SYM-SVG-VALVE",
                            "    <!--{\"links\": [{\"to\": \"ext\\u002D-1\"}]}-->\n" + ImageGroup("30.00mm", "30.00mm")),
            GroupOf(svg, "SYM-SVG-VALVE"));
  // The frame: its client text, no icon.
  EXPECT_EQ(GoldenGroupWith("SYM-SVG-FRAME", "    <!--[true]-->\n"), GroupOf(svg, "SYM-SVG-FRAME"));
  // The line: no "relInfo", so no text; the icon at 55% of the cubic curve,
  // (972.525, 441.706) with tangent (451.5, 327.375), 50 units to the left:
  // (1001.88, 401.23), truncated (1001, 401).
  EXPECT_EQ(GoldenGroupWith("LINE-SVG-SATISFY", ImageGroup("100.10mm", "40.10mm")), GroupOf(svg, "LINE-SVG-SATISFY"));
  // Elements the client did not name are as before.
  EXPECT_EQ(GroupOf(Golden("DIA-LINKS"), "SYM-SVG-REQ"), GroupOf(svg, "SYM-SVG-REQ"));
}

TEST_F(SvgAnnotationTest, NextReannotationRemovesThePreviousImageGroups) {
  Svg("DIA-LINKS");
  Svg("DIA-LINKS", kClientJson);
  const std::string svg = Svg("DIA-LINKS", R"([{"objID": "REQ-SVG-CLOSE", "relInfo": {}}])");
  // The valve keeps the client text of the earlier request (it has no
  // "nativelinks:" prefix) but loses its icon; the requirement gets one.
  EXPECT_EQ(GoldenGroupWith("SYM-SVG-VALVE", "    <!--{\"links\": [{\"to\": \"ext\\u002D-1\"}]}-->\n"),
            GroupOf(svg, "SYM-SVG-VALVE"));
  EXPECT_EQ(GoldenGroupWith("SYM-SVG-REQ", "    <!--{}-->\n" + ImageGroup("120.00mm", "30.00mm")),
            GroupOf(svg, "SYM-SVG-REQ"));
  EXPECT_EQ(GroupOf(Golden("DIA-LINKS"), "LINE-SVG-SATISFY"), GroupOf(svg, "LINE-SVG-SATISFY"));
  EXPECT_EQ(std::string::npos, svg.find("ERIcon.gif", svg.find("ERIcon.gif") + 1));  // exactly one icon
  EXPECT_EQ(1u, Generations());
}

TEST_F(SvgAnnotationTest, ClientTextThatIsNotJsonAddsNothing) {
  Svg("DIA-LINKS");
  EXPECT_EQ(Golden("DIA-LINKS"), Svg("DIA-LINKS", "{\"objID\": \"BLK-VALVE\""));
}

TEST_F(SvgAnnotationTest, RefreshDropsTheClientAnnotations) {
  Svg("DIA-LINKS", kClientJson);
  EXPECT_EQ(Golden("DIA-LINKS"), Svg("DIA-LINKS", "", "t"));
}

// ---- the customization agent on its own ----

class CustomizationAgentTest : public SvgAnnotationTest {
 protected:
  // Runs the plug-in's customization agent on `context` with `parameters`.
  void RunHook(const std::string& context, qm::AgentParameters& parameters) {
    QmAgentFunction* hook = session->plugin()->Find("GenerateSVGWithAnnotationsCustomizationAgent");
    ASSERT_NE(hook, nullptr);
    hook(nullptr, nullptr, session->model().find(context)->asEntity(), &session->model().access(), parameters);
  }
  static qmemu::ParameterValue* Interface(qm::IVelEntity* value) {
    auto* p = new qmemu::ParameterValue(qmemu::ParamKind::Interface);
    p->unknown = value;
    return p;
  }
};

TEST_F(CustomizationAgentTest, WithTwoParametersItReturnsAndCachesNothing) {
  qmemu::Entity* root = qmemu::BuildDiagramSvg(session->model(), *session->model().find("DIA-LINKS"));
  qm::AgentParameters parameters;
  parameters.push_back(Interface(root->asEntity()));
  parameters.push_back(Interface(nullptr));
  EXPECT_NO_THROW(RunHook("DIA-LINKS", parameters));
  Svg("DIA-LINKS");
  EXPECT_EQ(1u, Generations());  // nothing was cached for the diagram
}

TEST_F(CustomizationAgentTest, WithoutARootItReturns) {
  qm::AgentParameters parameters;
  parameters.push_back(Interface(nullptr));
  EXPECT_NO_THROW(RunHook("DIA-LINKS", parameters));
}

TEST_F(CustomizationAgentTest, WithItsRootItAnnotatesCachesAndInterrupts) {
  qmemu::Entity* root = qmemu::BuildDiagramSvg(session->model(), *session->model().find("DIA-LINKS"));
  qm::AgentParameters parameters;
  parameters.push_back(Interface(root->asEntity()));
  std::string thrown;
  try {
    RunHook("DIA-LINKS", parameters);
  } catch (const char* text) {
    thrown = text;
  }
  EXPECT_EQ("Interrupt.", thrown);
  // The tree it annotated is the cached one: the next request writes it.
  EXPECT_EQ(Golden("DIA-LINKS"), Svg("DIA-LINKS"));
  EXPECT_EQ(0u, Generations());
}

// ---- missing host agents ----

TEST(SvgAnnotationMissingAgentTest, EachMissingAgentLeavesTheOutputUntouched) {
  const char* const omitted[] = {"@VELDiagramAgents@GenerateSVGString", "@VELXMLFramework@WriteXMLToString",
                                 "@OrvServer@GenerateSVGWithAnnotationsCustomizationAgent"};
  for (const char* path : omitted) {
    auto session = orvtest::OpenSessionText(std::string(R"({"omit": [")") + path + R"("], "root": {"children": [
      {"guid": "BLK", "meta": "Block", "name": "B"},
      {"guid": "DIA", "meta": "Diagram", "name": "D", "children": [
        {"guid": "SYM", "meta": "Symbol", "values": {"Position": "0 0", "Size": "100 100"},
         "refs": {"ModelElement": "BLK", "Diagram": "DIA"}}]}]}})");
    ASSERT_NE(session, nullptr);
    EXPECT_EQ("keep", orvtest::Run(*session, "GenerateSVGWithAnnotations", "DIA", {"", "keep"}).parameters[1])
        << path;
    EXPECT_EQ("keep", orvtest::Run(*session, "GenerateSVGWithAnnotations", "DIA", {"", "keep"}).parameters[1])
        << path;
  }
}

TEST(SvgAnnotationMissingAgentTest, WithoutTheDiagramFinderAnElementGetsNothing) {
  auto session = orvtest::OpenSessionText(R"({"omit": ["@OrvServer@GetDiagramFromModelElement"], "root": {"children": [
      {"guid": "BLK", "meta": "Block", "name": "B"},
      {"guid": "DIA", "meta": "Diagram", "name": "D", "children": [
        {"guid": "SYM", "meta": "Symbol", "values": {"Position": "0 0", "Size": "100 100"},
         "refs": {"ModelElement": "BLK", "Diagram": "DIA"}}]}]}})");
  ASSERT_NE(session, nullptr);
  EXPECT_EQ("keep", orvtest::Run(*session, "GenerateSVGWithAnnotations", "BLK", {"", "keep"}).parameters[1]);
  EXPECT_NE("keep", orvtest::Run(*session, "GenerateSVGWithAnnotations", "DIA", {"", "keep"}).parameters[1]);
}

// ---- the written SVG as XML and as a picture ----

TEST_F(SvgAnnotationTest, WrittenSvgParsesAsXml) {
  for (const char* diagram : {"DIA-REQ", "DIA-STRUCT", "DIA-LINKS"}) {
    Svg(diagram);
    const std::string path = orvtest::TempFile(Svg(diagram, kClientJson), ".svg");
    EXPECT_EQ(0, std::system(("xmllint --noout '" + path + "'").c_str())) << diagram;
    unlink(path.c_str());
  }
}

struct MarkerSample {
  const char* what;
  int x, y;  // a point inside the triangle, in diagram units
  orvtest::Rgb colour;
};

// Renders at 254 dpi, where one pixel is one diagram unit (0.1 mm), and
// samples each triangle well inside its 16 x 16 box: a right-pointing one at
// (box + 4, box + 8), a left-pointing one at (box + 12, box + 8).
TEST_F(SvgAnnotationTest, RenderedMarkersShowTheirColoursAtTheComputedSlots) {
  const orvtest::Rgb red{155, 0, 105}, yellow{240, 170, 0}, blue{0, 0, 255}, white{255, 255, 255};
  const orvtest::Rgb symbolFill{255, 255, 225};
  const MarkerSample samples[] = {
      {"valve _redlink at (668, 305)", 672, 313, red},
      {"valve _yellowlink at (668, 321)", 680, 329, yellow},
      {"valve _obluelink at (684, 305)", 688, 313, blue},
      {"valve has no _ibluelink at (684, 321)", 696, 329, symbolFill},
      {"requirement _yellowlink at (1668, 321)", 1680, 329, yellow},
      {"requirement _ibluelink at (1684, 321)", 1696, 329, blue},
      {"actuator _redlink at (668, 855)", 672, 863, red},
      {"satisfy line _obluelink at (972, 367)", 976, 375, blue},
      {"frame has no marker at its top-right corner (1968, 5)", 1972, 13, white},
  };
  const std::string svg = orvtest::TempFile(Svg("DIA-LINKS"), ".svg");
  const std::string png = svg + ".png";
  ASSERT_EQ(0, std::system(("rsvg-convert --dpi-x 254 --dpi-y 254 -f png -o '" + png + "' '" + svg + "'").c_str()));
  orvtest::Picture picture;
  std::string error;
  ASSERT_TRUE(orvtest::DecodePng(orvtest::ReadFile(png), picture, error)) << error;
  unlink(svg.c_str());
  unlink(png.c_str());
  ASSERT_EQ(2000u, picture.width);
  ASSERT_EQ(1200u, picture.height);
  for (const MarkerSample& s : samples) {
    const orvtest::Rgb c = picture.At(static_cast<std::uint32_t>(s.x), static_cast<std::uint32_t>(s.y));
    EXPECT_NEAR(s.colour.r, c.r, 2) << s.what;
    EXPECT_NEAR(s.colour.g, c.g, 2) << s.what;
    EXPECT_NEAR(s.colour.b, c.b, 2) << s.what;
  }
}

// ---- through the command-line tool ----

TEST(SvgAnnotationCliTest, PrintsTheSvgByteForByte) {
  auto r = orvtest::RunHost("--context DIA-LINKS --print 2 examples/model.json GenerateSVGWithAnnotations '' ''");
  EXPECT_EQ(0, r.status) << r.err;
  EXPECT_EQ(Golden("DIA-LINKS"), r.out);
}

}  // namespace
