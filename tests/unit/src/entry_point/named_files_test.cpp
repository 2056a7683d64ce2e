// One result per named path, in order, and paths that cannot be checked.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <zemo/selfcheck/file_list.h>

#include <boost/make_shared.hpp>

#include "named_files_fixture.h"

namespace {

using namespace ZEMO::SELF_CHECK;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

TEST_F(NamedFilesTest, EmptyPathsSucceedOnEmptyList) {
  std::vector<SELFCHECK_RESULT> results;
  EXPECT_TRUE(_list.checkFiles(std::vector<std::string>(), results));
  EXPECT_TRUE(results.empty());
  EXPECT_TRUE(_list.getProtectedFiles()->empty());
  EXPECT_THAT(recordedLog(), IsEmpty());
}

TEST_F(NamedFilesTest, EmptyPathsLeaveEarlierResultsAlone) {
  std::vector<SELFCHECK_RESULT> results = {resultFrom(0xa5a5a5a5)};
  EXPECT_TRUE(_list.checkFiles(std::vector<std::string>(), results));
  EXPECT_THAT(masksOf(results), ElementsAre(0xa5a5a5a5));
}

TEST_F(NamedFilesTest, IntactFileYieldsZero) {
  std::string const path = file("f");
  load({entryLine(path)});
  EXPECT_EQ(check(path), 0U);
  EXPECT_THAT(recordedLog(), IsEmpty());
}

TEST_F(NamedFilesTest, ResultsFollowTheOrderOfThePaths) {
  std::string const first = file("a");
  std::string const second = file("b");
  load({entryLine(first), entryLine(second, "0", "-", "-", "-", "-", "-")});
  EXPECT_THAT(check({second, first}), ElementsAre(0x001, 0));
  EXPECT_THAT(check({first, pathOf("c"), second}), ElementsAre(0, 0x080, 0x001));
}

TEST_F(NamedFilesTest, ResultsAreAppended) {
  std::string const path = file("f");
  load({entryLine(path)});
  std::vector<SELFCHECK_RESULT> results = {resultFrom(0xa5a5a5a5)};
  EXPECT_TRUE(_list.checkFiles({path, pathOf("unlisted")}, results));
  EXPECT_THAT(masksOf(results), ElementsAre(0xa5a5a5a5, 0, 0x080));
}

TEST_F(NamedFilesTest, PathNamedTwiceIsCheckedTwice) {
  std::string const path = file("f");
  load({entryLine(path, "0", "-", "-", "-", "-", "1234567")});
  EXPECT_THAT(check({path, path}), ElementsAre(0x005, 0x005));
  EXPECT_EQ(entry(path)._errors.size(), 4U);
}

// The first and the third differ, so a result in the wrong place shows.
TEST_F(NamedFilesTest, FailedPathGetsNoResult) {
  std::string const first = file("a");
  std::string const second = file("b");
  std::string const third = file("c");
  load({entryLine(first, "0", "-", "-", "-", "-", "-"), entryLine(second), entryLine(third)});
  changeMode(second, 0);

  WithoutFileCapabilities const without;
  std::vector<SELFCHECK_RESULT> results;
  EXPECT_FALSE(_list.checkFiles({first, second, third}, results));
  EXPECT_THAT(masksOf(results), ElementsAre(0x001, 0));
}

TEST_F(NamedFilesTest, FailedPathIsLoggedAfterItsReason) {
  std::string const path = file("f");
  load({entryLine(path)});
  changeMode(path, 0);

  WithoutFileCapabilities const without;
  std::vector<SELFCHECK_RESULT> results;
  EXPECT_FALSE(_list.checkFiles({path}, results));
  EXPECT_THAT(recordedLog(),
              ElementsAre(logged("protected_file", 365, "Open file [%s] failed", path),
                          logged("protected_file", 288, "Calculate hash of file [%s] failed", path),
                          logged("file_list", 187, "SelfCheck check file [%s] failed.", path)));
}

TEST_F(NamedFilesTest, EveryFailedPathIsLogged) {
  std::string const first = file("a");
  std::string const second = file("b");
  load({entryLine(first), entryLine(second)});
  changeMode(first, 0);
  changeMode(second, 0);

  WithoutFileCapabilities const without;
  std::vector<SELFCHECK_RESULT> results;
  EXPECT_FALSE(_list.checkFiles({second, first}, results));
  EXPECT_TRUE(results.empty());
  std::vector<LogLine> const log = recordedLog();
  ASSERT_EQ(log.size(), 6U);
  EXPECT_EQ(log[2], logged("file_list", 187, "SelfCheck check file [%s] failed.", second));
  EXPECT_EQ(log[5], logged("file_list", 187, "SelfCheck check file [%s] failed.", first));
}

TEST_F(NamedFilesTest, FailedPathStaysFailedWhenLaterPathsSucceed) {
  std::string const path = file("f");
  load({entryLine(path)});
  changeMode(path, 0);

  WithoutFileCapabilities const without;
  std::vector<SELFCHECK_RESULT> results;
  EXPECT_FALSE(_list.checkFiles({path, pathOf("unlisted"), pathOf("another")}, results));
  EXPECT_THAT(masksOf(results), ElementsAre(0x080, 0x080));
}

TEST_F(NamedFilesTest, FailedPathGetsNoResultEvenWithMismatches) {
  std::string const path = file("f");
  load({entryLine(path, "0", "digest", "-", "-", "-", "-")});
  changeMode(path, 0);

  WithoutFileCapabilities const without;
  std::vector<SELFCHECK_RESULT> results;
  EXPECT_FALSE(_list.checkFiles({path}, results));
  EXPECT_TRUE(results.empty());
  EXPECT_EQ(entry(path)._errors.size(), 1U);
}

// A caller can store an entry under any key.
TEST_F(NamedFilesTest, FailureIsLoggedWithTheEntrysOwnPath) {
  std::string const path = file("f");
  (*_list.getProtectedFiles())["key"] = boost::make_shared<ProtectedFile>(entryLine(path));
  changeMode(path, 0);

  WithoutFileCapabilities const without;
  std::vector<SELFCHECK_RESULT> results;
  EXPECT_FALSE(_list.checkFiles({"key"}, results));
  ASSERT_EQ(recordedLog().size(), 3U);
  EXPECT_EQ(recordedLog()[2], logged("file_list", 187, "SelfCheck check file [%s] failed.", path));
}

TEST_F(NamedFilesTest, UnlistedPathLeavesAnElementWithoutEntry) {
  std::string const path = file("f");
  std::string const unlisted = pathOf("unlisted");
  load({entryLine(path)});
  (void)check({path, unlisted});

  auto const files = _list.getProtectedFiles();
  EXPECT_EQ(files->size(), 2U);
  ASSERT_EQ(files->count(unlisted), 1U);
  EXPECT_EQ(files->at(unlisted), nullptr);
  EXPECT_NE(files->at(path), nullptr);
}

TEST_F(NamedFilesTest, ElementWithoutEntryDoesNotMakeAPathListed) {
  EXPECT_THAT(check({pathOf("unlisted"), pathOf("unlisted")}), ElementsAre(0x080, 0x080));
  EXPECT_EQ(check(pathOf("unlisted")), 0x080U);
  EXPECT_EQ(_list.getProtectedFiles()->size(), 1U);
}

TEST_F(NamedFilesTest, WholeSetCheckSkipsElementsWithoutEntry) {
  std::string const path = file("f");
  load({entryLine(path)});
  (void)check(pathOf("unlisted"));
  EXPECT_TRUE(_list.check(CHECK_ITEM_ALL));
  EXPECT_TRUE(_list.fillFixedDirInfo());
}

TEST_F(NamedFilesTest, EntryOfAShortLineIsFoundUnderTheEmptyPath) {
  load({"too\tshort"});
  EXPECT_EQ(check(""), 0x040U);
}

TEST_F(NamedFilesTest, EmptyPathIsUnlistedOtherwise) {
  load({entryLine(file("f"))});
  EXPECT_EQ(check(""), 0x080U);
}

TEST_F(NamedFilesTest, SharedEntriesAreCheckedThroughEitherList) {
  std::string const path = file("f");
  load({entryLine(path, "0", "-", "-", "-", "-", "-")});
  FileList other("other", "mode", _list);
  std::vector<SELFCHECK_RESULT> results;
  EXPECT_TRUE(other.checkFiles({path}, results));
  EXPECT_THAT(masksOf(results), ElementsAre(0x001));
  EXPECT_EQ(entry(path)._errors.size(), 1U);
}

TEST_F(NamedFilesTest, HooksAreNotCalled) {
  std::string const path = file("f");
  load({entryLine(path, "0", "-", "-", "-", "-", "-")});
  int calls = 0;
  _list.addHook([&calls](boost::shared_ptr<ProtectedFile>&, bool& changed) {
    changed = false;
    return ++calls;
  });
  EXPECT_EQ(check(path), 0x001U);
  EXPECT_EQ(calls, 0);
}

}  // namespace
