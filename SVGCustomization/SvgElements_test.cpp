// Tests of the SVG element constructors and the removal of boundary
// rectangles. Trees are compared through the emulated host's XML writer
// (compact), whose expected bytes follow from the element shapes by hand.
#include "SVGCustomization/SvgElements.h"

#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "emulator/HostMonitor.h"
#include "emulator/ModelFile.h"
#include "emulator/SvgTree.h"

namespace {

using qmemu::Entity;
using qmemu::HostMonitor;
using qmemu::Model;

std::string Xml(qm::IVelEntity* element) {
  Entity* entity = Entity::From(element);
  return entity == nullptr ? std::string("(null)") : qmemu::WriteSvgXml(*entity, true);
}

class SvgElementsTest : public ::testing::Test {
 protected:
  void SetUp() override { HostMonitor::Instance().Reset(); }
  void TearDown() override { HostMonitor::Instance().Reset(); }
  Model model{"ROOT"};
};

// ---- the three constructors ----

TEST_F(SvgElementsTest, InstanceExprIsAnElementNamedByAnIdent) {
  Entity* element = Entity::From(CreateSVGInstanceExpr("g", &model));
  ASSERT_NE(element, nullptr);
  EXPECT_EQ("InstanceExpr", element->meta());
  ASSERT_NE(element->reference("InstanceOf"), nullptr);
  EXPECT_EQ("Ident", element->reference("InstanceOf")->meta());
  EXPECT_EQ("g", element->reference("InstanceOf")->name());
  EXPECT_TRUE(element->list("Expression").empty());
  EXPECT_EQ(nullptr, element->owner());  // not attached to anything
  EXPECT_EQ("<g/>", Xml(element->asEntity()));
}

TEST_F(SvgElementsTest, AssignmentExprHasNameValueAndOperator) {
  Entity* assignment = Entity::From(CreateSVGAssignmentExpr("fill", "rgb(1,2,3)", &model));
  ASSERT_NE(assignment, nullptr);
  EXPECT_EQ("BinaryExpr", assignment->meta());
  EXPECT_EQ("Ident", assignment->reference("LeftOperand")->meta());
  EXPECT_EQ("fill", assignment->reference("LeftOperand")->name());
  EXPECT_EQ("CharstringValue", assignment->reference("RightOperand")->meta());
  EXPECT_EQ("rgb(1,2,3)", assignment->reference("RightOperand")->value("ValueString"));
  EXPECT_EQ("Ident", assignment->reference("Operation")->meta());
  EXPECT_EQ("=", assignment->reference("Operation")->name());
}

TEST_F(SvgElementsTest, AssignmentExprMakesItsEntitiesInOrder) {
  HostMonitor::Instance().SetLogging(true);
  CreateSVGAssignmentExpr("a", "b", &model);
  EXPECT_EQ((std::vector<std::string>{
                "CreateEntity(BinaryExpr)", "CreateEntity(Ident)", "CreateEntity(CharstringValue)",
                "CreateEntity(Ident)", "SetValue(Name)", "SetValue(Name)", "SetValue(ValueString)",
                "SetEntity(LeftOperand)", "SetEntity(RightOperand)", "SetEntity(Operation)"}),
            HostMonitor::Instance().Log());
}

TEST_F(SvgElementsTest, InformalExprHoldsItsTextInAFragment) {
  Entity* informal = Entity::From(CreateSVGInformalExpr("nativelinks:[]", &model));
  ASSERT_NE(informal, nullptr);
  EXPECT_EQ("InformalExpr", informal->meta());
  Entity* fragment = informal->reference("InformalEntityFragment");
  ASSERT_NE(fragment, nullptr);
  EXPECT_EQ("InformalEntityFragment", fragment->meta());
  EXPECT_EQ("nativelinks:[]", fragment->value("TextFragment"));
}

TEST_F(SvgElementsTest, ConstructorsWithoutModelGiveNull) {
  const std::vector<CSvgPoint> points = {CSvgPoint(0, 0), CSvgPoint(1, 0), CSvgPoint(0, 1)};
  EXPECT_EQ(nullptr, CreateSVGInstanceExpr("g", nullptr));
  EXPECT_EQ(nullptr, CreateSVGAssignmentExpr("a", "b", nullptr));
  EXPECT_EQ(nullptr, CreateSVGInformalExpr("t", nullptr));
  EXPECT_EQ(nullptr, CreateSVGPolygon(points, CSvgColor(), "p", nullptr));
  EXPECT_EQ(nullptr, CreateSVGRedTriangle(0, 0, 16, "p", nullptr, CSvgColor(), "_s"));
  EXPECT_EQ(nullptr, CreateSVGYellowTriangle(0, 0, 16, "p", nullptr, CSvgColor(), "_s"));
  EXPECT_EQ(0u, HostMonitor::Instance().Count());
}

// Each constructor, with its k-th creation failing, gives null.
TEST_F(SvgElementsTest, FailedCreationGivesNull) {
  for (std::uint64_t k = 1; k <= 2; ++k) {
    HostMonitor::Instance().FailCreateEntity(k);
    EXPECT_EQ(nullptr, CreateSVGInstanceExpr("g", &model)) << k;
    HostMonitor::Instance().FailCreateEntity(k);
    EXPECT_EQ(nullptr, CreateSVGInformalExpr("t", &model)) << k;
  }
  for (std::uint64_t k = 1; k <= 4; ++k) {
    HostMonitor::Instance().FailCreateEntity(k);
    EXPECT_EQ(nullptr, CreateSVGAssignmentExpr("a", "b", &model)) << k;
  }
}

// ---- polygons ----

TEST_F(SvgElementsTest, PolygonM1MatchesTheWorkedExample) {
  const std::vector<CSvgPoint> points = {CSvgPoint(10, 20), CSvgPoint(30, 20), CSvgPoint(20, 40)};
  qm::IVelEntity* group = CreateSVGPolygon(points, CSvgColor(255, 0, 0), "m1", &model);
  EXPECT_EQ(
      "<g>"
      "<symbol id=\"m1\" viewBox=\"10 20 20 20\" preserveAspectRatio=\"none\">"
      "<polygon points=\"10,20 30,20 20,40\" stroke-width=\"0.0mm\" fill=\"rgb(255,0,0)\"/>"
      "</symbol>"
      "<use xlink:href=\"#m1\" x=\"1.00mm\" y=\"2.00mm\" width=\"2.00mm\" height=\"2.00mm\"/>"
      "</g>",
      Xml(group));
}

TEST_F(SvgElementsTest, PolygonWithTwoPointsIsNull) {
  const std::vector<CSvgPoint> points = {CSvgPoint(10, 20), CSvgPoint(30, 20)};
  HostMonitor::Instance().SetLogging(true);
  EXPECT_EQ(nullptr, CreateSVGPolygon(points, CSvgColor(), "p", &model));
  // The group is made before the count is checked, and then dropped.
  EXPECT_EQ((std::vector<std::string>{"CreateEntity(InstanceExpr)", "CreateEntity(Ident)", "SetValue(Name)",
                                      "SetEntity(InstanceOf)"}),
            HostMonitor::Instance().Log());
}

TEST_F(SvgElementsTest, CollinearPolygonHasZeroHeightViewBox) {
  const std::vector<CSvgPoint> points = {CSvgPoint(0, 5), CSvgPoint(10, 5), CSvgPoint(25, 5)};
  qm::IVelEntity* group = CreateSVGPolygon(points, CSvgColor(1, 2, 3), "flat", &model);
  EXPECT_EQ(
      "<g>"
      "<symbol id=\"flat\" viewBox=\"0 5 25 0\" preserveAspectRatio=\"none\">"
      "<polygon points=\"0,5 10,5 25,5\" stroke-width=\"0.0mm\" fill=\"rgb(1,2,3)\"/>"
      "</symbol>"
      "<use xlink:href=\"#flat\" x=\"0.00mm\" y=\"0.50mm\" width=\"2.50mm\" height=\"0.00mm\"/>"
      "</g>",
      Xml(group));
}

TEST_F(SvgElementsTest, PolygonWithNegativeCoordinates) {
  const std::vector<CSvgPoint> points = {CSvgPoint(-15, -3), CSvgPoint(7, 0), CSvgPoint(-1, 12), CSvgPoint(0, 0)};
  qm::IVelEntity* group = CreateSVGPolygon(points, CSvgColor(0, 0, 255), "n", &model);
  EXPECT_EQ(
      "<g>"
      "<symbol id=\"n\" viewBox=\"-15 -3 22 15\" preserveAspectRatio=\"none\">"
      "<polygon points=\"-15,-3 7,0 -1,12 0,0\" stroke-width=\"0.0mm\" fill=\"rgb(0,0,255)\"/>"
      "</symbol>"
      "<use xlink:href=\"#n\" x=\"-1.50mm\" y=\"-0.30mm\" width=\"2.20mm\" height=\"1.50mm\"/>"
      "</g>",
      Xml(group));
}

TEST_F(SvgElementsTest, PolygonWhoseElementCannotBeMadeIsNull) {
  const std::vector<CSvgPoint> points = {CSvgPoint(0, 0), CSvgPoint(1, 0), CSvgPoint(0, 1)};
  // Creations: g (1, 2), symbol (3, 4), its three attributes (5..16),
  // polygon (17, 18), its attributes (19..30), use (31, 32).
  for (std::uint64_t k : {1u, 2u, 3u, 4u, 17u, 18u, 31u, 32u}) {
    HostMonitor::Instance().FailCreateEntity(k);
    EXPECT_EQ(nullptr, CreateSVGPolygon(points, CSvgColor(), "p", &model)) << k;
  }
}

TEST_F(SvgElementsTest, PolygonAttributeThatCannotBeMadeIsLeftOut) {
  const std::vector<CSvgPoint> points = {CSvgPoint(0, 0), CSvgPoint(10, 0), CSvgPoint(0, 10)};
  HostMonitor::Instance().FailCreateEntity(9);  // the BinaryExpr of "viewBox"
  qm::IVelEntity* group = CreateSVGPolygon(points, CSvgColor(), "p", &model);
  EXPECT_EQ(
      "<g>"
      "<symbol id=\"p\" preserveAspectRatio=\"none\">"
      "<polygon points=\"0,0 10,0 0,10\" stroke-width=\"0.0mm\" fill=\"rgb(0,0,0)\"/>"
      "</symbol>"
      "<use xlink:href=\"#p\" x=\"0.00mm\" y=\"0.00mm\" width=\"1.00mm\" height=\"1.00mm\"/>"
      "</g>",
      Xml(group));
}

TEST_F(SvgElementsTest, PolygonAttachesInOrderPolygonSymbolUse) {
  const std::vector<CSvgPoint> points = {CSvgPoint(0, 0), CSvgPoint(1, 0), CSvgPoint(0, 1)};
  HostMonitor::Instance().SetLogging(true);
  CreateSVGPolygon(points, CSvgColor(), "p", &model);
  std::vector<std::string> log = HostMonitor::Instance().Log();
  // The last three operations attach polygon -> symbol, symbol -> g, use -> g.
  ASSERT_GE(log.size(), 3u);
  EXPECT_EQ((std::vector<std::string>{"SetEntity(Expression)", "SetEntity(Expression)", "SetEntity(Expression)"}),
            std::vector<std::string>(log.end() - 3, log.end()));
}

// ---- triangles ----

TEST_F(SvgElementsTest, RedTriangleAt100_200PointsRight) {
  qm::IVelEntity* group = CreateSVGRedTriangle(100, 200, 15, "SYM", &model, CSvgColor(155, 0, 105), "_redlink");
  EXPECT_EQ(
      "<g>"
      "<symbol id=\"SYM_redlink\" viewBox=\"100 200 15 15\" preserveAspectRatio=\"none\">"
      "<polygon points=\"100,200 115,207 100,215\" stroke-width=\"0.0mm\" fill=\"rgb(155,0,105)\"/>"
      "</symbol>"
      "<use xlink:href=\"#SYM_redlink\" x=\"10.00mm\" y=\"20.00mm\" width=\"1.50mm\" height=\"1.50mm\"/>"
      "</g>",
      Xml(group));
}

TEST_F(SvgElementsTest, YellowTriangleAt100_200PointsLeft) {
  qm::IVelEntity* group = CreateSVGYellowTriangle(100, 200, 15, "SYM", &model, CSvgColor(240, 170, 0), "_yellowlink");
  EXPECT_EQ(
      "<g>"
      "<symbol id=\"SYM_yellowlink\" viewBox=\"100 200 15 15\" preserveAspectRatio=\"none\">"
      "<polygon points=\"100,207 115,200 115,215\" stroke-width=\"0.0mm\" fill=\"rgb(240,170,0)\"/>"
      "</symbol>"
      "<use xlink:href=\"#SYM_yellowlink\" x=\"10.00mm\" y=\"20.00mm\" width=\"1.50mm\" height=\"1.50mm\"/>"
      "</g>",
      Xml(group));
}

TEST_F(SvgElementsTest, TrianglesOfSize16) {
  EXPECT_EQ(
      "<g><symbol id=\"a_b\" viewBox=\"0 0 16 16\" preserveAspectRatio=\"none\">"
      "<polygon points=\"0,0 16,8 0,16\" stroke-width=\"0.0mm\" fill=\"rgb(0,0,255)\"/></symbol>"
      "<use xlink:href=\"#a_b\" x=\"0.00mm\" y=\"0.00mm\" width=\"1.60mm\" height=\"1.60mm\"/></g>",
      Xml(CreateSVGRedTriangle(0, 0, 16, "a", &model, CSvgColor(0, 0, 255), "_b")));
  EXPECT_EQ(
      "<g><symbol id=\"a_b\" viewBox=\"-8 -8 16 16\" preserveAspectRatio=\"none\">"
      "<polygon points=\"-8,0 8,-8 8,8\" stroke-width=\"0.0mm\" fill=\"rgb(0,0,255)\"/></symbol>"
      "<use xlink:href=\"#a_b\" x=\"-0.80mm\" y=\"-0.80mm\" width=\"1.60mm\" height=\"1.60mm\"/></g>",
      Xml(CreateSVGYellowTriangle(-8, -8, 16, "a", &model, CSvgColor(0, 0, 255), "_b")));
}

TEST_F(SvgElementsTest, TriangleCornersWrapInsteadOfOverflowing) {
  // x + size past INT_MAX wraps to the negative end (no undefined behaviour).
  Entity* group = Entity::From(CreateSVGRedTriangle(2147483647, 0, 2, "w", &model, CSvgColor(), ""));
  ASSERT_NE(group, nullptr);
  Entity* symbol = group->list("Expression")[0];
  Entity* polygon = symbol->list("Expression").back();
  EXPECT_EQ("2147483647,0 -2147483647,1 2147483647,2", qmemu::SvgAttribute(*polygon, "points"));
}

// ---- boundary rectangles ----

const char* const kBoundaryModel = R"({
  "root": {"guid": "ROOT", "name": "Root", "children": [
    {"guid": "SVG", "meta": "InstanceExpr", "values": {"InstanceOf": "ref:svg"}, "children": [
      {"guid": "TOP-BR", "meta": "InstanceExpr", "in": "Expression", "refs": {"InstanceOf": "ID-BR"},
       "children": [{"guid": "ID-BR", "meta": "Ident", "name": "boundaryrect"}]},
      {"guid": "G1", "meta": "InstanceExpr", "in": "Expression", "values": {"InstanceOf": "ref:g"}, "children": [
        {"guid": "DEEP-BR", "meta": "InstanceExpr", "in": "Expression", "values": {"InstanceOf": "ref:boundaryrect"},
         "children": [{"guid": "DEEP-BR-CHILD", "meta": "InstanceExpr", "in": "Expression",
                       "values": {"InstanceOf": "ref:rect"}}]},
        {"guid": "RECT", "meta": "InstanceExpr", "in": "Expression", "values": {"InstanceOf": "ref:rect"}}
      ]},
      {"guid": "BARE-REF", "meta": "InstanceExpr", "in": "Expression", "values": {"InstanceOf": "ref:"}, "children": [
        {"guid": "UNDER-BARE", "meta": "InstanceExpr", "in": "Expression",
         "values": {"InstanceOf": "ref:boundaryrect"}}]},
      {"guid": "SHORT", "meta": "InstanceExpr", "in": "Expression", "values": {"InstanceOf": "ref"}, "children": [
        {"guid": "UNDER-SHORT", "meta": "InstanceExpr", "in": "Expression",
         "values": {"InstanceOf": "ref:boundaryrect"}}]},
      {"guid": "NOT-IDENT", "meta": "InstanceExpr", "in": "Expression", "refs": {"InstanceOf": "TEXT"}, "children": [
        {"guid": "TEXT", "meta": "CharstringValue", "values": {"ValueString": "boundaryrect"}}]},
      {"guid": "CHARS", "meta": "CharstringValue", "in": "Expression", "values": {"InstanceOf": "ref:boundaryrect"}}
    ]}
  ]}
})";

