#include "check/counters.h"

#include <gtest/gtest.h>

#include "check/later.h"

using tool::Counters;
using tool::exitStatus;
using tool::summaryLine;

namespace {

Counters oneChecked() {
  Counters counters;
  counters.sets = 1;
  counters.checked = 1;
  return counters;
}

// The status after `member` has become 1.
int statusWith(std::size_t Counters::*member) {
  Counters counters = oneChecked();
  counters.*member = 1;
  return exitStatus(counters);
}

}  // namespace

TEST(Counters, EachHasItsBit) {
  EXPECT_EQ(exitStatus(oneChecked()), 0);
  EXPECT_EQ(statusWith(&Counters::changed), 1);
  EXPECT_EQ(statusWith(&Counters::missing), 2);
  EXPECT_EQ(statusWith(&Counters::stray), 4);
  EXPECT_EQ(statusWith(&Counters::unchecked), 8);
  EXPECT_EQ(statusWith(&Counters::notLoaded), 16);
  EXPECT_EQ(statusWith(&Counters::accepted), 0);
}

TEST(Counters, NothingCheckedIsNotASuccess) {
  EXPECT_EQ(exitStatus(Counters()), 16);
  Counters counters;
  counters.sets = 1;
  EXPECT_EQ(exitStatus(counters), 16);
}

TEST(Counters, UnknownSetsAreNotASuccess) {
  Counters counters = oneChecked();
  counters.setsUnknown = true;
  EXPECT_EQ(exitStatus(counters), 16);
}

TEST(Counters, PartialIsUnchecked) {
  Counters counters = oneChecked();
  counters.partial = true;
  EXPECT_EQ(exitStatus(counters), 8);
}

TEST(Counters, CountsBetweenTwoMoments) {
  Counters earlier = oneChecked();
  earlier.kinds[ZEMO::SELF_CHECK::CHECK_ERROR_SIZE] = 2;
  Counters later = earlier;
  later.sets = 2;
  later.checked = 5;
  later.accepted = 3;
  later.partial = true;
  later.kinds[ZEMO::SELF_CHECK::CHECK_ERROR_SIZE] = 3;
  later.kinds[ZEMO::SELF_CHECK::CHECK_ERROR_HASH] = 4;
  Counters const between = tool::between(earlier, later);
  EXPECT_EQ(between.sets, 1U);
  EXPECT_EQ(between.checked, 4U);
  EXPECT_EQ(between.accepted, 3U);
  EXPECT_EQ(between.missing, 0U);
  EXPECT_TRUE(between.partial);
  EXPECT_EQ(between.kinds.at(ZEMO::SELF_CHECK::CHECK_ERROR_SIZE), 1U);
  EXPECT_EQ(between.kinds.at(ZEMO::SELF_CHECK::CHECK_ERROR_HASH), 4U);
}

TEST(Counters, SummaryHasOneAndMany) {
  EXPECT_EQ(summaryLine(oneChecked()),
            "checked 1 entry of 1 set: 0 changed, 0 missing, 0 stray, 0 could not be checked");
  Counters counters;
  counters.sets = 2;
  counters.notLoaded = 3;
  counters.entries = 12;
  counters.checked = 4;
  counters.changed = 5;
  counters.missing = 6;
  counters.stray = 7;
  counters.unchecked = 8;
  counters.accepted = 9;
  counters.partial = true;
  EXPECT_EQ(summaryLine(counters),
            "interrupted, partial result: checked 4 of 12 entries of 2 sets: 5 changed, 6 "
            "missing, 7 stray, 8 could not be checked, 9 accepted; 3 sets could not be loaded");
  counters.setsUnknown = true;
  EXPECT_TRUE(summaryLine(counters).find("; the sets of packages are unknown") !=
              std::string::npos);
}

TEST(LateBudget, IsOneForTheRun) {
  tool::LateBudget budget(10, 60);
  EXPECT_TRUE(budget.takes(4));
  EXPECT_FALSE(budget.takes(7));
  EXPECT_TRUE(budget.takes(6));
  EXPECT_FALSE(budget.takes(1));
  EXPECT_TRUE(budget.takes(0));
  EXPECT_TRUE(budget.mayWait());
  EXPECT_FALSE(tool::LateBudget(10, 0).mayWait());
}
