// Tests of the two traversals on SVG trees written in the emulated host's
// shape. Expected bytes are the host's compact XML of the annotated
// elements, derived by hand from the annotation rules.
#include "SVGCustomization/SvgTraversal.h"

#include <initializer_list>
#include <memory>
#include <new>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "JasonParser/JasonParser.h"
#include "SVGCustomization/SvgCache.h"
#include "SVGCustomization/SvgElements.h"
#include "emulator/HostMonitor.h"
#include "testing/AllocationFaults.h"
#include "testing/Stacks.h"
#include "emulator/ModelFile.h"
#include "emulator/SvgTree.h"

namespace {

using qmemu::Entity;
using qmemu::HostMonitor;
using qmemu::Model;

// BLK-ALL has links of all four kinds; DEP-HYPER only an outgoing hyperlink
// (whose name holds "--"); the diagram DIA has a hyperlink of its own.
const char* const kModel = R"({
  "root": {"guid": "ROOT", "name": "Root", "children": [
    {"guid": "PKG", "meta": "Package", "name": "Pkg", "children": [
      {"guid": "REQ-A", "meta": "Requirement", "name": "Req A"},
      {"guid": "BLK-ALL", "meta": "Block", "name": "All",
       "children": [{"guid": "DEP-SAT", "meta": "Dependency", "in": "ClientDependency",
                     "refs": {"Supplier": "REQ-A"}, "stereotypes": [{"apply": "@Predefined@satisfy"}]}],
       "stereotypes": [{"apply": "@VELLinks@HYPERLINK", "tags": {"URL": "https://e.org/all", "name": "Doc"}}]},
      {"guid": "BLK-B", "meta": "Block", "name": "B",
       "children": [{"guid": "DEP-TRACE", "meta": "Dependency", "in": "ClientDependency",
                     "refs": {"Supplier": "BLK-ALL"}, "stereotypes": [{"apply": "@Predefined@trace"}]}],
       "stereotypes": [{"apply": "@VELLinks@HYPERLINK", "tags": {"URL": "vorn:qm:BLK-ALL", "name": "To all"}}]},
      {"guid": "DEP-HYPER", "meta": "Dependency",
       "stereotypes": [{"apply": "@VELLinks@HYPERLINK", "tags": {"URL": "https://e.org/x", "name": "a--b"}}]},
      {"guid": "CMT", "meta": "Comment", "name": "Note"},
      {"guid": "DIA", "meta": "Diagram", "name": "Overview",
       "stereotypes": [{"apply": "@VELLinks@HYPERLINK", "tags": {"URL": "https://e.org/d", "name": "D"}}],
       "children": [
        {"guid": "FRAME", "meta": "FrameSymbol", "values": {"Position": "0 0", "Size": "3000 2000"},
         "refs": {"ModelElement": "PKG", "Diagram": "DIA"}},
        {"guid": "SYM-ALL", "meta": "Symbol", "values": {"Position": "1000 500", "Size": "300 200"},
         "refs": {"ModelElement": "BLK-ALL", "Diagram": "DIA"}},
        {"guid": "SYM-CMT", "meta": "Symbol", "values": {"Position": "100 100", "Size": "200 100"},
         "refs": {"ModelElement": "CMT", "Diagram": "DIA"}},
        {"guid": "SYM-NOME", "meta": "Symbol", "refs": {"Diagram": "DIA"}},
        {"guid": "FRAME-NOME", "meta": "FrameSymbol", "refs": {"Diagram": "DIA"}},
        {"guid": "LINE-H", "meta": "Line", "values": {"SegmentPoints": "0 0 1000 0"},
         "refs": {"ModelElement": "DEP-HYPER", "Diagram": "DIA"}},
        {"guid": "LINE-CURVE", "meta": "Line", "values": {"SegmentPoints": "0 0 500 1000 1000 0"},
         "refs": {"ModelElement": "DEP-HYPER", "Diagram": "DIA"},
         "stereotypes": [{"apply": "@VELLineStyles@automaticLineStyle", "tags": {"shape": {"ident": "Bezier"}}}]},
        {"guid": "PRES-OTHER", "meta": "PresentationElement", "refs": {"ModelElement": "DEP-HYPER", "Diagram": "DIA"}}
      ]},
      {"guid": "DIA-NONAME", "meta": "Diagram", "name": "", "children": [
        {"guid": "SYM-CMT2", "meta": "Symbol", "refs": {"ModelElement": "CMT", "Diagram": "DIA-NONAME"}}]},
      {"guid": "SYM-LOOSE", "meta": "Symbol", "refs": {"ModelElement": "CMT"}},
      {"guid": "FRAME-LOOSE", "meta": "FrameSymbol", "refs": {"ModelElement": "PKG"}}
    ]}
  ]}
})";

