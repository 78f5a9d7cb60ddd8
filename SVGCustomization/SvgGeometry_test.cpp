// Tests of the geometry read from diagram symbols and lines.
#include "SVGCustomization/SvgGeometry.h"

#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "emulator/HostMonitor.h"
#include "emulator/ModelFile.h"

void PrintTo(const CSvgPoint& point, std::ostream* out);

namespace {

using qmemu::Entity;
using qmemu::HostMonitor;
using qmemu::Model;

// A diagram with symbols and lines whose geometry texts the tests vary.
const char* const kModel = R"({
  "root": {"guid": "ROOT", "name": "Root", "children": [
    {"guid": "BLK", "meta": "Block", "name": "Block"},
    {"guid": "DIA", "meta": "Diagram", "name": "D", "children": [
      {"guid": "SYM", "meta": "Symbol", "values": {"Position": "1000 500", "Size": "300 200"}},
      {"guid": "FRAME", "meta": "FrameSymbol", "values": {"Position": "0 0", "Size": "3000 2000"}},
      {"guid": "LINE", "meta": "Line", "values": {"Position": "1 2", "SegmentPoints": "0 0 100 0 100 50"}},
      {"guid": "LINE-PLAIN", "meta": "Line"},
      {"guid": "LINE-BEZIER", "meta": "Line",
       "stereotypes": [{"apply": "@VELLineStyles@automaticLineStyle", "tags": {"shape": {"ident": "Bezier"}}}]},
      {"guid": "LINE-LOWER", "meta": "Line",
       "stereotypes": [{"apply": "@VELLineStyles@automaticLineStyle", "tags": {"shape": {"ident": "bezier"}}}]},
      {"guid": "LINE-TEXT-SHAPE", "meta": "Line",
       "stereotypes": [{"apply": "@VELLineStyles@automaticLineStyle", "tags": {"shape": "Bezier"}}]},
      {"guid": "LINE-NO-SHAPE", "meta": "Line",
       "stereotypes": [{"apply": "@VELLineStyles@automaticLineStyle"}]},
      {"guid": "TRANS", "meta": "TransitionLine"},
      {"guid": "TRANS-STRAIGHT", "meta": "TransitionLine",
       "stereotypes": [{"apply": "@VELLineStyles@automaticLineStyle", "tags": {"shape": {"ident": "Straight"}}}]},
      {"guid": "TRANS-BEZIER", "meta": "TransitionLine",
       "stereotypes": [{"apply": "@VELLineStyles@automaticLineStyle", "tags": {"shape": {"ident": "Bezier"}}}]}
    ]}
  ]}
})";

class SvgGeometryTest : public ::testing::Test {
 protected:
  void SetUp() override {
    HostMonitor::Instance().Reset();
    std::string error;
    model = qmemu::LoadModelText(kModel, "geometry.json", error);
    ASSERT_NE(model, nullptr) << error;
  }
  void TearDown() override { HostMonitor::Instance().Reset(); }

  qm::IVelEntity* Get(const std::string& guid) {
    Entity* entity = model->find(guid);
    EXPECT_NE(entity, nullptr) << guid;
    return entity == nullptr ? nullptr : entity->asEntity();
  }
  // Sets a text property without counting it.
  void Set(const std::string& guid, const std::string& property, const std::string& text) {
    model->find(guid)->setValue(property, text);
  }

  std::unique_ptr<Model> model;
};

TEST_F(SvgGeometryTest, SymbolPositionAndSizeAreReadFromTheirTexts) {
  EXPECT_EQ(CSvgPoint(1000, 500), GetSymbolPosition(Get("SYM")));
  EXPECT_EQ(CSvgPoint(300, 200), GetSymbolSize(Get("SYM")));
  // A frame is a symbol too.
  EXPECT_EQ(CSvgPoint(3000, 2000), GetSymbolSize(Get("FRAME")));
}

struct PairRow {
  const char* text;
  CSvgPoint expected;
};

