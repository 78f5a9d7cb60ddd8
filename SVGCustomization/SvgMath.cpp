#include "SVGCustomization/SvgMath.h"

#include <climits>
#include <cmath>
#include <cstddef>
#include <cstdint>

#include "SVGCustomization/TruncateToInt32.h"
#include "Utils/ConvertIntToString.h"

namespace {

// The integer arithmetic below wraps in 32 bits, as the x86 code it
// reproduces always did. It is done in uint32_t, where wrapping is defined,
// and mapped back to int here without relying on narrowing conversions.
int WrapToInt32(std::uint32_t bits) {
  if (bits <= 0x7FFFFFFFu) return static_cast<int>(bits);
  return static_cast<int>(bits - 0x80000000u) + INT_MIN;
}

int WrappedSubtract(int a, int b) {
  return WrapToInt32(static_cast<std::uint32_t>(a) - static_cast<std::uint32_t>(b));
}

int WrappedMultiply(int a, int b) {
  return WrapToInt32(static_cast<std::uint32_t>(a) * static_cast<std::uint32_t>(b));
}

// n! / ((n-i)! i!) from the wrapping factorials, with a truncating division.
// A divisor that wrapped to 0 gives 0; -1 cannot occur (it would need two odd
// factorials, i.e. 1 * 1) but is handled so the division can never trap.
int WrappedBinomial(int i, int n) {
  const int dividend = CalcSVGFactorial(n);
  const int divisor = WrappedMultiply(CalcSVGFactorial(WrappedSubtract(n, i)), CalcSVGFactorial(i));
  if (divisor == 0) return 0;
  if (divisor == -1) return WrappedSubtract(0, dividend);
  return dividend / divisor;
}

struct Vector {
  double x;
  double y;
};

// The unit normal to the left of the direction (dx, dy) on screen, or (1, 0)
// when the direction has no length.
Vector LeftNormal(double dx, double dy, double length) {
  if (length == 0.0) return Vector{1.0, 0.0};
  return Vector{dy / length, -dx / length};
}

// The whole point list is one Bezier curve of degree size-1.
CSvgPoint PointOnBezier(const std::vector<CSvgPoint>& points, double fraction, double offset) {
  const int degree = static_cast<int>(points.size() - 1);
  double x = 0.0;
  double y = 0.0;
  double dx = 0.0;
  double dy = 0.0;
  for (int k = 0; k <= degree; ++k) {
    const double weight = CalcSVGBezierPolynom(k, degree, fraction, false);
    const double slope = CalcSVGBezierPolynom(k, degree, fraction, true);
    x += points[k].x * weight;
    y += points[k].y * weight;
    dx += points[k].x * slope;
    dy += points[k].y * slope;
  }
  const Vector normal = LeftNormal(dx, dy, std::sqrt(dx * dx + dy * dy));
  return CSvgPoint(TruncateToInt32(x + offset * normal.x), TruncateToInt32(y + offset * normal.y));
}

// Coordinate differences are taken in double: the int difference of two
// far-apart points can overflow.
double DeltaX(const std::vector<CSvgPoint>& points, std::size_t k) {
  return static_cast<double>(points[k + 1].x) - static_cast<double>(points[k].x);
}

double DeltaY(const std::vector<CSvgPoint>& points, std::size_t k) {
  return static_cast<double>(points[k + 1].y) - static_cast<double>(points[k].y);
}

// The points are the corners of a polyline; the target distance is measured
// along it from the first point.
CSvgPoint PointOnPolyline(const std::vector<CSvgPoint>& points, double fraction, double offset) {
  const std::size_t segments = points.size() - 1;
  std::vector<double> lengths(segments);
  double total = 0.0;
  for (std::size_t k = 0; k < segments; ++k) {
    const double dx = DeltaX(points, k);
    const double dy = DeltaY(points, k);
    lengths[k] = std::sqrt(dx * dx + dy * dy);
    total += lengths[k];
  }

  // The first segment whose end reaches the target wins, so a target on a
  // corner takes the end of the earlier segment. None qualifies above the
  // total length (or for NaN): then the end of the last segment.
  const double target = fraction * total;
  std::size_t chosen = segments - 1;
  double u = 1.0;
  double reached = 0.0;
  for (std::size_t k = 0; k < segments; ++k) {
    reached += lengths[k];
    if (target <= reached) {
      chosen = k;
      u = lengths[k] != 0.0 ? 1.0 - (reached - target) / lengths[k] : 1.0;
      break;
    }
  }

  const double dx = DeltaX(points, chosen);
  const double dy = DeltaY(points, chosen);
  const Vector normal = LeftNormal(dx, dy, lengths[chosen]);
  const double x = dx * u + points[chosen].x + normal.x * offset;
  const double y = u * dy + points[chosen].y + normal.y * offset;
  return CSvgPoint(TruncateToInt32(x), TruncateToInt32(y));
}

bool IsAsciiDigit(unsigned char c) { return c >= '0' && c <= '9'; }

// Converts a token of the form "-", "-digits" or "digits" to its value,
// saturated to the 32-bit range on every platform ("-" alone is 0).
long TokenValue(const std::string& token) {
  const bool negative = !token.empty() && token[0] == '-';
  const long long limit = 2147483648LL;  // |INT32_MIN|
  long long magnitude = 0;
  for (std::size_t k = negative ? 1 : 0; k < token.size(); ++k) {
    // Once past the limit more digits cannot bring the value back into range,
    // so the magnitude is capped and never grows beyond 64 bits.
    magnitude = magnitude * 10 + (static_cast<unsigned char>(token[k]) - '0');
    if (magnitude > limit) magnitude = limit;
  }
  if (negative) return static_cast<long>(-magnitude);
  return static_cast<long>(magnitude < limit ? magnitude : limit - 1);
}

}  // namespace

