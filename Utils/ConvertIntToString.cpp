#include "Utils/ConvertIntToString.h"

#include <climits>

std::string ConvertIntToString(int value) {
  std::string text;
  const bool negative = value < 0;
  // Negating INT_MIN would overflow; it keeps its (negative) value instead,
  // so the digit loop below writes nothing for it and only the sign remains.
  int magnitude = value;
  if (negative && value != INT_MIN) magnitude = -value;

  if (magnitude == 0) {
    text = "0";
  } else {
    // Digits come out least significant first, so each goes in front.
    while (magnitude > 0) {
      text.insert(text.begin(), static_cast<char>('0' + magnitude % 10));
      magnitude /= 10;
    }
  }
  if (negative) text.insert(text.begin(), '-');
  return text;
}