// Joins lines with "\r\n", the pretty JSON layout's line break.
std::string JsonLines(std::initializer_list<const char*> lines) {
  std::string text;
  for (const char* line : lines) text += (text.empty() ? "" : "\r\n") + std::string(line);
  return text;
}

// DEP-HYPER's link information, with its "--" escaped.
const std::string kHyperJson = JsonLines({
    "[ ",
    "    { ",
    "        \"linkTypeId\" : \"ORV_OUTGOING_HYPERLINKS\", ",
    "        \"links\" : ",
    "            [ ",
    "                { ",
    "                    \"hyperlinkName\" : \"a\\u002D-b\", ",
    "                    \"hyperlinkURL\" : \"https://e.org/x\"",
    "                }",
    "            ]",
    "    }",
    "]",
});

// The diagram's own link information.
const std::string kDiagramJson = JsonLines({
    "[ ",
    "    { ",
    "        \"linkTypeId\" : \"ORV_OUTGOING_HYPERLINKS\", ",
    "        \"links\" : ",
    "            [ ",
    "                { ",
    "                    \"hyperlinkName\" : \"D\", ",
    "                    \"hyperlinkURL\" : \"https://e.org/d\"",
    "                }",
    "            ]",
    "    }",
    "]",
});

// The compact XML of a marker group: triangle `points` in the box at (x, y),
// drawn in `fill`, with id `id`; x and y in the "use" are the box corner in mm.
std::string Marker(const std::string& id, const std::string& viewBox, const std::string& points,
                   const std::string& fill, const std::string& x, const std::string& y) {
  return "<g><symbol id=\"" + id + "\" viewBox=\"" + viewBox + "\" preserveAspectRatio=\"none\"><polygon points=\"" +
         points + "\" stroke-width=\"0.0mm\" fill=\"" + fill + "\"/></symbol><use xlink:href=\"#" + id + "\" x=\"" +
         x + "\" y=\"" + y + "\" width=\"1.60mm\" height=\"1.60mm\"/></g>";
}

std::string Image(const std::string& x, const std::string& y) {
  return "<g><image type=\"ER\" x=\"" + x + "\" y=\"" + y +
         "\" width=\"3.00mm\" height=\"3.00mm\" xlink:href=\"ERIcon.gif\" visibility=\"visible\"/></g>";
}

class SvgTraversalTest : public ::testing::Test {
 protected:
  void SetUp() override {
    HostMonitor::Instance().Reset();
    g_strJasonText.clear();
    std::string error;
    model = qmemu::LoadModelText(kModel, "traversal.json", error);
    ASSERT_NE(model, nullptr) << error;
    root = qmemu::AddSvgElement(*model, nullptr, "svg", true);
  }
  void TearDown() override {
    HostMonitor::Instance().Reset();
    g_strJasonText.clear();
  }

  // Appends a group with the given "metaClass" and "id" attributes (an empty
  // text leaves the attribute out) to `parent` (default: the root).
  Entity* Group(const std::string& metaClass, const std::string& id, Entity* parent = nullptr) {
    Entity* group = qmemu::AddSvgElement(*model, parent == nullptr ? root : parent, "g");
    if (!metaClass.empty()) qmemu::AddSvgAttribute(*model, *group, "metaClass", metaClass);
    if (!id.empty()) qmemu::AddSvgAttribute(*model, *group, "id", id);
    return group;
  }
  void Traverse() { TraverseSVGTree(root->asEntity(), model.get()); }
  // Re-annotates from `json` (kept in g_strJasonText, as the agents do).
  void Reannotate(const std::string& json, bool removeImages) {
    g_strJasonText = json;
    CJasonParser parser;
    std::unique_ptr<CJasonTreeRoot> tree(parser.ParseJasonText(g_strJasonText));
    CJasonElementFinder finder;
    if (tree != nullptr) finder.Visit(tree.get());
    TraverseSVGTreeER(root->asEntity(), model.get(), finder, removeImages);
  }
  static std::string Xml(const Entity* element) { return qmemu::WriteSvgXml(*element, true); }

  std::unique_ptr<Model> model;
  Entity* root = nullptr;
};

// ---- first annotation ----