TEST_F(SvgGeometryTest, PositionTextTable) {
  const PairRow rows[] = {
      {"10 20", CSvgPoint(10, 20)},
      {"  -5   7 ", CSvgPoint(-5, 7)},
      {"10 20 30", CSvgPoint(0, 0)},  // three numbers are not a position
      {"10", CSvgPoint(0, 0)},
      {"", CSvgPoint(0, 0)},
      {"10,20", CSvgPoint(0, 0)},
      {"10\t20", CSvgPoint(0, 0)},
      {"1 -", CSvgPoint(1, 0)},  // a lone "-" is 0
      {"99999999999 -99999999999", CSvgPoint(2147483647, -2147483647 - 1)},
  };
  for (const PairRow& row : rows) {
    Set("SYM", "Position", row.text);
    Set("SYM", "Size", row.text);
    EXPECT_EQ(row.expected, GetSymbolPosition(Get("SYM"))) << row.text;
    EXPECT_EQ(row.expected, GetSymbolSize(Get("SYM"))) << row.text;
  }
}

TEST_F(SvgGeometryTest, PositionWithThreeNumbersIsOrigin) {
  Set("SYM", "Position", "10 20 30");
  EXPECT_EQ(CSvgPoint(0, 0), GetSymbolPosition(Get("SYM")));
}

TEST_F(SvgGeometryTest, EmptySizeIsZero) {
  Set("SYM", "Size", "");
  EXPECT_EQ(CSvgPoint(0, 0), GetSymbolSize(Get("SYM")));
}

TEST_F(SvgGeometryTest, NonSymbolPositionIsOriginWithoutReadingAnyProperty) {
  qm::IVelEntity* line = Get("LINE");  // has a "Position" text all the same
  HostMonitor::Instance().SetLogging(true);
  EXPECT_EQ(CSvgPoint(0, 0), GetSymbolPosition(line));
  EXPECT_EQ(CSvgPoint(0, 0), GetSymbolSize(line));
  EXPECT_EQ(0u, HostMonitor::Instance().Count("GetValue"));
  EXPECT_EQ((std::vector<std::string>{"IsKindOf(Symbol)", "IsKindOf(Symbol)"}), HostMonitor::Instance().Log());
}

TEST_F(SvgGeometryTest, NullEntityGivesNeutralResults) {
  EXPECT_EQ(CSvgPoint(0, 0), GetSymbolPosition(nullptr));
  EXPECT_EQ(CSvgPoint(0, 0), GetSymbolSize(nullptr));
  std::vector<CSvgPoint> points = {CSvgPoint(1, 1)};
  GetLinePoints(nullptr, points);
  EXPECT_TRUE(points.empty());
  EXPECT_FALSE(IsLineBezier(nullptr));
  EXPECT_EQ(0u, HostMonitor::Instance().Count());
}

TEST_F(SvgGeometryTest, SymbolReadsPositionWithOneGetValue) {
  HostMonitor::Instance().SetLogging(true);
  GetSymbolPosition(Get("SYM"));
  EXPECT_EQ((std::vector<std::string>{"IsKindOf(Symbol)", "GetValue(Position)"}), HostMonitor::Instance().Log());
}

struct LineRow {
  const char* text;
  std::vector<CSvgPoint> expected;
};

TEST_F(SvgGeometryTest, SegmentPointsTable) {
  const LineRow rows[] = {
      {"0 0 100 0 100 50", {CSvgPoint(0, 0), CSvgPoint(100, 0), CSvgPoint(100, 50)}},
      {"0 0 100", {}},      // odd count
      {"0,0 100,0", {}},    // not the grammar
      {"", {}},
      {"5 6", {CSvgPoint(5, 6)}},
      {" -1 -2  3 4 ", {CSvgPoint(-1, -2), CSvgPoint(3, 4)}},
      {"1 2 3 4x", {}},
  };
  for (const LineRow& row : rows) {
    Set("LINE", "SegmentPoints", row.text);
    std::vector<CSvgPoint> points = {CSvgPoint(9, 9)};  // cleared first
    GetLinePoints(Get("LINE"), points);
    EXPECT_EQ(row.expected, points) << row.text;
  }
}

