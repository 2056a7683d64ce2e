#include "protected_file/comparison.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/errors_of.h"

namespace {

using namespace ZEMO::SELF_CHECK;

TEST(IsChecked, IsFalseForExactlyOneMinus) {
  EXPECT_FALSE(isChecked("-"));
  for (const char* const text : {"", "--", "- ", " -", "0", "-1"})
    EXPECT_TRUE(isChecked(text)) << text;
}

TEST(RecordMismatch, AppendsAndSetsChanged) {
  ProtectedFile entry("/x\t-\t-\t-\t-\t-\t-");
  bool changed = false;
  recordMismatch(entry, changed, CHECK_ERROR_SIZE, "1", "2");
  EXPECT_TRUE(changed);
  recordMismatch(entry, changed, CHECK_ERROR_NOT_EXIST, "", "");
  EXPECT_TRUE(changed);
  EXPECT_THAT(errorsOf(entry), ::testing::ElementsAre("/x size expect[1] but get[2]",
                                                      "/x not exist expect[] but get[]"));
}

TEST(RecordMismatch, TakesACopyOfThePath) {
  ProtectedFile entry("/x\t-\t-\t-\t-\t-\t-");
  bool changed = false;
  recordMismatch(entry, changed, CHECK_ERROR_TYPE, "f", "d");
  entry._path = "/y";
  EXPECT_EQ(entry._errors.at(0)->_filePath, "/x");
}

}  // namespace
