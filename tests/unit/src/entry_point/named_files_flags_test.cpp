// The flags of each result.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <zemo/selfcheck/file_list.h>

#include "named_files_fixture.h"

namespace {

using namespace ZEMO::SELF_CHECK;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

using NamedFilesFlagsTest = NamedFilesTest;

TEST_F(NamedFilesFlagsTest, WrongSize) {
  std::string const path = file("f");
  load({entryLine(path, "8", "-", "-", "-", "-", "-")});
  EXPECT_EQ(check(path), 0x001U);
}

TEST_F(NamedFilesFlagsTest, WrongOwner) {
  std::string const path = file("f");
  load({entryLine(path, "-", "-", "-", "-", "1234567", "-")});
  EXPECT_EQ(check(path), 0x002U);
}

TEST_F(NamedFilesFlagsTest, WrongGroup) {
  std::string const path = file("f");
  load({entryLine(path, "-", "-", "-", "-", "-", "1234567")});
  EXPECT_EQ(check(path), 0x004U);
}

TEST_F(NamedFilesFlagsTest, WrongType) {
  std::string const path = file("f");
  load({entryLine(path, "-", "-", "d", "-", "-", "-")});
  EXPECT_EQ(check(path), 0x008U);
}

TEST_F(NamedFilesFlagsTest, WrongPermission) {
  std::string const path = file("f");
  load({entryLine(path, "-", "-", "-", "600", "-", "-")});
  EXPECT_EQ(check(path), 0x010U);
}

TEST_F(NamedFilesFlagsTest, WrongContent) {
  std::string const path = file("f", "before");
  load({entryLine(path)});
  writeFile(path, "after!");
  EXPECT_EQ(check(path), 0x020U);
}

TEST_F(NamedFilesFlagsTest, WrongLinkTarget) {
  std::string const path = pathOf("link");
  makeLink("before", path);
  load({entryLine(path)});
  remove(path);
  makeLink("after!", path);
  EXPECT_EQ(check(path), 0x020U);
}

TEST_F(NamedFilesFlagsTest, WrongDeviceNumbers) {
  load({entryLine("/dev/null", "-", "1,5", "c", "-", "-", "-")});
  EXPECT_EQ(check("/dev/null"), 0x020U);
}

TEST_F(NamedFilesFlagsTest, WrongOwnerAndContent) {
  std::string const path = file("f");
  load({entryLine(path, "7", "digest", "f", "644", "1234567", "-")});
  EXPECT_EQ(check(path), 0x022U);
}

TEST_F(NamedFilesFlagsTest, EveryAttributeWrong) {
  std::string const path = file("f");
  load({entryLine(path, "8", "digest", "d", "600", "1234567", "1234567")});
  EXPECT_EQ(check(path), 0x03fU);
}

TEST_F(NamedFilesFlagsTest, DeletedFileIsMissingAndNothingElse) {
  std::string const path = file("f");
  load({entryLine(path)});
  remove(path);
  EXPECT_EQ(check(path), 0x040U);
  EXPECT_THAT(recordedLog(), IsEmpty());
}

TEST_F(NamedFilesFlagsTest, FileThatCannotBeExaminedIsMissing) {
  std::string const path = file("f") + "/below-a-file";
  load({entryLine(path, "1", "digest", "f", "644", "0", "0")});
  EXPECT_EQ(check(path), 0x040U);
}

TEST_F(NamedFilesFlagsTest, UnlistedPath) {
  std::string const path = file("unlisted");
  load({entryLine(file("f"))});
  EXPECT_EQ(check(path), 0x080U);
  EXPECT_THAT(recordedLog(), IsEmpty());
}

TEST_F(NamedFilesFlagsTest, UnlistedPathNeedNotExist) {
  load({entryLine(file("f"))});
  EXPECT_EQ(check(pathOf("missing")), 0x080U);
}

TEST_F(NamedFilesFlagsTest, RemovedEntryIsUnlisted) {
  std::string const path = file("f");
  load({entryLine(path), "-" + entryLine(path)});
  EXPECT_EQ(check(path), 0x080U);
}

TEST_F(NamedFilesFlagsTest, PathsAreNotNormalised) {
  std::string const path = file("f");
  load({entryLine(path)});
  EXPECT_THAT(check({"/" + path, _directory.path() + "/./f", path + "/", path + " "}),
              ElementsAre(0x080, 0x080, 0x080, 0x080));
}

TEST_F(NamedFilesFlagsTest, PatternsAndPrefixesDoNotMatch) {
  std::string const path = file("file");
  load({entryLine(path)});
  EXPECT_THAT(check({pathOf("*"), pathOf("fil"), _directory.path()}),
              ElementsAre(0x080, 0x080, 0x080));
}

TEST_F(NamedFilesFlagsTest, TrailingSlashOfADirectoryIsAnotherPath) {
  std::string const path = directory("d");
  load({entryLine(path, "-", "-", "d", "-", "-", "-")});
  EXPECT_THAT(check({path, path + "/"}), ElementsAre(0, 0x080));
}

TEST_F(NamedFilesFlagsTest, IntruderInAFixedDirectory) {
  std::string const path = directory("d");
  load({fixedLine(path)});
  EXPECT_EQ(check(path + "/intruder"), 0x180U);
}

TEST_F(NamedFilesFlagsTest, PathTwoLevelsBelowAFixedDirectory) {
  std::string const path = directory("d");
  load({fixedLine(path)});
  EXPECT_EQ(check(path + "/sub/file"), 0x080U);
}

TEST_F(NamedFilesFlagsTest, PathInAnyOfTheFixedDirectories) {
  load({fixedLine(directory("a")), fixedLine(directory("b")), fixedLine(directory("c"))});
  EXPECT_THAT(check({pathOf("a/x"), pathOf("b/x"), pathOf("c/x"), pathOf("d/x")}),
              ElementsAre(0x180, 0x180, 0x180, 0x080));
}

// The test for children looks for a slash only after the first character that follows the
// directory.
TEST_F(NamedFilesFlagsTest, NeighbourWithLongerNameCountsAsChild) {
  std::string const path = directory("d");
  load({fixedLine(path)});
  EXPECT_THAT(check({path + "y", path + "/", path + "y/x"}), ElementsAre(0x180, 0x180, 0x080));
}

TEST_F(NamedFilesFlagsTest, MissingMemberOfAFixedDirectoryIsListed) {
  std::string const path = directory("d");
  std::string const member = file("d/member");
  load({fixedLine(path), entryLine(member)});
  remove(member);
  EXPECT_EQ(check(member), 0x040U);
}

TEST_F(NamedFilesFlagsTest, DirectoryWithoutFixedMarkIsNotFixed) {
  std::string const path = directory("d");
  load({entryLine(path, "-", "-", "d", "-", "-", "-"),
        entryLine(pathOf("e"), "-", "fixed", "d", "-", "-", "-")});
  EXPECT_THAT(check({path + "/x", pathOf("e/x")}), ElementsAre(0x080, 0x080));
}

TEST_F(NamedFilesFlagsTest, ListMadeFromAnotherHasNoFixedDirectories) {
  std::string const path = directory("d");
  load({fixedLine(path)});
  FileList other("wam", "full", _list);
  std::vector<SELFCHECK_RESULT> results;
  EXPECT_TRUE(other.checkFiles({path + "/intruder"}, results));
  EXPECT_THAT(masksOf(results), ElementsAre(0x080));
}

TEST_F(NamedFilesFlagsTest, UnknownMemberOfTheNamedDirectoryHasNoFlag) {
  std::string const path = directory("d");
  file("d/intruder");
  load({fixedLine(path)});
  EXPECT_EQ(check(path), 0U);
  ASSERT_EQ(entry(path)._errors.size(), 1U);
  EXPECT_EQ(entry(path)._errors[0]->_error, CHECK_ERROR_UNKNOWN_FILE);
}

TEST_F(NamedFilesFlagsTest, UnknownMemberDoesNotHideOtherMismatches) {
  std::string const path = directory("d");
  file("d/intruder");
  load({entryLine(path, "-", "FIXED", "d", "7777", "-", "-")});
  EXPECT_EQ(check(path), 0x010U);
}

TEST_F(NamedFilesFlagsTest, FlagsOfEarlierRecordsComeBackWithANewMismatch) {
  std::string const path = file("f", "before");
  load({entryLine(path)});
  changeMode(path, 0600);
  EXPECT_EQ(check(path), 0x010U);
  changeMode(path, 0644);
  writeFile(path, "after!");
  EXPECT_EQ(check(path), 0x030U);
}

TEST_F(NamedFilesFlagsTest, EarlierRecordsDoNotCountWithoutANewMismatch) {
  std::string const path = file("f");
  load({entryLine(path)});
  changeMode(path, 0600);
  EXPECT_EQ(check(path), 0x010U);
  changeMode(path, 0644);
  EXPECT_EQ(check(path), 0U);
  EXPECT_EQ(entry(path)._errors.size(), 1U);
}

TEST_F(NamedFilesFlagsTest, MismatchOfOnePathDoesNotReachTheNext) {
  std::string const intact = file("intact");
  std::string const changed = file("changed");
  load({entryLine(intact), entryLine(changed, "0", "-", "-", "-", "-", "-")});
  changeMode(intact, 0600);
  EXPECT_EQ(check(intact), 0x010U);
  changeMode(intact, 0644);
  EXPECT_THAT(check({changed, intact}), ElementsAre(0x001, 0));
}

// One record of each kind, in addition to the mismatch that makes records count.
TEST_F(NamedFilesFlagsTest, EveryKindOfRecordHasItsFlag) {
  constexpr uint32_t flags[] = {0, 0x001, 0x020, 0x008, 0x010, 0x002, 0x004, 0, 0x040, 0, 0};
  for (int kind = 0; kind < static_cast<int>(std::size(flags)); ++kind) {
    std::string const path = file("f" + std::to_string(kind));
    bool const isSize = kind == CHECK_ERROR_SIZE;
    load({isSize ? entryLine(path, "-", "-", "-", "600", "-", "-")
                 : entryLine(path, "0", "-", "-", "-", "-", "-")});
    entry(path)._errors.push_back(new CheckError{static_cast<CHECK_ERROR>(kind), path, "", ""});
    EXPECT_EQ(check(path), flags[kind] | (isSize ? 0x010U : 0x001U)) << "kind " << kind;
  }
}

TEST_F(NamedFilesFlagsTest, RecordsOfUnknownKindsHaveNoFlag) {
  std::string const path = file("f");
  load({entryLine(path, "0", "-", "-", "-", "-", "-")});
  for (int const kind : {-1, 11, 32, INT32_MIN, INT32_MAX})
    entry(path)._errors.push_back(new CheckError{static_cast<CHECK_ERROR>(kind), path, "", ""});
  EXPECT_EQ(check(path), 0x001U);
}

}  // namespace
