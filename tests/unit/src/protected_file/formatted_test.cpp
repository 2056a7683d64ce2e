#include "protected_file/comparison.h"

#include <gtest/gtest.h>

#include <climits>
#include <string>

#include "support/grouped_digits.h"

namespace {

using ZEMO::SELF_CHECK::formatted;

TEST(Formatted, ShowsLargestAndSmallestNumbers) {
  EXPECT_EQ(formatted("%ld", LONG_MAX), "9223372036854775807");
  EXPECT_EQ(formatted("%ld", LONG_MIN), "-9223372036854775808");
  EXPECT_EQ(formatted("%u", UINT_MAX), "4294967295");
  EXPECT_EQ(formatted("%u,%u", UINT_MAX, UINT_MAX), "4294967295,4294967295");
}

TEST(Formatted, ShowsOctalWithoutLeadingZero) {
  EXPECT_EQ(formatted("%o", 0600U), "600");
  EXPECT_EQ(formatted("%o", 0U), "0");
}

TEST(Formatted, IgnoresTheCppLocale) {
  GroupedDigits const locale;
  EXPECT_EQ(formatted("%ld,%u,%o", 1234567L, 7654321U, 07777U), "1234567,7654321,7777");
}

TEST(Formatted, CutsAfterSixtyThreeBytes) {
  EXPECT_EQ(formatted("%080d", 1), std::string(63, '0'));
  EXPECT_EQ(formatted("%063d", 1), std::string(62, '0') + "1");
}

}  // namespace
