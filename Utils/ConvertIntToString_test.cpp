#include "Utils/ConvertIntToString.h"

#include <climits>

#include <gtest/gtest.h>

namespace {

TEST(ConvertIntToStringTest, ZeroNegativePositiveAndSmallestInt) {
  EXPECT_EQ("0", ConvertIntToString(0));
  EXPECT_EQ("-7", ConvertIntToString(-7));
  EXPECT_EQ("120", ConvertIntToString(120));
  EXPECT_EQ("-", ConvertIntToString(-2147483647 - 1));
}

TEST(ConvertIntToStringTest, SmallestIntGivesLoneMinusSign) {
  EXPECT_EQ("-", ConvertIntToString(INT_MIN));
}

struct IntRow {
  int value;
  const char* text;
};

TEST(ConvertIntToStringTest, Table) {
  const IntRow rows[] = {
      {0, "0"},
      {1, "1"},
      {-1, "-1"},
      {9, "9"},
      {10, "10"},
      {-10, "-10"},
      {99, "99"},
      {100, "100"},
      {120, "120"},
      {-7, "-7"},
      {255, "255"},
      {1000000, "1000000"},
      {1234567890, "1234567890"},
      {-1234567890, "-1234567890"},
      {2147483647, "2147483647"},
      {-2147483647, "-2147483647"},
      {INT_MIN, "-"},
  };
  for (const IntRow& row : rows) {
    EXPECT_EQ(row.text, ConvertIntToString(row.value)) << "value " << row.value;
  }
}

}  // namespace