TEST_F(SvgTraversalTest, SymbolWithAllFourFlagsGetsTheFourMarkersAtTheirSlots) {
  Entity* group = Group("Symbol", "SYM-ALL");
  Traverse();
  const std::vector<Entity*>& items = group->list("Expression");
  ASSERT_EQ(10u, items.size());  // metaClass, id, guid, objectType, desc, nativelinks, four markers
  EXPECT_EQ("BLK-ALL", qmemu::SvgAttribute(*group, "guid"));
  EXPECT_EQ("Block", qmemu::SvgAttribute(*group, "objectType"));
  EXPECT_EQ("All", qmemu::SvgAttribute(*group, "desc"));
  EXPECT_EQ("InformalExpr", items[5]->meta());
  EXPECT_EQ(Marker("SYM-ALL_redlink", "1268 505 16 16", "1268,505 1284,513 1268,521", "rgb(155,0,105)", "126.80mm",
                   "50.50mm"),
            Xml(items[6]));
  EXPECT_EQ(Marker("SYM-ALL_yellowlink", "1268 521 16 16", "1268,529 1284,521 1284,537", "rgb(240,170,0)",
                   "126.80mm", "52.10mm"),
            Xml(items[7]));
  EXPECT_EQ(Marker("SYM-ALL_obluelink", "1284 505 16 16", "1284,505 1300,513 1284,521", "rgb(0,0,255)", "128.40mm",
                   "50.50mm"),
            Xml(items[8]));
  EXPECT_EQ(Marker("SYM-ALL_ibluelink", "1284 521 16 16", "1284,529 1300,521 1300,537", "rgb(0,0,255)", "128.40mm",
                   "52.10mm"),
            Xml(items[9]));
}

TEST_F(SvgTraversalTest, AttributesComeBeforeTheLinkTextAndTheMarkers) {
  Entity* group = Group("Line", "LINE-H");
  Traverse();
  EXPECT_EQ("<g metaClass=\"Line\" id=\"LINE-H\" guid=\"DEP-HYPER\" objectType=\"Dependency\" "
            "desc=\"Line (Overview)\"><!--nativelinks:" +
                kHyperJson + "-->" +
                Marker("LINE-H_obluelink", "465 -50 16 16", "465,-50 481,-42 465,-34", "rgb(0,0,255)", "46.50mm",
                       "-5.00mm") +
                "</g>",
            Xml(group));
}

TEST_F(SvgTraversalTest, LineMarkersSitAt45PercentFiveMillimetresToTheLeft) {
  // The line runs right from (0, 0) to (1000, 0) and its left is up. 45% of
  // the way is u = 1.0 - (1000 - 450) / 1000 = 0.44999999999999996 in
  // doubles, so x = 449.99999999999994, truncated 449: Q1 = (449, -50) and
  // the outgoing-hyperlink slot Q3 = (465, -50).
  Entity* group = Group("Line", "LINE-H");
  Traverse();
  const Entity* symbol = group->list("Expression").back()->list("Expression")[0];
  EXPECT_EQ("465,-50 481,-42 465,-34", qmemu::SvgAttribute(*symbol->list("Expression").back(), "points"));
}

TEST_F(SvgTraversalTest, CurvedLineMarkersFollowTheBezierCurve) {
  // Quadratic curve (0,0) (500,1000) (1000,0) at t = 0.45: (450, 495), tangent
  // (1000, 200), unit normal (0.1961, -0.9806); 50 units along it give
  // (459.8, 445.97), truncated (459, 445); Q3 = (475, 445).
  Entity* group = Group("Line", "LINE-CURVE");
  Traverse();
  EXPECT_EQ(Marker("LINE-CURVE_obluelink", "475 445 16 16", "475,445 491,453 475,461", "rgb(0,0,255)", "47.50mm",
                   "44.50mm"),
            Xml(group->list("Expression").back()));
}

TEST_F(SvgTraversalTest, OtherPresentationKindPutsMarkersAtTheOrigin) {
  Entity* group = Group("Symbol", "PRES-OTHER");
  Traverse();
  // Neither a symbol nor a line: all four slots are (0, 0).
  EXPECT_EQ(Marker("PRES-OTHER_obluelink", "0 0 16 16", "0,0 16,8 0,16", "rgb(0,0,255)", "0.00mm", "0.00mm"),
            Xml(group->list("Expression").back()));
}

TEST_F(SvgTraversalTest, FrameGetsDiagramAttributesAndLinkTextButNoMarkers) {
  Entity* group = Group("Symbol", "FRAME");
  Traverse();
  EXPECT_EQ("<g metaClass=\"Symbol\" id=\"FRAME\" guid=\"DIA\" objectType=\"Diagram\" desc=\"Overview\">"
            "<!--nativelinks:" +
                kDiagramJson + "--></g>",
            Xml(group));
}

