#include "SVGCustomization/SvgMath.h"

#include <climits>
#include <cmath>
#include <limits>
#include <ostream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

// Lets failing expectations show points as (x, y).
void PrintTo(const CSvgPoint& point, std::ostream* out) {
  *out << "(" << point.x << ", " << point.y << ")";
}

namespace {

const double kInfinity = std::numeric_limits<double>::infinity();
const double kNaN = std::numeric_limits<double>::quiet_NaN();

// ---------------------------------------------------------------------------
// Value types

TEST(SvgValueTypesTest, PointDefaultsToOriginAndKeepsFieldOrder) {
  const CSvgPoint origin;
  EXPECT_EQ(0, origin.x);
  EXPECT_EQ(0, origin.y);
  const CSvgPoint point(3, -4);
  EXPECT_EQ(3, point.x);
  EXPECT_EQ(-4, point.y);
  EXPECT_TRUE(point == CSvgPoint(3, -4));
  EXPECT_TRUE(point != CSvgPoint(-4, 3));
}

TEST(SvgValueTypesTest, ColorDefaultsToBlackAndKeepsFieldOrder) {
  const CSvgColor black;
  EXPECT_EQ(0, black.r);
  EXPECT_EQ(0, black.g);
  EXPECT_EQ(0, black.b);
  const CSvgColor color(255, 128, 7);
  EXPECT_EQ(255, color.r);
  EXPECT_EQ(128, color.g);
  EXPECT_EQ(7, color.b);
}

// ---------------------------------------------------------------------------
// CalcSVGPower

TEST(CalcSVGPowerTest, DerivativeOfCubeAtTwoIsTwelve) {
  EXPECT_EQ(12.0, CalcSVGPower(2.0, 3, true));
}

TEST(CalcSVGPowerTest, DerivativeWithExponentZeroIsZero) {
  EXPECT_EQ(0.0, CalcSVGPower(2.0, 0, true));
  EXPECT_EQ(0.0, CalcSVGPower(0.0, 0, true));
  EXPECT_EQ(0.0, CalcSVGPower(-7.25, 0, true));
}

TEST(CalcSVGPowerTest, NegativeExponentGivesReciprocal) {
  EXPECT_EQ(0.25, CalcSVGPower(2.0, -2, false));
}

TEST(CalcSVGPowerTest, DerivativeWithNegativeExponentKeepsFactorInDenominator) {
  // 1 / (-2 * 2^3), not the true derivative -2 * 2^-3 = -0.25.
  EXPECT_EQ(-0.0625, CalcSVGPower(2.0, -2, true));
  // For n = -1 the same rule happens to be right: -1 / 2^2.
  EXPECT_EQ(-0.25, CalcSVGPower(2.0, -1, true));
}

struct PowerRow {
  double x;
  int n;
  bool derivative;
  double expected;
};

TEST(CalcSVGPowerTest, Table) {
  const PowerRow rows[] = {
      {3.0, 0, false, 1.0},   {0.0, 0, false, 1.0},    {2.0, 1, false, 2.0},
      {2.0, 3, false, 8.0},   {-2.0, 3, false, -8.0},  {1.5, 2, false, 2.25},
      {0.5, 3, false, 0.125}, {2.0, -3, false, 0.125}, {2.0, 1, true, 1.0},
      {0.5, 2, true, 1.0},    {-2.0, 3, true, 12.0},   {0.5, 3, true, 0.75},
      {0.0, 1, true, 1.0},    {0.0, 2, true, 0.0},     {4.0, -2, true, -0.0078125},
  };
  for (const PowerRow& row : rows) {
    EXPECT_EQ(row.expected, CalcSVGPower(row.x, row.n, row.derivative))
        << row.x << "^" << row.n << " derivative " << row.derivative;
  }
}

TEST(CalcSVGPowerTest, SmallestExponentWrapsAndMultipliesNoTimes) {
  // -INT_MIN wraps back to INT_MIN, which is still negative: no factor of x,
  // and the reciprocal of 1.
  EXPECT_EQ(1.0, CalcSVGPower(2.0, INT_MIN, false));
}

// ---------------------------------------------------------------------------
// CalcSVGFactorial

TEST(CalcSVGFactorialTest, ZeroAndNegativeGiveOne) {
  EXPECT_EQ(1, CalcSVGFactorial(0));
  EXPECT_EQ(1, CalcSVGFactorial(-3));
}

TEST(CalcSVGFactorialTest, TwelveIsTheLastExactValue) {
  EXPECT_EQ(479001600, CalcSVGFactorial(12));
}

struct FactorialRow {
  int n;
  int expected;
};

TEST(CalcSVGFactorialTest, WrapsInThirtyTwoBits) {
  // 13! = 6227020800 = 4294967296 + 1932053504
  // 17! = 355687428096000 = 82815 * 4294967296 + 4006445056, i.e. -288522240
  // 33! holds 31 factors of two: 2^31 * odd, i.e. INT_MIN
  // 34! holds 32 factors of two: 0
  const FactorialRow rows[] = {
      {INT_MIN, 1}, {-1, 1},          {1, 1},          {2, 2},   {5, 120},
      {10, 3628800}, {13, 1932053504}, {17, -288522240}, {33, INT_MIN},
      {34, 0},      {35, 0},          {100, 0},        {INT_MAX, 0},
  };
  for (const FactorialRow& row : rows) {
    EXPECT_EQ(row.expected, CalcSVGFactorial(row.n)) << row.n << "!";
  }
}

// ---------------------------------------------------------------------------
// CalcSVGBezierPolynom

TEST(CalcSVGBezierPolynomTest, OneOfThreeAtHalfIs0375) {
  EXPECT_EQ(0.375, CalcSVGBezierPolynom(1, 3, 0.5, false));
}

TEST(CalcSVGBezierPolynomTest, DerivativeOfOneOfTwoAtHalfIsZero) {
  EXPECT_EQ(0.0, CalcSVGBezierPolynom(1, 2, 0.5, true));
}

struct BernsteinRow {
  int i;
  int n;
  double t;
  bool derivative;
  double expected;
};

TEST(CalcSVGBezierPolynomTest, Table) {
  const BernsteinRow rows[] = {
      // Values: C(n,i) t^i (1-t)^(n-i).
      {0, 1, 0.25, false, 0.75},
      {1, 1, 0.25, false, 0.25},
      {0, 2, 0.5, false, 0.25},
      {1, 2, 0.5, false, 0.5},
      {2, 2, 0.5, false, 0.25},
      {0, 3, 0.0, false, 1.0},
      {3, 3, 1.0, false, 1.0},
      {2, 3, 0.5, false, 0.375},
      {6, 12, 0.5, false, 924.0 / 4096.0},
      {0, 1, -0.5, false, 1.5},
      {1, 1, 1.5, false, 1.5},
      // Derivatives: C(n,i) (i t^(i-1) (1-t)^(n-i) - t^i (n-i) (1-t)^(n-i-1)).
      {0, 1, 0.3, true, -1.0},
      {1, 1, 0.3, true, 1.0},
      {0, 2, 0.0, true, -2.0},
      {1, 2, 0.0, true, 2.0},
      {2, 2, 0.0, true, 0.0},
      {0, 3, 0.5, true, -0.75},
      {1, 3, 0.5, true, -0.75},
      {2, 3, 0.5, true, 0.75},
      {3, 3, 0.5, true, 0.75},
      {2, 3, 1.0, true, -3.0},
      {3, 3, 1.0, true, 3.0},
  };
  for (const BernsteinRow& row : rows) {
    EXPECT_EQ(row.expected, CalcSVGBezierPolynom(row.i, row.n, row.t, row.derivative))
        << "B(" << row.i << "," << row.n << ")(" << row.t << ") derivative " << row.derivative;
  }
}

TEST(CalcSVGBezierPolynomTest, BinomialOfThirteenUsesWrappedFactorials) {
  // 13! wraps to 1932053504. At t = 0.5 every term is C / 2^13.
  // C(13,1): 1932053504 / (12! * 1!) = 1932053504 / 479001600 = 4 (not 13).
  EXPECT_EQ(4.0 / 8192.0, CalcSVGBezierPolynom(1, 13, 0.5, false));
  // C(13,2): 1932053504 / (11! * 2!) = 1932053504 / 79833600 = 24 (not 78).
  EXPECT_EQ(24.0 / 8192.0, CalcSVGBezierPolynom(2, 13, 0.5, false));
  // C(13,6): 1932053504 / (7! * 6!) = 1932053504 / 3628800 = 532 (not 1716).
  EXPECT_EQ(532.0 / 8192.0, CalcSVGBezierPolynom(6, 13, 0.5, false));
  // C(13,0): 1932053504 / 1932053504 = 1, still right.
  EXPECT_EQ(1.0 / 8192.0, CalcSVGBezierPolynom(0, 13, 0.5, false));
}

TEST(CalcSVGBezierPolynomTest, WrappedZeroDivisorGivesZeroCoefficient) {
  // Degree 34: 34! wraps to 0, and so does the divisor 0! * 34! for i = 0
  // and 2! * 32! for i = 2 (32! = 2^31 * odd). The true values at t = 0 and
  // t = 1 would be 1.
  EXPECT_EQ(0.0, CalcSVGBezierPolynom(0, 34, 0.0, false));
  EXPECT_EQ(0.0, CalcSVGBezierPolynom(34, 34, 1.0, false));
  EXPECT_EQ(0.0, CalcSVGBezierPolynom(2, 34, 0.5, false));
  EXPECT_EQ(0.0, CalcSVGBezierPolynom(0, 34, 0.0, true));
  EXPECT_EQ(0.0, CalcSVGBezierPolynom(2, 34, 0.5, true));
}

TEST(CalcSVGBezierPolynomTest, DegreeThirtyThreeDividesWrappedSmallestInts) {
  // 33! and 32! both wrap to INT_MIN: C(33,0) = C(33,1) = INT_MIN / INT_MIN
  // = 1, so B(1,33) at t = 0.5 is 2^-33 instead of 33 * 2^-33.
  EXPECT_EQ(1.0, CalcSVGBezierPolynom(0, 33, 0.0, false));
  EXPECT_EQ(std::ldexp(1.0, -33), CalcSVGBezierPolynom(1, 33, 0.5, false));
}

TEST(CalcSVGBezierPolynomTest, NoDegreeUpToFortyDividesByZero) {
  // Any division by zero would stop the test (SIGFPE, or the sanitizer).
  for (int n = 0; n <= 40; ++n) {
    for (int i = 0; i <= n; ++i) {
      EXPECT_FALSE(std::isnan(CalcSVGBezierPolynom(i, n, 0.25, false))) << i << " of " << n;
      EXPECT_FALSE(std::isnan(CalcSVGBezierPolynom(i, n, 0.25, true))) << i << " of " << n;
    }
  }
}

// ---------------------------------------------------------------------------
// FindPointALongLine

TEST(FindPointALongLineTest, PolylineMidpointOfHorizontalLine) {
  std::vector<CSvgPoint> line = {CSvgPoint(0, 0), CSvgPoint(100, 0)};
  EXPECT_EQ(CSvgPoint(50, 0), FindPointALongLine(line, false, 0.5, 0.0));
}

TEST(FindPointALongLineTest, PositiveOffsetMovesRightwardLineUp) {
  std::vector<CSvgPoint> line = {CSvgPoint(0, 0), CSvgPoint(100, 0)};
  EXPECT_EQ(CSvgPoint(50, -10), FindPointALongLine(line, false, 0.5, 10.0));
}

TEST(FindPointALongLineTest, ZeroLengthFirstSegmentAtStartUsesFallbackNormal) {
  std::vector<CSvgPoint> line = {CSvgPoint(0, 0), CSvgPoint(0, 0), CSvgPoint(100, 0)};
  // Segment 0 (length 0) is chosen with u = 1 and normal (1, 0).
  EXPECT_EQ(CSvgPoint(7, 0), FindPointALongLine(line, false, 0.0, 7.9));
  EXPECT_EQ(CSvgPoint(-7, 0), FindPointALongLine(line, false, 0.0, -7.9));
}

TEST(FindPointALongLineTest, FractionAtCornerTakesEndOfEarlierSegment) {
  std::vector<CSvgPoint> line = {CSvgPoint(0, 0), CSvgPoint(100, 0), CSvgPoint(100, 100)};
  // Half of 200 is the corner: the end of segment 0, moved along its normal
  // (0, -1). The later segment would have given (110, 0).
  EXPECT_EQ(CSvgPoint(100, -10), FindPointALongLine(line, false, 0.5, 10.0));
}

TEST(FindPointALongLineTest, FewerThanTwoPointsGiveOrigin) {
  std::vector<CSvgPoint> none;
  std::vector<CSvgPoint> one = {CSvgPoint(40, 70)};
  EXPECT_EQ(CSvgPoint(0, 0), FindPointALongLine(none, false, 0.5, 10.0));
  EXPECT_EQ(CSvgPoint(0, 0), FindPointALongLine(none, true, 0.5, 10.0));
  EXPECT_EQ(CSvgPoint(0, 0), FindPointALongLine(one, false, 0.5, 10.0));
  EXPECT_EQ(CSvgPoint(0, 0), FindPointALongLine(one, true, 0.5, 10.0));
}

TEST(FindPointALongLineTest, ThreePointBezierIsQuadraticWithEndTangentNormals) {
  std::vector<CSvgPoint> curve = {CSvgPoint(0, 0), CSvgPoint(100, 0), CSvgPoint(100, 100)};
  // Start: tangent (200, 0), normal (0, -1).
  EXPECT_EQ(CSvgPoint(0, -10), FindPointALongLine(curve, true, 0.0, 10.0));
  // End: tangent (0, 200), normal (1, 0).
  EXPECT_EQ(CSvgPoint(110, 100), FindPointALongLine(curve, true, 1.0, 10.0));
  // Middle of the quadratic: 0.25 P0 + 0.5 P1 + 0.25 P2 = (75, 25), which
  // the polyline through the same points would not give.
  EXPECT_EQ(CSvgPoint(75, 25), FindPointALongLine(curve, true, 0.5, 0.0));
}

struct AlongRow {
  const char* name;
  std::vector<CSvgPoint> points;
  bool bezier;
  double fraction;
  double offset;
  CSvgPoint expected;
};

void CheckRows(const std::vector<AlongRow>& rows) {
  for (const AlongRow& row : rows) {
    std::vector<CSvgPoint> points = row.points;
    EXPECT_EQ(row.expected, FindPointALongLine(points, row.bezier, row.fraction, row.offset))
        << row.name;
  }
}

const std::vector<CSvgPoint> kRightThenDown = {CSvgPoint(0, 0), CSvgPoint(100, 0),
                                               CSvgPoint(100, 100)};
const std::vector<CSvgPoint> kSquareU = {CSvgPoint(0, 0), CSvgPoint(100, 0), CSvgPoint(100, 100),
                                         CSvgPoint(0, 100)};
const std::vector<CSvgPoint> kDiagonal = {CSvgPoint(0, 0), CSvgPoint(30, 40)};

TEST(FindPointALongLineTest, PolylineTable) {
  CheckRows({
      // Corners and segment interiors; the normal of (dx, dy) is (dy, -dx) / L.
      {"start", kRightThenDown, false, 0.0, 10.0, CSvgPoint(0, -10)},
      {"inside first", kRightThenDown, false, 0.25, 10.0, CSvgPoint(50, -10)},
      {"corner", kRightThenDown, false, 0.5, 10.0, CSvgPoint(100, -10)},
      {"inside second", kRightThenDown, false, 0.75, 10.0, CSvgPoint(110, 50)},
      {"end", kRightThenDown, false, 1.0, 10.0, CSvgPoint(110, 100)},
      {"just past second corner", kSquareU, false, 2.0 / 3.0 + 1e-9, 0.0, CSvgPoint(99, 100)},
      {"middle of three", kSquareU, false, 0.5, 10.0, CSvgPoint(110, 50)},
      {"third segment runs left", kSquareU, false, 5.0 / 6.0, 10.0, CSvgPoint(50, 110)},
      // Directions: the offset goes to the left of travel on screen.
      {"down", {CSvgPoint(0, 0), CSvgPoint(0, 100)}, false, 0.5, 10.0, CSvgPoint(10, 50)},
      {"left", {CSvgPoint(100, 0), CSvgPoint(0, 0)}, false, 0.5, 10.0, CSvgPoint(50, 10)},
      {"up", {CSvgPoint(0, 100), CSvgPoint(0, 0)}, false, 0.5, 10.0, CSvgPoint(-10, 50)},
      // Diagonal 3-4-5: normal (0.8, -0.6); results truncate toward zero.
      {"diagonal half", kDiagonal, false, 0.5, 5.0, CSvgPoint(19, 17)},
      {"diagonal quarter", kDiagonal, false, 0.25, 5.0, CSvgPoint(11, 7)},
      {"diagonal quarter, negative offset", kDiagonal, false, 0.25, -5.0, CSvgPoint(3, 13)},
      {"negative coordinates truncate up",
       {CSvgPoint(0, 0), CSvgPoint(-30, -40)}, false, 0.25, 0.0, CSvgPoint(-7, -10)},
      // Outside 0..1: below 0 extrapolates back along the first segment,
      // above 1 stops at the end of the last one.
      {"below zero", {CSvgPoint(0, 0), CSvgPoint(100, 0)}, false, -0.5, 0.0, CSvgPoint(-50, 0)},
      {"below zero with offset", kRightThenDown, false, -0.25, 10.0, CSvgPoint(-50, -10)},
      {"above one", kRightThenDown, false, 1.5, 10.0, CSvgPoint(110, 100)},
      {"NaN fraction", kRightThenDown, false, kNaN, 10.0, CSvgPoint(110, 100)},
      // Zero-length segments take the normal (1, 0) and u = 1.
      {"all points equal", {CSvgPoint(5, 5), CSvgPoint(5, 5)}, false, 0.5, 10.0, CSvgPoint(15, 5)},
      {"all points equal, above one",
       {CSvgPoint(5, 5), CSvgPoint(5, 5), CSvgPoint(5, 5)}, false, 2.0, 10.0, CSvgPoint(15, 5)},
      {"zero-length last segment, above one",
       {CSvgPoint(0, 0), CSvgPoint(100, 0), CSvgPoint(100, 0)}, false, 2.0, 10.0,
       CSvgPoint(110, 0)},
      {"zero-length middle segment is skipped",
       {CSvgPoint(0, 0), CSvgPoint(100, 0), CSvgPoint(100, 0), CSvgPoint(100, 100)}, false, 0.75,
       10.0, CSvgPoint(110, 50)},
      // Extreme coordinates: differences are taken in double, and a result
      // beyond the int range becomes INT_MIN.
      {"full int range, end", {CSvgPoint(INT_MIN, 0), CSvgPoint(INT_MAX, 0)}, false, 1.0, 0.0,
       CSvgPoint(INT_MAX, 0)},
      {"full int range, middle", {CSvgPoint(INT_MIN, 0), CSvgPoint(INT_MAX, 0)}, false, 0.5, 0.0,
       CSvgPoint(0, 0)},
      {"offset beyond int range",
       {CSvgPoint(INT_MAX, 0), CSvgPoint(INT_MAX, 100)}, false, 0.0, 10.0, CSvgPoint(INT_MIN, 0)},
  });
}

TEST(FindPointALongLineTest, BezierTable) {
  const std::vector<CSvgPoint> arch = {CSvgPoint(0, 0), CSvgPoint(0, 100), CSvgPoint(100, 100),
                                       CSvgPoint(100, 0)};
  std::vector<CSvgPoint> degree34(35, CSvgPoint(1000, 1000));
  CheckRows({
      // Two points: a straight line, the same as the polyline.
      {"linear middle", {CSvgPoint(0, 0), CSvgPoint(100, 0)}, true, 0.5, 10.0, CSvgPoint(50, -10)},
      {"linear below zero", {CSvgPoint(0, 0), CSvgPoint(100, 0)}, true, -0.5, 10.0,
       CSvgPoint(-50, -10)},
      {"linear above one", {CSvgPoint(0, 0), CSvgPoint(100, 0)}, true, 1.5, 10.0,
       CSvgPoint(150, -10)},
      // Quadratic: position (75, 25), tangent (100, 100), normal (1, -1)/sqrt 2.
      {"quadratic middle", kRightThenDown, true, 0.5, 10.0, CSvgPoint(82, 17)},
      {"quadratic start", kRightThenDown, true, 0.0, -10.0, CSvgPoint(0, 10)},
      // Cubic arch: the end points plus the offset along the end tangents
      // (0, 300) at the start and (0, -300) at the end; its apex (50, 75)
      // has the tangent (150, 0).
      {"cubic start", arch, true, 0.0, 10.0, CSvgPoint(10, 0)},
      {"cubic end", arch, true, 1.0, 10.0, CSvgPoint(90, 0)},
      {"cubic apex", arch, true, 0.5, 10.0, CSvgPoint(50, 65)},
      // A zero tangent falls back to the normal (1, 0).
      {"zero start tangent", {CSvgPoint(0, 0), CSvgPoint(0, 0), CSvgPoint(100, 0)}, true, 0.0, 10.0,
       CSvgPoint(10, 0)},
      {"all points equal", {CSvgPoint(5, 5), CSvgPoint(5, 5), CSvgPoint(5, 5)}, true, 0.5, 10.0,
       CSvgPoint(15, 5)},
      // From degree 34 every wrapped coefficient is 0: position and tangent
      // vanish and only the offset along (1, 0) remains.
      {"degree 34", degree34, true, 0.5, 10.9, CSvgPoint(10, 0)},
      // NaN spreads to both coordinates, which become INT_MIN.
      {"NaN fraction", kRightThenDown, true, kNaN, 10.0, CSvgPoint(INT_MIN, INT_MIN)},
      // Negative fractional results truncate toward zero, up, not down:
      // (-7.5, -12.5) gives (-7, -12).
      {"linear, negative halves", {CSvgPoint(0, 0), CSvgPoint(-30, -50)}, true, 0.25, 0.0, CSvgPoint(-7, -12)},
      // Position (-75, -25), tangent (-100, -100), normal (-1, 1) / sqrt 2:
      // (-75 - 7.07, -25 + 7.07) = (-82.07, -17.93) gives (-82, -17).
      {"quadratic mirrored, negative fractions",
       {CSvgPoint(0, 0), CSvgPoint(-100, 0), CSvgPoint(-100, -100)}, true, 0.5, 10.0, CSvgPoint(-82, -17)},
  });
}

TEST(FindPointALongLineTest, LeavesThePointsUnchanged) {
  std::vector<CSvgPoint> line = {CSvgPoint(1, 2), CSvgPoint(3, 4)};
  FindPointALongLine(line, false, 0.5, 1.0);
  FindPointALongLine(line, true, 0.5, 1.0);
  ASSERT_EQ(2u, line.size());
  EXPECT_EQ(CSvgPoint(1, 2), line[0]);
  EXPECT_EQ(CSvgPoint(3, 4), line[1]);
}

// ---------------------------------------------------------------------------
// ConvertDoubleToStringMM

TEST(ConvertDoubleToStringMMTest, TruncatesInsteadOfRounding) {
  EXPECT_EQ("12.34mm", ConvertDoubleToStringMM(12.345));
}

TEST(ConvertDoubleToStringMMTest, AlwaysWritesTwoDecimals) {
  EXPECT_EQ("0.50mm", ConvertDoubleToStringMM(0.5));
  EXPECT_EQ("3.00mm", ConvertDoubleToStringMM(3));
}

TEST(ConvertDoubleToStringMMTest, KeepsSignWhenAllDigitsAreZero) {
  EXPECT_EQ("-0.00mm", ConvertDoubleToStringMM(-0.001));
}

TEST(ConvertDoubleToStringMMTest, ZeroIsZeroPointZeroZero) {
  EXPECT_EQ("0.00mm", ConvertDoubleToStringMM(0));
}

TEST(ConvertDoubleToStringMMTest, ThreeDecimalsLoseTheThird) {
  EXPECT_EQ("123.45mm", ConvertDoubleToStringMM(123.456));
}

TEST(ConvertDoubleToStringMMTest, NegativeValueGetsLeadingMinus) {
  EXPECT_EQ("-1.50mm", ConvertDoubleToStringMM(-1.5));
}

TEST(ConvertDoubleToStringMMTest, BelowOneHundredthIsZero) {
  EXPECT_EQ("0.00mm", ConvertDoubleToStringMM(0.009));
}

struct MMRow {
  double value;
  const char* text;
};

// Each expectation follows the double nearest the literal, times 100.0
// rounded to the nearest double, then truncated. The comment gives that
// product where it is not the decimal one.
TEST(ConvertDoubleToStringMMTest, RoundingEdgeTable) {
  const MMRow rows[] = {
      {0.0, "0.00mm"},
      {-0.0, "0.00mm"},  // -0.0 < 0.0 is false: no sign
      {5e-324, "0.00mm"},
      {-5e-324, "-0.00mm"},
      {0.005, "0.00mm"},     // 0.5
      {0.01, "0.01mm"},      // 1.0
      {0.015, "0.01mm"},     // 1.5
      {0.07, "0.07mm"},      // 7.000000000000001
      {0.09, "0.09mm"},      // 9.0
      {0.1, "0.10mm"},       // 10.0
      {0.29, "0.28mm"},      // 28.999999999999996
      {0.57, "0.56mm"},      // 56.99999999999999
      {0.7, "0.70mm"},       // 70.0
      {0.995, "0.99mm"},     // 99.5
      {1.005, "1.00mm"},     // 100.49999999999999
      {1.1, "1.10mm"},       // 110.00000000000001
      {1.15, "1.14mm"},      // 114.99999999999999
      {2.01, "2.00mm"},      // 200.99999999999997
      {2.675, "2.67mm"},     // 267.5
      {4.35, "4.34mm"},      // 434.99999999999994
      {8.2, "8.19mm"},       // 819.9999999999999
      {9.995, "9.99mm"},     // 999.4999999999999
      {12.3, "12.30mm"},     // 1230.0
      {99.995, "99.99mm"},   // 9999.5
      {-2.675, "-2.67mm"},
      {-0.29, "-0.28mm"},
      {1234567.89, "1234567.88mm"},     // 123456788.99999999
      {21474836.47, "21474836.47mm"},   // 2147483647.0 (INT_MAX)
      {21474836.475, "21474836.47mm"},  // 2147483647.5
      {21474836.479, "21474836.47mm"},  // 2147483647.9
      {-21474836.47, "-21474836.47mm"},
  };
  for (const MMRow& row : rows) {
    EXPECT_EQ(row.text, ConvertDoubleToStringMM(row.value)) << "value " << row.value;
  }
}

TEST(ConvertDoubleToStringMMTest, LastDoubleBelowOverflowStillHasDigits) {
  // 21474836.479999997 * 100 = 2147483647.9999998, still below 2^31.
  EXPECT_EQ("21474836.47mm", ConvertDoubleToStringMM(std::nextafter(21474836.48, 0.0)));
}

TEST(ConvertDoubleToStringMMTest, OverflowWritesNoIntegerDigits) {
  // From 21474836.48 mm the product reaches 2^31 and truncates to INT_MIN:
  // integer part -21474836 (no digits), hundredths -48, whose tens and units
  // are -4 and -8.
  const MMRow rows[] = {
      {21474836.48, ".-4-8mm"},  // 2147483648.0
      {-21474836.48, "-.-4-8mm"},
      {21474836.49, ".-4-8mm"},
      {42949672.96, ".-4-8mm"},
      {1e300, ".-4-8mm"},
      {-1e300, "-.-4-8mm"},
      {std::numeric_limits<double>::max(), ".-4-8mm"},
      {kInfinity, ".-4-8mm"},
      {-kInfinity, "-.-4-8mm"},
      {kNaN, ".-4-8mm"},  // NaN < 0.0 is false: no sign
  };
  for (const MMRow& row : rows) {
    EXPECT_EQ(row.text, ConvertDoubleToStringMM(row.value)) << "value " << row.value;
  }
}

TEST(ConvertDoubleToStringMMTest, TenthsOfMillimetreFromDiagramUnits) {
  // Callers pass diagram units divided by 10.0.
  EXPECT_EQ("12.30mm", ConvertDoubleToStringMM(123 / 10.0));
  EXPECT_EQ("0.70mm", ConvertDoubleToStringMM(7 / 10.0));
  EXPECT_EQ("-0.30mm", ConvertDoubleToStringMM(-3 / 10.0));  // 30.0
  EXPECT_EQ("3.00mm", ConvertDoubleToStringMM(3.0));
}

// ---------------------------------------------------------------------------
// DecodeValueVector

struct DecodeRow {
  const char* text;
  bool ok;
  std::vector<long> values;
};

void CheckDecodeRows(const std::vector<DecodeRow>& rows) {
  for (const DecodeRow& row : rows) {
    std::string text = row.text;
    std::vector<long> values = {99, 98, 97};  // must be cleared
    EXPECT_EQ(row.ok, DecodeValueVector(text, values)) << "\"" << row.text << "\"";
    EXPECT_EQ(row.values, values) << "\"" << row.text << "\"";
  }
}

TEST(DecodeValueVectorTest, TwoNumbers) { CheckDecodeRows({{"100 200", true, {100, 200}}}); }

TEST(DecodeValueVectorTest, RunsOfSpacesAndNegativeNumbers) {
  CheckDecodeRows({{"  -5   7 ", true, {-5, 7}}});
}

TEST(DecodeValueVectorTest, EmptyTextIsAnEmptyList) { CheckDecodeRows({{"", true, {}}}); }

TEST(DecodeValueVectorTest, CommaIsRejected) { CheckDecodeRows({{"1,2", false, {}}}); }

TEST(DecodeValueVectorTest, TrailingLoneMinusIsZero) { CheckDecodeRows({{"1 -", true, {1, 0}}}); }

TEST(DecodeValueVectorTest, MinusInsideNumberIsRejected) {
  CheckDecodeRows({{"1-2", false, {}}});
}

TEST(DecodeValueVectorTest, TabIsNotASeparator) { CheckDecodeRows({{"1\t2", false, {}}}); }

TEST(DecodeValueVectorTest, Table) {
  CheckDecodeRows({
      {"0", true, {0}},
      {"-0", true, {0}},
      {"007", true, {7}},
      {"-", true, {0}},
      {"- 5", true, {0, 5}},
      {"   ", true, {}},
      {" 42", true, {42}},
      {"42 ", true, {42}},
      {"1 2 3 4 5 6", true, {1, 2, 3, 4, 5, 6}},
      {"-10 -20", true, {-10, -20}},
      // The 32-bit range and beyond it: saturation on every platform.
      {"2147483647", true, {2147483647}},
      {"2147483648", true, {2147483647}},
      {"-2147483648", true, {-2147483647L - 1}},
      {"-2147483649", true, {-2147483647L - 1}},
      {"4294967296", true, {2147483647}},
      {"99999999999", true, {2147483647}},
      {"-99999999999", true, {-2147483647L - 1}},
      {"9223372036854775808", true, {2147483647}},
      {"123456789012345678901234567890", true, {2147483647}},
      {"-123456789012345678901234567890", true, {-2147483647L - 1}},
      {"00000000000000000000000000012", true, {12}},
      {"1 99999999999 -3", true, {1, 2147483647, -3}},
      // Anything but digits, "-" first and single spaces ends with false,
      // keeping the numbers completed before it.
      {"+1", false, {}},
      {"1.5", false, {}},
      {"1 +", false, {1}},
      {"1 2,3", false, {1}},
      {"--1", false, {}},
      {"5-", false, {}},
      {"1 2-", false, {1}},
      {"a", false, {}},
      {"12a", false, {}},
      {"1\n", false, {}},
      {"1 \n", false, {1}},
      {"\r", false, {}},
      {"\xff", false, {}},
      {"\xb2", false, {}},
      {"1e3", false, {}},
      {"0x10", false, {}},
  });
}

TEST(DecodeValueVectorTest, EmbeddedNulIsRejected) {
  std::string text("1 2", 3);
  text[1] = '\0';
  std::vector<long> values;
  EXPECT_FALSE(DecodeValueVector(text, values));
  EXPECT_TRUE(values.empty());
}

}  // namespace