TEST_F(SvgGeometryTest, ThreeSegmentPointsGiveThreePoints) {
  std::vector<CSvgPoint> points;
  GetLinePoints(Get("LINE"), points);
  EXPECT_EQ((std::vector<CSvgPoint>{CSvgPoint(0, 0), CSvgPoint(100, 0), CSvgPoint(100, 50)}), points);
}

TEST_F(SvgGeometryTest, OddSegmentPointsGiveNone) {
  Set("LINE", "SegmentPoints", "0 0 100");
  std::vector<CSvgPoint> points;
  GetLinePoints(Get("LINE"), points);
  EXPECT_TRUE(points.empty());
}

TEST_F(SvgGeometryTest, CommaSeparatedSegmentPointsGiveNone) {
  Set("LINE", "SegmentPoints", "0,0 100,0");
  std::vector<CSvgPoint> points;
  GetLinePoints(Get("LINE"), points);
  EXPECT_TRUE(points.empty());
}

TEST_F(SvgGeometryTest, NonLineHasNoPointsAndIsNotRead) {
  Set("SYM", "SegmentPoints", "0 0 1 1");
  std::vector<CSvgPoint> points = {CSvgPoint(9, 9)};
  GetLinePoints(Get("SYM"), points);
  EXPECT_TRUE(points.empty());
  EXPECT_EQ(0u, HostMonitor::Instance().Count("GetValue"));
}

TEST_F(SvgGeometryTest, LowerCaseBezierShapeIsNotACurve) {
  EXPECT_FALSE(IsLineBezier(Get("LINE-LOWER")));
}

TEST_F(SvgGeometryTest, BezierShapeIsACurve) {
  EXPECT_TRUE(IsLineBezier(Get("LINE-BEZIER")));
  EXPECT_TRUE(IsLineBezier(Get("TRANS-BEZIER")));
}

TEST_F(SvgGeometryTest, TransitionLineWithoutStereotypeIsACurve) {
  EXPECT_TRUE(IsLineBezier(Get("TRANS")));
}

TEST_F(SvgGeometryTest, TransitionLineWithOtherShapeIsNotACurve) {
  EXPECT_FALSE(IsLineBezier(Get("TRANS-STRAIGHT")));
}

TEST_F(SvgGeometryTest, PlainLineWithoutStereotypeIsNotACurve) {
  EXPECT_FALSE(IsLineBezier(Get("LINE-PLAIN")));
}

TEST_F(SvgGeometryTest, ShapeThatIsNotAnIdentifierIsNotACurve) {
  // The tag holds the text "Bezier", a CharstringValue, not an Ident.
  EXPECT_FALSE(IsLineBezier(Get("LINE-TEXT-SHAPE")));
}

TEST_F(SvgGeometryTest, StereotypeWithoutShapeIsNotACurve) {
  EXPECT_FALSE(IsLineBezier(Get("LINE-NO-SHAPE")));
}

TEST_F(SvgGeometryTest, CurveTestAsksTheHostInThisOrder) {
  HostMonitor& monitor = HostMonitor::Instance();
  monitor.SetLogging(true);
  IsLineBezier(Get("LINE-BEZIER"));
  EXPECT_EQ((std::vector<std::string>{"HasStereotype(@VELLineStyles@automaticLineStyle)",
                                      "QueryEntity(automaticLineStyle (. shape .))", "IsKindOf(Ident)",
                                      "GetValue(Name)"}),
            monitor.Log());
  monitor.Reset();
  monitor.SetLogging(true);
  IsLineBezier(Get("TRANS"));
  EXPECT_EQ((std::vector<std::string>{"HasStereotype(@VELLineStyles@automaticLineStyle)",
                                      "IsKindOf(TransitionLine)"}),
            monitor.Log());
}

}  // namespace