TEST_F(SvgTraversalTest, FrameWithoutDiagramIsAnOrdinarySymbol) {
  Entity* group = Group("Symbol", "FRAME-LOOSE");
  Traverse();
  EXPECT_EQ("<g metaClass=\"Symbol\" id=\"FRAME-LOOSE\" guid=\"PKG\" objectType=\"Package\" desc=\"Pkg\"/>", Xml(group));
}

struct DescRow {
  const char* id;
  const char* desc;
};

TEST_F(SvgTraversalTest, DescriptionTable) {
  const DescRow rows[] = {
      {"FRAME", "Overview"},              // a frame: the diagram's name
      {"SYM-ALL", "All"},                 // a definition: its name
      {"SYM-CMT", "Symbol (Overview)"},   // else the presentation's meta class and diagram
      {"LINE-H", "Line (Overview)"},
      {"SYM-CMT2", "Symbol"},             // the diagram's name is empty
      {"SYM-LOOSE", "Symbol"},            // no diagram
  };
  for (const DescRow& row : rows) {
    Entity* group = Group("Symbol", row.id);
    Traverse();
    EXPECT_EQ(row.desc, qmemu::SvgAttribute(*group, "desc")) << row.id;
    root->DeleteEntity(qmdll::defaultChanger);  // not the model root: an unattached tree
    root = qmemu::AddSvgElement(*model, nullptr, "svg", true);
  }
}

TEST_F(SvgTraversalTest, ElementWithoutLinksGetsOnlyTheThreeAttributes) {
  Entity* group = Group("Symbol", "SYM-CMT");
  Traverse();
  EXPECT_EQ("<g metaClass=\"Symbol\" id=\"SYM-CMT\" guid=\"CMT\" objectType=\"Comment\" desc=\"Symbol (Overview)\"/>",
            Xml(group));
}

TEST_F(SvgTraversalTest, MarkedElementWithoutIdIsUnchangedButItsChildrenAreTraversed) {
  Entity* outer = Group("Symbol", "");
  Entity* inner = Group("Symbol", "SYM-CMT", outer);
  Traverse();
  EXPECT_EQ("<g metaClass=\"Symbol\"><g metaClass=\"Symbol\" id=\"SYM-CMT\" guid=\"CMT\" objectType=\"Comment\" "
            "desc=\"Symbol (Overview)\"/></g>",
            Xml(outer));
  EXPECT_EQ(5u, inner->list("Expression").size());
}

TEST_F(SvgTraversalTest, MarkedElementWhoseIdNamesNoEntityIsUnchangedButItsChildrenAreTraversed) {
  Entity* outer = Group("Line", "NO-SUCH-ENTITY");
  Group("Symbol", "SYM-CMT", outer);
  Traverse();
  EXPECT_EQ(2u + 1u, outer->list("Expression").size());  // its two attributes and the inner group
  EXPECT_EQ("CMT", qmemu::SvgAttribute(*outer->list("Expression")[2], "guid"));
}

TEST_F(SvgTraversalTest, PresentationWithoutModelElementIsUnchanged) {
  Entity* symbol = Group("Symbol", "SYM-NOME");
  Entity* frame = Group("Symbol", "FRAME-NOME");  // a frame needs a model element too
  Traverse();
  EXPECT_EQ("<g metaClass=\"Symbol\" id=\"SYM-NOME\"/>", Xml(symbol));
  EXPECT_EQ("<g metaClass=\"Symbol\" id=\"FRAME-NOME\"/>", Xml(frame));
}

TEST_F(SvgTraversalTest, OnlySymbolAndLineMark) {
  Entity* a = Group("Diagram", "SYM-CMT");
  Entity* b = Group("symbol", "SYM-CMT");
  Entity* c = Group("", "SYM-CMT");
  Traverse();
  EXPECT_EQ(2u, a->list("Expression").size());
  EXPECT_EQ(2u, b->list("Expression").size());
  EXPECT_EQ(1u, c->list("Expression").size());
}

TEST_F(SvgTraversalTest, LastIdWinsAndAttributeOrderDoesNotMatter) {
  Entity* group = qmemu::AddSvgElement(*model, root, "g");
  qmemu::AddSvgAttribute(*model, *group, "id", "NO-SUCH-ENTITY");
  qmemu::AddSvgAttribute(*model, *group, "id", "SYM-CMT");
  qmemu::AddSvgAttribute(*model, *group, "metaClass", "Symbol");
  Traverse();
  EXPECT_EQ("CMT", qmemu::SvgAttribute(*group, "guid"));
}

