// Decimal text of an int, used for every integer written into JSON answers
// and SVG attributes.
#ifndef UTILS_CONVERTINTTOSTRING_H_
#define UTILS_CONVERTINTTOSTRING_H_

#include <string>

// Returns the decimal digits of `value`, preceded by "-" when it is negative;
// 0 gives "0". The magnitude is taken in a signed 32-bit int, so the smallest
// int (-2147483648), which has no positive counterpart, gives "-" alone.
// Never fails.
std::string ConvertIntToString(int value);

#endif  // UTILS_CONVERTINTTOSTRING_H_