double CalcSVGPower(double x, int n, bool derivative) {
  double accumulator = 1.0;
  int exponent = n;
  if (derivative) {
    if (n == 0) return 0.0;
    accumulator = static_cast<double>(n);
    exponent = WrappedSubtract(n, 1);
  }
  // The exponent wraps in 32 bits like the rest of this integer arithmetic:
  // INT_MIN stays negative when negated and then multiplies no times.
  const bool reciprocal = exponent < 0;
  if (reciprocal) exponent = WrappedSubtract(0, exponent);
  for (int k = 0; k < exponent; ++k) accumulator *= x;
  return reciprocal ? 1.0 / accumulator : accumulator;
}

int CalcSVGFactorial(int n) {
  // From 34 on the product holds at least 32 factors of two, so the wrapped
  // result is 0; stopping there keeps huge n from looping for long.
  if (n >= 34) return 0;
  std::uint32_t product = 1;
  for (int k = 2; k <= n; ++k) product *= static_cast<std::uint32_t>(k);
  return WrapToInt32(product);
}

double CalcSVGBezierPolynom(int i, int n, double t, bool derivative) {
  const double coefficient = WrappedBinomial(i, n);
  const int rest = WrappedSubtract(n, i);
  const double s = 1.0 - t;
  if (!derivative) return coefficient * CalcSVGPower(t, i, false) * CalcSVGPower(s, rest, false);
  // Product rule; its minus sign carries the inner derivative of (1 - t).
  return coefficient * (CalcSVGPower(t, i, true) * CalcSVGPower(s, rest, false) -
                        CalcSVGPower(t, i, false) * CalcSVGPower(s, rest, true));
}

CSvgPoint FindPointALongLine(const std::vector<CSvgPoint>& points, bool bezier, double fraction,
                             double offset) {
  if (points.size() < 2) return CSvgPoint();
  if (bezier) return PointOnBezier(points, fraction, offset);
  return PointOnPolyline(points, fraction, offset);
}

std::string ConvertDoubleToStringMM(double value) {
  const bool negative = value < 0.0;
  const double magnitude = negative ? -value : value;
  // Truncated, not rounded. Lengths from 21474836.48 mm up (and infinities,
  // NaN) give INT_MIN here, whose parts are -21474836 and -48.
  const int hundredths = TruncateToInt32(magnitude * 100.0);
  const int whole = hundredths / 100;
  const int cents = hundredths % 100;

  std::string text;
  // A negative integer part writes no digits.
  if (whole >= 0) text = ConvertIntToString(whole);
  text += '.';
  text += ConvertIntToString(cents / 10);
  text += ConvertIntToString(cents % 10);
  text += "mm";
  // The sign stays even when every digit is 0 ("-0.00mm").
  if (negative) text.insert(0, "-");
  return text;
}

bool DecodeValueVector(const std::string& text, std::vector<long>& values) {
  values.clear();
  std::size_t cursor = 0;
  const std::size_t end = text.size();
  while (cursor < end) {
    const unsigned char c = static_cast<unsigned char>(text[cursor]);
    if (c == ' ') {
      ++cursor;
      continue;
    }
    if (!IsAsciiDigit(c) && c != '-') return false;

    // A number is its first character ("-" or a digit) and the digits after
    // it; it must end at a space or at the end of the text.
    const std::size_t start = cursor++;
    while (cursor < end && IsAsciiDigit(static_cast<unsigned char>(text[cursor]))) ++cursor;
    if (cursor < end && text[cursor] != ' ') return false;
    values.push_back(TokenValue(text.substr(start, cursor - start)));
  }
  return true;
}
