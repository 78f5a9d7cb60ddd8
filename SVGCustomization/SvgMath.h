// Curve and number arithmetic of the SVG annotation: the point and colour
// types, integer powers and factorials, Bernstein polynomials, points along a
// polyline or Bezier curve, millimetre texts and number-list decoding.
//
// Every function here is pure: it reads only its arguments and touches no
// host object. None reports an error; the fallbacks are documented per
// function. Integer arithmetic wraps in 32 bits and every double-to-int
// conversion goes through TruncateToInt32, so results are the same bytes on
// x86-64 and i386.
#ifndef SVGCUSTOMIZATION_SVGMATH_H_
#define SVGCUSTOMIZATION_SVGMATH_H_

#include <string>
#include <vector>

// A diagram point in the host model's diagram units (tenths of a millimetre),
// y growing downward as in SVG. A value type; (0, 0) by default.
class CSvgPoint {
 public:
  CSvgPoint() : x(0), y(0) {}
  CSvgPoint(int xValue, int yValue) : x(xValue), y(yValue) {}

  int x;
  int y;
};

inline bool operator==(const CSvgPoint& a, const CSvgPoint& b) { return a.x == b.x && a.y == b.y; }
inline bool operator!=(const CSvgPoint& a, const CSvgPoint& b) { return !(a == b); }

// An RGB colour, each component in 0..255; written into SVG as
// "rgb(r,g,b)". A value type; black by default.
class CSvgColor {
 public:
  CSvgColor() : r(0), g(0), b(0) {}
  CSvgColor(int red, int green, int blue) : r(red), g(green), b(blue) {}

  int r;
  int g;
  int b;
};

// Returns x to the power n, or with `derivative` set n * x^(n-1) (0.0 when n
// is 0). A negative exponent e is computed as 1 / (accumulator * x^|e|), so
// with `derivative` and n <= -2 the factor n lands in the denominator:
// 1 / (n * x^|n-1|). Callers pass only non-negative n; the quirk is kept.
// Multiplies |e| times, so the cost grows with |n|.
double CalcSVGPower(double x, int n, bool derivative);

// Returns n! computed in 32-bit integers with wrap-around (13! and above are
// wrong, 34! and above are 0); 1 for n <= 0.
int CalcSVGFactorial(int n);

// Returns the Bernstein basis polynomial B(i, n)(t) = C(n, i) t^i (1-t)^(n-i),
// or with `derivative` set its derivative with respect to t. The binomial
// coefficient is n! / ((n-i)! i!) from the wrapping factorials with a
// truncating division: exact up to n = 12, wrong above, and 0 where the
// wrapped divisor is 0 (n >= 34 for some i).
double CalcSVGBezierPolynom(int i, int n, double t, bool derivative);

// Returns the point at `fraction` of the way along the line through `points`
// (0 = first point, 1 = last point), moved `offset` units sideways to the
// left of the direction of travel on screen (for a line running right, a
// positive offset moves the point up). With `bezier` set, all the points are
// the control points of one Bezier curve of degree size-1; otherwise they are
// the corners of a polyline, and a target exactly on a corner takes the end
// of the earlier segment. Fractions outside 0..1 extrapolate along the first
// segment or the curve, or (polyline, above 1) stop at the last point.
// A zero-length tangent or segment uses the normal (1, 0). Coordinates are
// truncated toward zero; out-of-range ones become INT_MIN.
// Returns (0, 0) for fewer than two points. `points` is only read.
CSvgPoint FindPointALongLine(const std::vector<CSvgPoint>& points, bool bezier, double fraction,
                             double offset);

// Returns the length `value` (millimetres) as text with two truncated
// decimals and the suffix "mm": 12.345 gives "12.34mm", -0.001 gives
// "-0.00mm" (the sign stays even when every digit is 0). The hundredths come
// from a 32-bit int: from 21474836.48 mm up, and for infinities and NaN, the
// product wraps to INT_MIN, no integer digits are written and the text is
// ".-4-8mm" (with "-" in front for a negative value).
std::string ConvertDoubleToStringMM(double value);

// Parses decimal integers separated by single spaces (runs of spaces and
// leading or trailing spaces allowed) into `values`, which it clears first.
// A number is "-" or a digit followed by digits; a lone "-" is 0, and values
// beyond the 32-bit range saturate to INT32_MIN or INT32_MAX. Returns true
// when the whole text fits that grammar, false at the first other character
// (tab, "+", ".", "-" inside a number, ...); `values` then keeps the numbers
// completed before it.
bool DecodeValueVector(const std::string& text, std::vector<long>& values);

#endif  // SVGCUSTOMIZATION_SVGMATH_H_
