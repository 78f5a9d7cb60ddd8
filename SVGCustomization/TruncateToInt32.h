// The one place where a double becomes a 32-bit int in the SVG arithmetic.
#ifndef SVGCUSTOMIZATION_TRUNCATETOINT32_H_
#define SVGCUSTOMIZATION_TRUNCATETOINT32_H_

#include <climits>

// Returns `value` truncated toward zero when the result fits in a 32-bit int.
// Out-of-range values, infinities and NaN give INT_MIN, the "integer
// indefinite" answer of the x86 truncating conversion (cvttsd2si) that the
// arithmetic has always relied on. Unlike a plain cast this is defined for
// every input and gives the same answer on x86-64 and i386.
inline int TruncateToInt32(double value) {
  // Every double strictly between these bounds truncates into the int range;
  // NaN fails both comparisons and takes the fallback.
  if (value > -2147483649.0 && value < 2147483648.0) return static_cast<int>(value);
  return INT_MIN;
}

#endif  // SVGCUSTOMIZATION_TRUNCATETOINT32_H_