class BoundaryrectTest : public ::testing::Test {
 protected:
  void SetUp() override {
    HostMonitor::Instance().Reset();
    std::string error;
    model = qmemu::LoadModelText(kBoundaryModel, "boundary.json", error);
    ASSERT_NE(model, nullptr) << error;
  }
  void TearDown() override { HostMonitor::Instance().Reset(); }
  bool Exists(const char* guid) { return model->find(guid) != nullptr; }
  std::unique_ptr<Model> model;
};

TEST_F(BoundaryrectTest, RemovesBoundaryrectsAtTwoDepths) {
  RemoveBoundaryrectElement(model->find("SVG")->asEntity());
  EXPECT_FALSE(Exists("TOP-BR"));       // bound to an Ident, depth 1
  EXPECT_FALSE(Exists("DEEP-BR"));      // unbound "ref:boundaryrect", depth 2
  EXPECT_FALSE(Exists("DEEP-BR-CHILD"));  // with its subtree
  EXPECT_TRUE(Exists("RECT"));
  EXPECT_TRUE(Exists("G1"));
  EXPECT_EQ((std::vector<Entity*>{model->find("RECT")}), model->find("G1")->list("Expression"));
}

TEST_F(BoundaryrectTest, BareRefPrefixGivesEmptyNameAndChildrenAreVisited) {
  RemoveBoundaryrectElement(model->find("SVG")->asEntity());
  EXPECT_TRUE(Exists("BARE-REF"));
  EXPECT_FALSE(Exists("UNDER-BARE"));
  EXPECT_TRUE(Exists("SHORT"));
  EXPECT_FALSE(Exists("UNDER-SHORT"));
}