TEST_F(SvgTraversalTest, ItemsThatAreNotAttributesAreIgnored) {
  // A "BinaryExpr" whose right operand is not a string, and text content.
  Entity* group = qmemu::AddSvgElement(*model, root, "g");
  Entity* odd = model->create("BinaryExpr", "", group);
  Entity* name = model->create("Ident", "", odd);
  name->setValue("Name", "metaClass");
  Entity* value = model->create("Ident", "", odd);
  value->setValue("Name", "Symbol");
  odd->setReference("LeftOperand", name);
  odd->setReference("RightOperand", value);
  group->append("Expression", odd);
  qmemu::AddSvgText(*model, *group, "Symbol");
  qmemu::AddSvgAttribute(*model, *group, "id", "SYM-CMT");
  Traverse();
  EXPECT_EQ(3u, group->list("Expression").size());
}

TEST_F(SvgTraversalTest, NullOrNonElementIsIgnored) {
  Group("Symbol", "SYM-CMT");
  TraverseSVGTree(nullptr, model.get());
  TraverseSVGTree(root->asEntity(), nullptr);
  TraverseSVGTree(model->find("CMT")->asEntity(), model.get());
  EXPECT_EQ(0u, HostMonitor::Instance().Count("CreateEntity"));
}

TEST_F(SvgTraversalTest, MarkerThatCannotBeMadeIsLeftOut) {
  Entity* group = Group("Symbol", "SYM-ALL");
  // 3 attributes x 4 entities and the link text's 2 come first: the 15th
  // creation is the first entity of the "_redlink" group.
  HostMonitor::Instance().FailCreateEntity(15);
  Traverse();
  const std::vector<Entity*>& items = group->list("Expression");
  ASSERT_EQ(9u, items.size());
  EXPECT_EQ("SYM-ALL_yellowlink", qmemu::SvgAttribute(*items[6]->list("Expression")[0], "id"));
  EXPECT_EQ("SYM-ALL_obluelink", qmemu::SvgAttribute(*items[7]->list("Expression")[0], "id"));
  EXPECT_EQ("SYM-ALL_ibluelink", qmemu::SvgAttribute(*items[8]->list("Expression")[0], "id"));
}

TEST_F(SvgTraversalTest, AttributeThatCannotBeMadeIsLeftOut) {
  Entity* group = Group("Symbol", "SYM-CMT");
  HostMonitor::Instance().FailCreateEntity(5);  // the "objectType" BinaryExpr
  Traverse();
  EXPECT_EQ("<g metaClass=\"Symbol\" id=\"SYM-CMT\" guid=\"CMT\" desc=\"Symbol (Overview)\"/>", Xml(group));
}

// ---- re-annotation ----

const char* const kClientJson =
    R"([{"objID":"BLK-ALL","relInfo":{"ext":"x--y"}},{"objID":"DEP-HYPER"},{"objID":"DIA","relInfo":[1, 2]}])";

TEST_F(SvgTraversalTest, FoundSymbolGetsItsClientTextAndAnImageAtItsCorner) {
  Entity* group = Group("Symbol", "SYM-ALL");
  Reannotate(kClientJson, false);
  EXPECT_EQ("<g metaClass=\"Symbol\" id=\"SYM-ALL\"><!--{\"ext\":\"x\\u002D-y\"}-->" +
                Image("100.00mm", "50.00mm") + "</g>",
            Xml(group));
}

TEST_F(SvgTraversalTest, ObjectWithoutRelInfoGetsNoTextButAnImage) {
  // LINE-H: 55% of (0,0)-(1000,0) is (550, 0), 50 units up: (550, -50).
  Entity* group = Group("Line", "LINE-H");
  Reannotate(kClientJson, false);
  EXPECT_EQ("<g metaClass=\"Line\" id=\"LINE-H\">" + Image("55.00mm", "-5.00mm") + "</g>", Xml(group));
}

TEST_F(SvgTraversalTest, FoundFrameGetsItsClientTextButNoImage) {
  Entity* group = Group("Symbol", "FRAME");
  Reannotate(kClientJson, false);
  EXPECT_EQ("<g metaClass=\"Symbol\" id=\"FRAME\"><!--[1, 2]--></g>", Xml(group));
}

TEST_F(SvgTraversalTest, ElementTheClientDidNotNameIsLeftAlone) {
  Entity* group = Group("Symbol", "SYM-CMT");
  Reannotate(kClientJson, false);
  EXPECT_EQ("<g metaClass=\"Symbol\" id=\"SYM-CMT\"/>", Xml(group));
}

TEST_F(SvgTraversalTest, TextThatIsNotJsonAnnotatesNothing) {
  Entity* group = Group("Symbol", "SYM-ALL");
  Reannotate("not json", true);
  Reannotate("", true);
  EXPECT_EQ("<g metaClass=\"Symbol\" id=\"SYM-ALL\"/>", Xml(group));
}

