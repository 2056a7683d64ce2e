#include "run/progress.h"

#include <gtest/gtest.h>

using tool::Advance;
using tool::progressText;

TEST(Progress, StatesFilesBytesRateAndTimeLeft) {
  EXPECT_EQ(progressText({12345, 50000, 1'200'000'000, 2'300'000'000, 3.5}, 80),
            "12,345 of 50,000 files, 1.2 of 2.3 GB, 343 MB/s, 0:05 left");
}

TEST(Progress, FirstSecondIsTooEarlyForARate) {
  EXPECT_EQ(progressText({1, 2, 0, 10, 0.9}, 80), "1 of 2 files, 0 of 10 B");
}

TEST(Progress, UnknownTotalsAreLeftOut) {
  EXPECT_EQ(progressText({1234567, 0, 99'990, 0, 2}, 80), "1,234,567 files, 100 kB, 50.0 kB/s");
}

TEST(Progress, NothingDoneLeavesTheTimeUnknown) {
  EXPECT_EQ(progressText({0, 3, 0, 3000, 5}, 80), "0 of 3 files, 0.0 of 3.0 kB, 0 B/s");
}

TEST(Progress, MoreThanTheTotalLeavesNoTime) {
  EXPECT_EQ(progressText({3, 2, 30, 20, 2}, 80), "3 of 2 files, 30 of 20 B, 15 B/s, 0:00 left");
}

TEST(Progress, HoursAreShown) {
  EXPECT_EQ(progressText({1, 3601, 0, 0, 1.0}, 80),
            "1 of 3,601 files, 0 of 0 B, 0 B/s, 1:00:00 left");
}

TEST(Progress, FitsTheWidth) {
  Advance const advance{12345, 50000, 1'200'000'000, 2'300'000'000, 3.5};
  EXPECT_EQ(progressText(advance, 57), "12,345 of 50,000 files, 1.2 of 2.3 GB, 343 MB/s");
  EXPECT_EQ(progressText(advance, 58).size(), 58U);
  for (std::size_t width = 0; width < 70; ++width)
    EXPECT_LE(progressText(advance, width).size(), width);
}