TEST_F(BoundaryrectTest, ReferenceToANonIdentGivesEmptyName) {
  RemoveBoundaryrectElement(model->find("SVG")->asEntity());
  EXPECT_TRUE(Exists("NOT-IDENT"));
}

TEST_F(BoundaryrectTest, NonElementsAreLeftAlone) {
  RemoveBoundaryrectElement(model->find("SVG")->asEntity());
  EXPECT_TRUE(Exists("CHARS"));
  RemoveBoundaryrectElement(model->find("CHARS")->asEntity());
  EXPECT_TRUE(Exists("CHARS"));
  RemoveBoundaryrectElement(nullptr);
}

TEST_F(BoundaryrectTest, ElementThatIsItselfABoundaryrectIsDeleted) {
  EXPECT_TRUE(RemoveBoundaryrectElements(model->find("DEEP-BR")->asEntity()));
  EXPECT_FALSE(Exists("DEEP-BR"));
  EXPECT_FALSE(RemoveBoundaryrectElements(model->find("SVG")->asEntity()));
}

TEST_F(BoundaryrectTest, ElementNameReadsIdentThenUnboundText) {
  HostMonitor::Instance().SetLogging(true);
  EXPECT_EQ("boundaryrect", SVGElementName(model->find("TOP-BR")->asEntity()));
  EXPECT_EQ("g", SVGElementName(model->find("G1")->asEntity()));
  EXPECT_EQ("", SVGElementName(model->find("BARE-REF")->asEntity()));
  EXPECT_EQ("", SVGElementName(model->find("SHORT")->asEntity()));
  EXPECT_EQ("", SVGElementName(model->find("NOT-IDENT")->asEntity()));
  EXPECT_EQ(3u, HostMonitor::Instance().LogCount("GetValue(InstanceOf)"));  // G1, BARE-REF, SHORT
}

}  // namespace