TEST_F(SvgTraversalTest, LinkTextOfTheFirstAnnotationIsDeletedWhateverTheFlag) {
  for (bool removeImages : {false, true}) {
    Entity* group = Group("Line", "LINE-H");
    Traverse();
    ASSERT_EQ("InformalExpr", group->list("Expression")[5]->meta());
    Reannotate("[]", removeImages);
    EXPECT_EQ("<g metaClass=\"Line\" id=\"LINE-H\" guid=\"DEP-HYPER\" objectType=\"Dependency\" "
              "desc=\"Line (Overview)\">" +
                  Marker("LINE-H_obluelink", "465 -50 16 16", "465,-50 481,-42 465,-34", "rgb(0,0,255)", "46.50mm",
                         "-5.00mm") +
                  "</g>",
              Xml(group))
        << removeImages;
    group->DeleteEntity(qmdll::defaultChanger);
  }
}

TEST_F(SvgTraversalTest, OnlyTextBeginningWithTheLinkPrefixIsDeleted) {
  Entity* group = Group("g", "");
  for (const char* text : {"nativelinks:", "nativelinks:[]", "nativelinks", "Nativelinks:x", " nativelinks:x", ""}) {
    qmemu::AddSvgCharacterData(*model, *group, text);
  }
  Reannotate("[]", false);
  EXPECT_EQ("<g metaClass=\"g\"><!--nativelinks--><!--Nativelinks:x--><!-- nativelinks:x--><!----></g>", Xml(group));
}

TEST_F(SvgTraversalTest, ReannotationOfACachedTreeReplacesTheImageGroup) {
  Entity* group = Group("Symbol", "SYM-ALL");
  Reannotate(kClientJson, true);
  Reannotate(kClientJson, true);
  // The client's text has no prefix and stays; the earlier icon group goes.
  EXPECT_EQ("<g metaClass=\"Symbol\" id=\"SYM-ALL\"><!--{\"ext\":\"x\\u002D-y\"}--><!--{\"ext\":\"x\\u002D-y\"}-->" +
                Image("100.00mm", "50.00mm") + "</g>",
            Xml(group));
}

TEST_F(SvgTraversalTest, FirstReannotationKeepsEarlierImageGroups) {
  Entity* group = Group("Symbol", "SYM-ALL");
  Reannotate(R"([{"objID":"BLK-ALL"}])", false);
  Reannotate(R"([{"objID":"BLK-ALL"}])", false);
  EXPECT_EQ("<g metaClass=\"Symbol\" id=\"SYM-ALL\">" + Image("100.00mm", "50.00mm") + Image("100.00mm", "50.00mm") +
                "</g>",
            Xml(group));
}

TEST_F(SvgTraversalTest, ElementHoldingAnImageIsDeletedWithItsSubtree) {
  Entity* group = Group("g", "");
  Entity* icon = qmemu::AddSvgElement(*model, group, "g");
  qmemu::AddSvgAttribute(*model, *icon, "kept", "no");
  qmemu::AddSvgElement(*model, icon, "rect");
  qmemu::AddSvgElement(*model, icon, "image");
  const std::string iconGuid = icon->guid();
  Reannotate("[]", true);
  EXPECT_EQ(nullptr, model->find(iconGuid));
  EXPECT_EQ("<g metaClass=\"g\"/>", Xml(group));
}

TEST_F(SvgTraversalTest, UnboundImageNameDoesNotCount) {
  Entity* group = Group("g", "");
  Entity* icon = qmemu::AddSvgElement(*model, group, "g");
  qmemu::AddSvgElement(*model, icon, "image", true);  // "ref:image": GetEntity answers null
  Reannotate("[]", true);
  EXPECT_EQ("<g metaClass=\"g\"><g><image/></g></g>", Xml(group));
}

TEST_F(SvgTraversalTest, RootHoldingAnImageIsReportedDeleted) {
  qmemu::AddSvgElement(*model, root, "image");
  const std::string rootGuid = root->guid();
  CJasonElementFinder finder;
  EXPECT_TRUE(ReannotateSVGTree(root->asEntity(), model.get(), finder, true));
  EXPECT_EQ(nullptr, model->find(rootGuid));
  root = qmemu::AddSvgElement(*model, nullptr, "svg", true);
  qmemu::AddSvgElement(*model, root, "image");
  EXPECT_FALSE(ReannotateSVGTree(root->asEntity(), model.get(), finder, false));
}

