#include "SVGCustomization/TruncateToInt32.h"

#include <climits>
#include <cmath>
#include <limits>

#include <gtest/gtest.h>

namespace {

struct TruncateRow {
  double value;
  int expected;
};

TEST(TruncateToInt32Test, TruncatesTowardZeroInsideTheRange) {
  const TruncateRow rows[] = {
      {0.0, 0},
      {-0.0, 0},
      {0.999, 0},
      {-0.999, 0},
      {1.9, 1},
      {-1.9, -1},
      {7.5, 7},
      {-7.5, -7},
      {2147483647.0, 2147483647},
      {2147483647.9, 2147483647},
      {-2147483648.0, INT_MIN},
      {-2147483648.9, INT_MIN},
      {5e-324, 0},
  };
  for (const TruncateRow& row : rows) {
    EXPECT_EQ(row.expected, TruncateToInt32(row.value)) << "value " << row.value;
  }
}

TEST(TruncateToInt32Test, OutOfRangeInfinityAndNaNGiveIntMin) {
  const double rows[] = {
      2147483648.0,
      -2147483649.0,
      4294967296.0,
      1e300,
      -1e300,
      std::numeric_limits<double>::infinity(),
      -std::numeric_limits<double>::infinity(),
      std::numeric_limits<double>::quiet_NaN(),
      -std::numeric_limits<double>::quiet_NaN(),
  };
  for (double value : rows) {
    EXPECT_EQ(INT_MIN, TruncateToInt32(value)) << "value " << value;
  }
}

TEST(TruncateToInt32Test, LastDoublesBeforeTheBounds) {
  EXPECT_EQ(2147483647, TruncateToInt32(std::nextafter(2147483648.0, 0.0)));
  EXPECT_EQ(INT_MIN, TruncateToInt32(std::nextafter(-2147483649.0, 0.0)));
}

}  // namespace
