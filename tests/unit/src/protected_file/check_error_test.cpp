#include <gtest/gtest.h>
#include <zemo/selfcheck/check_error.h>
#include <zemo/selfcheck/protected_file.h>

#include <algorithm>
#include <functional>
#include <type_traits>
#include <vector>

#include "support/files.h"
#include "support/temporary_directory.h"

namespace {

using namespace ZEMO::SELF_CHECK;

TEST(CheckErrorText, NamesEachKind) {
  CheckError error = {};
  EXPECT_EQ(error.type2String(CHECK_ERROR_SIZE), "size");
  EXPECT_EQ(error.type2String(CHECK_ERROR_HASH), "hash");
  EXPECT_EQ(error.type2String(CHECK_ERROR_TYPE), "type");
  EXPECT_EQ(error.type2String(CHECK_ERROR_PERMISSION), "permission");
  EXPECT_EQ(error.type2String(CHECK_ERROR_OWNER), "owner");
  EXPECT_EQ(error.type2String(CHECK_ERROR_GROUP), "group");
  EXPECT_EQ(error.type2String(CHECK_ERROR_NOT_EXIST), "not exist");
  EXPECT_EQ(error.type2String(CHECK_ERROR_UNKNOWN_FILE), "is unknown file");
}

TEST(CheckErrorText, IsEmptyForUnknownKinds) {
  CheckError error = {};
  for (int const number : {0, 7, 10, -1, INT32_MIN, INT32_MAX})
    EXPECT_EQ(error.type2String(static_cast<CHECK_ERROR>(number)), "") << number;
}

TEST(CheckErrorText, ShowsExpectedAndActual) {
  CheckError error = {CHECK_ERROR_PERMISSION, "/etc/passwd", "644", "600"};
  EXPECT_EQ(error.toString(), "/etc/passwd permission expect[644] but get[600]");
}

TEST(CheckErrorText, ShowsEmptyBracketsForMissingFile) {
  CheckError error = {CHECK_ERROR_NOT_EXIST, "/etc/missing", "", ""};
  EXPECT_EQ(error.toString(), "/etc/missing not exist expect[] but get[]");
}

TEST(CheckErrorText, KeepsLeadingBlankOfEmptyPath) {
  CheckError error = {CHECK_ERROR_NOT_EXIST, "", "", ""};
  EXPECT_EQ(error.toString(), " not exist expect[] but get[]");
}

TEST(CheckErrorText, JoinsDirectoryAndUnknownName) {
  CheckError error = {CHECK_ERROR_UNKNOWN_FILE, "/usr/lib/mod", "", "evil"};
  EXPECT_EQ(error.toString(), "/usr/lib/mod/evil is unknown file");
}

TEST(CheckErrorText, NeverShowsExpectedForUnknownFile) {
  CheckError error = {CHECK_ERROR_UNKNOWN_FILE, "/d", "something", "name"};
  EXPECT_EQ(error.toString(), "/d/name is unknown file");
}

TEST(CheckErrorText, KeepsDoubledSlashOfUnknownFile) {
  CheckError error = {CHECK_ERROR_UNKNOWN_FILE, "/d/", "", "name"};
  EXPECT_EQ(error.toString(), "/d//name is unknown file");
}

TEST(CheckErrorText, HasTwoBlanksForOutOfRangeKind) {
  CheckError error = {static_cast<CHECK_ERROR>(7), "/x", "a", "b"};
  EXPECT_EQ(error.toString(), "/x  expect[a] but get[b]");
}

TEST(CheckItem, CombinesAtCompileTime) {
  constexpr CHECK_ITEM both = CHECK_ITEM_SIZE | CHECK_ITEM_HASH;
  static_assert(both == 33);
  static_assert(std::is_same_v<decltype(CHECK_ITEM_SIZE | CHECK_ITEM_HASH), CHECK_ITEM>);
  CHECK_ITEM items = CHECK_ITEM_OWNER;
  items |= CHECK_ITEM_GROUP;
  EXPECT_EQ(items, 6);
}

TEST(CheckErrorRecords, HoldKindPathExpectedAndActualInThisOrder) {
  CheckError const error = {CHECK_ERROR_SIZE, "/x", "1", "2"};
  std::vector<const void*> const members = {&error._error, &error._filePath, &error._expected,
                                            &error._actual};
  EXPECT_TRUE(std::is_sorted(members.begin(), members.end(), std::less<>()));
  EXPECT_EQ(static_cast<const void*>(&error), members.front());
  EXPECT_EQ(sizeof error._error, 4U);
  EXPECT_FALSE(std::is_polymorphic_v<CheckError>);
}

TEST(CheckErrorRecords, AccumulateOverChecks) {
  TemporaryDirectory const directory;
  std::string const path = directory / "file";
  writeFile(path, "content");
  ProtectedFile entry(entryLine(path, "8", "-", "-", "-", "-", "-"));
  bool changed = false;
  EXPECT_TRUE(entry.check(changed, CHECK_ITEM_ALL));
  EXPECT_TRUE(entry.check(changed, CHECK_ITEM_ALL));
  ASSERT_EQ(entry._errors.size(), 2U);
  EXPECT_NE(entry._errors[0], entry._errors[1]);
  EXPECT_EQ(entry._errors[0]->toString(), path + " size expect[8] but get[7]");
  EXPECT_EQ(entry._errors[1]->toString(), entry._errors[0]->toString());
}

}  // namespace