TEST_F(SvgTraversalTest, ClientTextOutsideTheIndexedTextIsEmpty) {
  // The finder indexed a longer text than g_strJasonText now holds.
  Entity* group = Group("Symbol", "FRAME");
  std::string json = R"([{"objID":"DIA","relInfo":"abcdefghijklmnopqrstuvwxyz"}])";
  CJasonParser parser;
  std::unique_ptr<CJasonTreeRoot> tree(parser.ParseJasonText(json));
  ASSERT_NE(tree, nullptr);
  CJasonElementFinder finder;
  finder.Visit(tree.get());
  g_strJasonText = "[]";
  TraverseSVGTreeER(root->asEntity(), model.get(), finder, false);
  EXPECT_EQ("<g metaClass=\"Symbol\" id=\"FRAME\"><!----></g>", Xml(group));
}

// ---- depth and cycles: deep trees on any stack, and cyclic "Expression" lists ----

// The first annotation of the frame group (see FrameGetsDiagramAttributes...).
std::string AnnotatedFrame() {
  return "<g metaClass=\"Symbol\" id=\"FRAME\" guid=\"DIA\" objectType=\"Diagram\" desc=\"Overview\">"
         "<!--nativelinks:" +
         kDiagramJson + "--></g>";
}

// The root holds, in order: the frame group, a group for SYM-ALL whose one
// child group lists the SYM-ALL group again (a cycle), and a group for
// SYM-CMT after the cycle.
struct CyclicTree {
  Entity* before;
  Entity* cyclic;
  Entity* inner;
  Entity* after;
};

class SvgDepthTest : public SvgTraversalTest {
 protected:
  CyclicTree MakeCycle() {
    CyclicTree tree{};
    tree.before = Group("Symbol", "FRAME");
    tree.cyclic = Group("Symbol", "SYM-ALL");
    tree.inner = Group("", "", tree.cyclic);
    tree.inner->append("Expression", tree.cyclic);
    tree.after = Group("Symbol", "SYM-CMT");
    return tree;
  }

  // A chain of `levels` groups below the root, the innermost of them marked
  // for SYM-CMT and holding a "boundaryrect"; returns the innermost.
  Entity* MakeChain(int levels) {
    Entity* parent = root;
    for (int i = 1; i < levels; ++i) parent = Group("", "", parent);
    Entity* innermost = Group("Symbol", "SYM-CMT", parent);
    qmemu::AddSvgElement(*model, innermost, "boundaryrect");
    return innermost;
  }

  // Runs the three walks over a fresh chain of `levels` on `stack`; answers
  // the innermost group as XML after each walk. The client's JSON is parsed
  // beforehand, on the test's own stack.
  std::vector<std::string> WalkChainOn(const orvtest::StackKind& stack, int levels) {
    SetUp();
    Entity* innermost = MakeChain(levels);
    g_strJasonText = R"([{"objID":"CMT","relInfo":3}])";
    CJasonParser parser;
    std::unique_ptr<CJasonTreeRoot> tree(parser.ParseJasonText(g_strJasonText));
    CJasonElementFinder finder;
    if (tree != nullptr) finder.Visit(tree.get());
    std::vector<std::string> xml;
    const bool ran = orvtest::RunOnStack(stack, [&] {
      RemoveBoundaryrectElements(root->asEntity());
      xml.push_back(Xml(innermost));
      Traverse();
      xml.push_back(Xml(innermost));
      TraverseSVGTreeER(root->asEntity(), model.get(), finder, true);
      xml.push_back(Xml(innermost));
    });
    EXPECT_TRUE(ran) << stack.name;
    return xml;
  }
};

TEST_F(SvgDepthTest, CyclicExpressionListEndsTheFirstAnnotation) {
  const CyclicTree tree = MakeCycle();
  Traverse();
  EXPECT_EQ(AnnotatedFrame(), Xml(tree.before));  // annotated before the walk met the cycle
  // The elements on the cycle were not walked to the end: not annotated.
  EXPECT_EQ(3u, tree.cyclic->list("Expression").size());  // metaClass, id, the inner group
  EXPECT_EQ(1u, tree.inner->list("Expression").size());
  // Nothing after the place where the walk met the cycle is visited.
  EXPECT_EQ("<g metaClass=\"Symbol\" id=\"SYM-CMT\"/>", Xml(tree.after));
}

