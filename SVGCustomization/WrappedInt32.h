// 32-bit integer addition and subtraction that wrap around instead of
// overflowing, for coordinates computed from values read out of the model.
#ifndef SVGCUSTOMIZATION_WRAPPEDINT32_H_
#define SVGCUSTOMIZATION_WRAPPEDINT32_H_

#include <climits>
#include <cstdint>

// Maps 32 bits back to the int they stand for in two's complement, without
// a narrowing conversion.
inline int Int32FromBits(std::uint32_t bits) {
  if (bits <= 0x7FFFFFFFu) return static_cast<int>(bits);
  return static_cast<int>(bits - 0x80000000u) + INT_MIN;
}

// Returns a + b modulo 2^32. Defined for every input.
inline int WrappedAdd(int a, int b) {
  return Int32FromBits(static_cast<std::uint32_t>(a) + static_cast<std::uint32_t>(b));
}

// Returns a - b modulo 2^32. Defined for every input.
inline int WrappedSub(int a, int b) {
  return Int32FromBits(static_cast<std::uint32_t>(a) - static_cast<std::uint32_t>(b));
}

#endif  // SVGCUSTOMIZATION_WRAPPEDINT32_H_
