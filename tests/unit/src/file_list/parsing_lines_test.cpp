#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <zemo/selfcheck/file_list.h>

#include "parsing_fixture.h"
#include "support/doubles/recorded_log.h"
#include "support/files.h"

namespace {

using namespace ZEMO::SELF_CHECK;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

// Protected-file lines.

TEST_F(ParsingTest, LineBecomesTheEntryUnderItsPath) {
  add("/x\t1\t2\tf\t644\t5\t6\n");
  ASSERT_THAT(paths(), ElementsAre("/x"));
  const ProtectedFile& entry = *entryOf(_list, "/x");
  EXPECT_EQ(entry._path, "/x");
  EXPECT_EQ(entry._size, "1");
  EXPECT_EQ(entry._hash, "2");
  EXPECT_EQ(entry._type, "f");
  EXPECT_EQ(entry._permission, "644");
  EXPECT_EQ(entry._owner, "5");
  EXPECT_EQ(entry._group, "6");
  EXPECT_THAT(entry._errors, IsEmpty());
  EXPECT_THAT(entry._fixedEntries, IsEmpty());
}

TEST_F(ParsingTest, LinesMayBeInAnyOrder) {
  add(line("/b") + line("/a/bc") + line("/a/b/c") + line("/a/b"));
  EXPECT_THAT(paths(), ElementsAre("/a/b", "/a/b/c", "/a/bc", "/b"));
}

TEST_F(ParsingTest, LastLineNeedsNoLineFeed) {
  add(line("/x") + "/y\t1\t2\tf\t644\t5\t6");
  EXPECT_THAT(paths(), ElementsAre("/x", "/y"));
  EXPECT_EQ(entryOf(_list, "/y")->_group, "6");
}

TEST_F(ParsingTest, LastRemovalLineNeedsNoLineFeed) {
  add(line("/x") + "-/x\t-\t-\t-\t-\t-\t-");
  EXPECT_THAT(paths(), IsEmpty());
}

TEST_F(ParsingTest, OnlyTheLineFeedIsTakenOff) {
  add(" /x \t-\t-\t-\t-\t-\t6 \r\n");
  ASSERT_THAT(paths(), ElementsAre(" /x "));
  EXPECT_EQ(entryOf(_list, " /x ")->_group, "6 \r");
}

TEST_F(ParsingTest, ThereAreNoComments) {
  add(line("# /x") + line("// y"));
  EXPECT_THAT(paths(), ElementsAre("# /x", "// y"));
}

TEST_F(ParsingTest, PathsAreKeysByteForByte) {
  add(line("/x") + line("/X") + line("//x") + line("/x/") + line("/./x"));
  EXPECT_THAT(paths(), ElementsAre("/./x", "//x", "/X", "/x", "/x/"));
}

TEST_F(ParsingTest, LongLineIsOneLine) {
  std::string const longPath = "/" + std::string(100000, 'x');
  add(line(longPath) + line("/y"));
  EXPECT_TRUE(paths() == std::vector<std::string>({longPath, "/y"}));
}

TEST_F(ParsingTest, HeaderAfterTheSecondLineIsAShortLine) {
  add("WAM_SELF_CHECK\n" + line("/x"));
  EXPECT_THAT(paths(), ElementsAre("", "/x"));
}

TEST_F(ParsingTest, LaterLineOfThePathReplacesTheEntry) {
  add(line("/x", "1") + line("/y") + line("/x", "2"));
  EXPECT_THAT(paths(), ElementsAre("/x", "/y"));
  EXPECT_EQ(hashOf(_list, "/x"), "2");
}

TEST_F(ParsingTest, LaterListReplacesTheEntry) {
  add(line("/x", "1"));
  add(line("/x", "2"));
  EXPECT_EQ(hashOf(_list, "/x"), "2");
}

TEST_F(ParsingTest, ReplacedEntryStaysAsItIsForItsOwners) {
  add(line("/x", "1"));
  boost::shared_ptr<ProtectedFile> const before = entryOf(_list, "/x");
  add(line("/x", "2"));
  EXPECT_NE(entryOf(_list, "/x"), before);
  EXPECT_EQ(before->_hash, "1");
  EXPECT_EQ(before.use_count(), 1);
}

TEST_F(ParsingTest, LineFillsTheElementThatANamedFileCheckLeft) {
  std::vector<SELFCHECK_RESULT> results;
  EXPECT_TRUE(_list.checkFiles({"/x"}, results));
  ASSERT_EQ(entryOf(_list, "/x"), nullptr);
  add(line("/x"));
  ASSERT_NE(entryOf(_list, "/x"), nullptr);
  EXPECT_EQ(entryOf(_list, "/x")->_path, "/x");
}

// Lines of fewer than seven columns.

TEST_F(ParsingTest, BlankLineIsAnEntryUnderTheEmptyPath) {
  add(line("/x") + "\n" + line("/y"));
  ASSERT_THAT(paths(), ElementsAre("", "/x", "/y"));
  EXPECT_EQ(hashOf(_list, ""), "");
}

TEST_F(ParsingTest, ShortLineReplacesTheEntryUnderTheEmptyPath) {
  add(line("", "1") + "/x\t-\t-\t-\t-\t-\n");
  ASSERT_THAT(paths(), ElementsAre(""));
  EXPECT_EQ(hashOf(_list, ""), "");
}

TEST_F(ParsingTest, ShortRemovalLineRemovesTheEntryUnderTheEmptyPath) {
  for (const char* const removal : {"-/x\t-\t-\t-\t-\t-", "-", "--", "-/x"}) {
    add(line("/x") + "\n" + removal);
    EXPECT_THAT(paths(), ElementsAre("/x")) << removal;
  }
}

// Removal lines.

TEST_F(ParsingTest, RemovalLineRemovesAnEarlierLine) {
  add(line("/x") + line("/y") + line("-/x"));
  EXPECT_THAT(paths(), ElementsAre("/y"));
}

TEST_F(ParsingTest, RemovalLineRemovesThePathOfAnEarlierList) {
  add(line("/x") + line("/y"));
  add(line("-/x"));
  EXPECT_THAT(paths(), ElementsAre("/y"));
}

TEST_F(ParsingTest, RemovedPathMayComeBack) {
  add(line("/x", "1") + line("-/x") + line("/x", "2"));
  EXPECT_EQ(hashOf(_list, "/x"), "2");
  add(line("-/x"));
  add(line("/x", "3"));
  EXPECT_EQ(hashOf(_list, "/x"), "3");
}

TEST_F(ParsingTest, RemovalOfAnUnlistedPathChangesNothing) {
  add(line("-/z") + line("/x") + line("-/y"));
  EXPECT_THAT(paths(), ElementsAre("/x"));
}

TEST_F(ParsingTest, RemovalMeansThePathAlone) {
  add(line("/x") + line("/x/a") + line("/xa") + line("/x/") + line("-/x"));
  EXPECT_THAT(paths(), ElementsAre("/x/", "/x/a", "/xa"));
}

TEST_F(ParsingTest, OtherColumnsOfARemovalLineDoNotMatter) {
  add("/x\t1\t2\tf\t644\t5\t6\n-/x\t9\t8\td\t700\t7\t4\tmore\n");
  EXPECT_THAT(paths(), IsEmpty());
}

TEST_F(ParsingTest, MinusAnywhereElseRemovesNothing) {
  add(line("/x") + line(" -/x") + line("/-x"));
  EXPECT_THAT(paths(), ElementsAre(" -/x", "/-x", "/x"));
}

TEST_F(ParsingTest, RemovalLineLosesOneMinusOnly) {
  add(line("/x"));
  (*_list.getProtectedFiles())["-/x"] = entryOf(_list, "/x");
  add(line("--/x"));
  EXPECT_THAT(paths(), ElementsAre("/x"));
}

TEST_F(ParsingTest, RemovedEntryLivesOnForItsOwners) {
  add(line("/x", "1"));
  boost::shared_ptr<ProtectedFile> const before = entryOf(_list, "/x");
  add(line("-/x"));
  EXPECT_EQ(before->_hash, "1");
  EXPECT_EQ(before.use_count(), 1);
}

}  // namespace