TEST_F(SvgDepthTest, CyclicExpressionListEndsTheReannotation) {
  for (bool removeImages : {false, true}) {
    const CyclicTree tree = MakeCycle();
    Reannotate(R"([{"objID":"DIA","relInfo":1},{"objID":"BLK-ALL","relInfo":2},{"objID":"CMT","relInfo":3}])",
               removeImages);
    EXPECT_EQ("<g metaClass=\"Symbol\" id=\"FRAME\"><!--1--></g>", Xml(tree.before)) << removeImages;
    EXPECT_EQ(3u, tree.cyclic->list("Expression").size()) << removeImages;
    EXPECT_EQ("<g metaClass=\"Symbol\" id=\"SYM-CMT\"/>", Xml(tree.after)) << removeImages;
    for (Entity* group : {tree.before, tree.cyclic, tree.after}) group->DeleteEntity(qmdll::defaultChanger);
  }
}

TEST_F(SvgDepthTest, CyclicExpressionListEndsTheBoundaryrectRemoval) {
  Entity* first = qmemu::AddSvgElement(*model, root, "boundaryrect");
  const CyclicTree tree = MakeCycle();
  Entity* last = qmemu::AddSvgElement(*model, root, "boundaryrect");
  const std::string firstGuid = first->guid();
  const std::string lastGuid = last->guid();
  EXPECT_FALSE(RemoveBoundaryrectElements(root->asEntity()));
  EXPECT_EQ(nullptr, model->find(firstGuid));  // removed before the walk met the cycle
  EXPECT_EQ(last, model->find(lastGuid));      // not visited
  EXPECT_EQ(3u, tree.cyclic->list("Expression").size());
}

TEST_F(SvgDepthTest, HundredThousandLevelsAreWalkedOnEveryStack) {
  // SYM-CMT shows the comment CMT (no links; no definition, so "desc" is
  // the presentation's meta class and its diagram's name); the client's
  // JSON gives it the comment "3" and the icon at its position (100, 100).
  const std::string annotated =
      "<g metaClass=\"Symbol\" id=\"SYM-CMT\" guid=\"CMT\" objectType=\"Comment\" desc=\"Symbol (Overview)\"";
  const std::vector<std::string> expected = {
      "<g metaClass=\"Symbol\" id=\"SYM-CMT\"/>",  // its boundaryrect removed
      annotated + "/>",
      annotated + "><!--3-->" + Image("10.00mm", "10.00mm") + "</g>",
  };
  for (const orvtest::StackKind& stack : orvtest::EveryStack()) {
    EXPECT_EQ(expected, WalkChainOn(stack, 100000)) << stack.name;
  }
}

// The emulated host's million elements take about 1.5 GB in a plain build;
// sanitizer builds keep several times that in shadow memory and quarantine.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kSanitizerMemory = true;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
constexpr bool kSanitizerMemory = true;
#else
constexpr bool kSanitizerMemory = false;
#endif
#else
constexpr bool kSanitizerMemory = false;
#endif

TEST_F(SvgDepthTest, MillionLevelsAreAnnotatedOnASmallThread) {
  if (kSanitizerMemory) GTEST_SKIP() << "a million host elements need more memory than a sanitizer build has here";
  Entity* innermost = MakeChain(1000000);
  bool ran = orvtest::RunOnStack(orvtest::EveryStack()[2], [&] { Traverse(); });
  ASSERT_TRUE(ran);
  EXPECT_EQ("CMT", qmemu::SvgAttribute(*innermost, "guid"));
}

TEST_F(SvgDepthTest, AllocationFailureEndsAWalkWithBadAllocAndNeverHalfWay) {
  // A chain whose innermost group names no presentation element: the walks
  // change nothing, so every run walks the same tree, and a walk that got
  // to the end asked the host for that id once.
  Entity* parent = root;
  for (int i = 0; i < 3; ++i) parent = Group("", "", parent);
  Group("Symbol", "NO-SUCH", parent);
  CJasonElementFinder nothing;
  bool threw = false;
  long endedQuietly = 0;
  const long runs = orvtest::SweepAllocationFailures(
      [&] {
        const std::size_t lookups = HostMonitor::Instance().Count("FindEntity");
        threw = false;
        try {
          RemoveBoundaryrectElements(root->asEntity());
          TraverseSVGTree(root->asEntity(), model.get());
          TraverseSVGTreeER(root->asEntity(), model.get(), nothing, true);
        } catch (const std::bad_alloc&) {
          threw = true;  // the work stack's or the host's allocation failed; it passes through
        }
        const std::size_t made = HostMonitor::Instance().Count("FindEntity") - lookups;
        if (!threw && made < 2) ++endedQuietly;
      },
      [&](long failedAt) {
        if (failedAt == 0) {
          EXPECT_FALSE(threw);
        }
      });
  EXPECT_GT(runs, 10);
  // A walk either gets to the end or throws: memory running out never ends
  // it quietly with the tree walked only in part.
  EXPECT_EQ(endedQuietly, 0);
}

}  // namespace
