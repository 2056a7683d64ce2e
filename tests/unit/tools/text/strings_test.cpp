// Small verbs on texts.

#include "text/strings.h"

#include <gtest/gtest.h>

#include <limits>

using Lines = std::vector<std::string>;

TEST(Strings, NumbersHaveTheirSingular) {
  EXPECT_EQ(tool::counted(0, "entry", "entries"), "0 entries");
  EXPECT_EQ(tool::counted(1, "entry", "entries"), "1 entry");
  EXPECT_EQ(tool::counted(2, "entry", "entries"), "2 entries");
}

TEST(Strings, TheLastOfSeveralIsJoinedByAWord) {
  EXPECT_EQ(tool::listed({}), "");
  EXPECT_EQ(tool::listed({"a"}), "a");
  EXPECT_EQ(tool::listed({"a", "b"}), "a and b");
  EXPECT_EQ(tool::listed({"a", "b", "c"}, "or"), "a, b or c");
}

TEST(Strings, WordsAreJoinedBySeparators) {
  EXPECT_EQ(tool::joinedBy(", ", {}), "");
  EXPECT_EQ(tool::joinedBy(", ", {"a"}), "a");
  EXPECT_EQ(tool::joinedBy(", ", {"", "b", "c"}), ", b, c");
}

TEST(Strings, TimesAreInUtc) {
  EXPECT_EQ(tool::utcText(1789992000), "2026-09-21T12:00:00Z");
  EXPECT_EQ(tool::utcText(std::numeric_limits<std::time_t>::max()), "-");
}

TEST(Strings, LinesAreAsLongAsTheyMayBe) {
  EXPECT_EQ(tool::wrapped("", 10), Lines());
  EXPECT_EQ(tool::wrapped("one two  three\nfour", 100), Lines{"one two three four"});
  EXPECT_EQ(tool::wrapped("one two three", 7), (Lines{"one two", "three"}));
  EXPECT_EQ(tool::wrapped("one two three", 6), (Lines{"one", "two", "three"}));
  EXPECT_EQ(tool::wrapped("a lengthy-word b", 3), (Lines{"a", "lengthy-word", "b"}));
}
