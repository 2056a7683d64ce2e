#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <zemo/selfcheck/file_list.h>

#include "list_check_fixture.h"
#include "support/doubles/recorded_log.h"
#include "support/files.h"

namespace {

using namespace ZEMO::SELF_CHECK;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

const LogLine nothingToCheck = logged("file_list", 34, "No file need to check.");

// Whether there is anything to check.

TEST_F(ListCheckTest, NothingIsCheckedBeforeLoading) {
  EXPECT_FALSE(_list.check(CHECK_ITEM_ALL));
  EXPECT_THAT(recordedLog(), ElementsAre(nothingToCheck));
}

TEST_F(ListCheckTest, NothingIsCheckedWithoutEntries) {
  load("");
  EXPECT_FALSE(_list.check(CHECK_ITEM_ALL));
  EXPECT_THAT(recordedLog(), ElementsAre(nothingToCheck));
}

TEST_F(ListCheckTest, NothingIsCheckedWithoutListFiles) {
  load(altered("x"));
  FileList derived("wam", "full", _list);
  EXPECT_FALSE(derived.check(CHECK_ITEM_ALL));
  EXPECT_THAT(recordedLog(), ElementsAre(nothingToCheck));
  EXPECT_THAT(errors("x"), IsEmpty());
}

TEST_F(ListCheckTest, HooksAreNotCalledWhenThereIsNothingToCheck) {
  addHook("hook", false);
  EXPECT_FALSE(_list.check(CHECK_ITEM_ALL));
  EXPECT_THAT(calls, IsEmpty());
}

TEST_F(ListCheckTest, WalkDoesNotNeedListFiles) {
  load(altered("x"));
  FileList const derived("wam", "full", _list);
  EXPECT_FALSE(derived.checkFiles(CHECK_ITEM_ALL));
  EXPECT_THAT(errors("x"), SizeIs(1));
  EXPECT_THAT(recordedLog(), IsEmpty());
}

TEST_F(ListCheckTest, WalkOfAnEmptyMapIsTrue) {
  EXPECT_TRUE(_list.checkFiles(CHECK_ITEM_ALL));
  EXPECT_THAT(recordedLog(), IsEmpty());
}

TEST_F(ListCheckTest, DerivedListIsCheckedOnceItIsLoaded) {
  load(intact("x"));
  FileList derived("wam", "full", _list);
  ASSERT_TRUE(derived.loadList(false));
  EXPECT_TRUE(derived.check(CHECK_ITEM_ALL));
}

// Without hooks.

TEST_F(ListCheckTest, IntactFilesPass) {
  load(intact("x") + intact("y"));
  EXPECT_TRUE(_list.check(CHECK_ITEM_ALL));
  EXPECT_TRUE(_list.checkFiles(CHECK_ITEM_ALL));
  EXPECT_THAT(errors("x"), IsEmpty());
  EXPECT_THAT(recordedLog(), IsEmpty());
}

TEST_F(ListCheckTest, OneAlteredFileFails) {
  for (const char* const name : {"a", "m", "z"}) {
    load(intact("b") + intact("y") + altered(name));
    EXPECT_FALSE(_list.check(CHECK_ITEM_ALL)) << name;
    EXPECT_FALSE(_list.checkFiles(CHECK_ITEM_ALL)) << name;
    _list.getProtectedFiles()->clear();
  }
  EXPECT_THAT(recordedLog(), IsEmpty());
}

TEST_F(ListCheckTest, MissingFileFails) {
  load(intact("x") + line(in("missing")));
  EXPECT_FALSE(_list.check(CHECK_ITEM_ALL));
  EXPECT_THAT(errors("missing"), ElementsAre(in("missing") + " not exist expect[] but get[]"));
  EXPECT_THAT(recordedLog(), IsEmpty());
}

TEST_F(ListCheckTest, WalkNeverStopsEarly) {
  load(altered("a") + intact("b") + altered("c") + line(in("d")));
  EXPECT_FALSE(_list.check(CHECK_ITEM_ALL));
  EXPECT_THAT(errors("a"), ElementsAre(in("a") + " size expect[8] but get[7]"));
  EXPECT_THAT(errors("b"), IsEmpty());
  EXPECT_THAT(errors("c"), ElementsAre(in("c") + " size expect[8] but get[7]"));
  EXPECT_THAT(errors("d"), SizeIs(1));
}

TEST_F(ListCheckTest, OnlyTheAttributesThatAreAskedForAreCompared) {
  load(altered("x"));
  EXPECT_TRUE(_list.check(CHECK_ITEM_OWNER));
  EXPECT_TRUE(_list.checkFiles(CHECK_ITEM_HASH | CHECK_ITEM_TYPE));
  EXPECT_TRUE(_list.check(static_cast<CHECK_ITEM>(0)));
  EXPECT_FALSE(_list.check(CHECK_ITEM_SIZE));
  EXPECT_FALSE(_list.checkFiles(CHECK_ITEM_HASH | CHECK_ITEM_SIZE));
}

TEST_F(ListCheckTest, RecordsOfEarlierChecksDoNotCount) {
  load(altered("x"));
  EXPECT_FALSE(_list.check(CHECK_ITEM_ALL));
  writeFile(in("x"), "8 bytes.");
  EXPECT_TRUE(_list.check(CHECK_ITEM_ALL));
  EXPECT_THAT(errors("x"), SizeIs(1));
}

TEST_F(ListCheckTest, EveryCheckRecordsAgain) {
  load(altered("x"));
  EXPECT_FALSE(_list.check(CHECK_ITEM_ALL));
  EXPECT_FALSE(_list.checkFiles(CHECK_ITEM_ALL));
  EXPECT_THAT(errors("x"), SizeIs(2));
}

TEST_F(ListCheckTest, UnreadableFileIsLoggedOnly) {
  load(intact("a") + unreadable("x"));
  WithoutFileCapabilities const ordinary;
  EXPECT_TRUE(_list.check(CHECK_ITEM_ALL));
  EXPECT_THAT(errors("x"), IsEmpty());
  EXPECT_EQ(recordedLog(), unreadableLines("x"));
}

TEST_F(ListCheckTest, UnreadableFileWithAMismatchIsLoggedAndFails) {
  load(unreadable("x", "8") + intact("y"));
  WithoutFileCapabilities const ordinary;
  EXPECT_FALSE(_list.check(CHECK_ITEM_ALL));
  EXPECT_THAT(errors("x"), ElementsAre(in("x") + " size expect[8] but get[7]"));
  EXPECT_EQ(recordedLog(), unreadableLines("x"));
}

TEST_F(ListCheckTest, UnreadableFileDoesNotEndTheWalk) {
  load(unreadable("x") + altered("y"));
  WithoutFileCapabilities const ordinary;
  EXPECT_FALSE(_list.check(CHECK_ITEM_ALL));
  EXPECT_THAT(errors("y"), SizeIs(1));
}

TEST_F(ListCheckTest, FailureNamesThePathOfTheEntryAndNotTheKey) {
  load(unreadable("x"));
  boost::shared_ptr<ProtectedFile> const entry = entryOf(_list, in("x"));
  _list.getProtectedFiles()->clear();
  (*_list.getProtectedFiles())["key"] = entry;
  WithoutFileCapabilities const ordinary;
  EXPECT_TRUE(_list.check(CHECK_ITEM_ALL));
  EXPECT_EQ(recordedLog(), unreadableLines("x"));
}

// Elements without an entry, as a named-file check leaves them.

class UnlistedElementTest : public ListCheckTest {
 protected:
  void nameUnlisted(const std::string& path) {
    std::vector<SELFCHECK_RESULT> results;
    ASSERT_TRUE(_list.checkFiles({path}, results));
    ASSERT_EQ(entryOf(_list, path), nullptr);
  }
};

TEST_F(UnlistedElementTest, IsSkipped) {
  load(intact("x"));
  nameUnlisted(in("before"));
  nameUnlisted(in("y"));
  addHook("hook", true);
  EXPECT_TRUE(_list.check(CHECK_ITEM_ALL));
  EXPECT_THAT(calls, IsEmpty());
  EXPECT_THAT(recordedLog(), IsEmpty());
}

TEST_F(UnlistedElementTest, DoesNotEndTheWalk) {
  load(altered("x"));
  nameUnlisted(in("a"));
  addHook("hook", true);
  EXPECT_FALSE(_list.check(CHECK_ITEM_ALL));
  EXPECT_THAT(calls, SizeIs(1));
}

TEST_F(UnlistedElementTest, StaysInTheMap) {
  load(intact("x"));
  nameUnlisted(in("y"));
  EXPECT_TRUE(_list.checkFiles(CHECK_ITEM_ALL));
  EXPECT_THAT(pathsOf(_list), ElementsAre(in("x"), in("y")));
}

TEST_F(UnlistedElementTest, AloneIsIntact) {
  nameUnlisted("/unlisted");
  EXPECT_TRUE(_list.checkFiles(CHECK_ITEM_ALL));
  EXPECT_THAT(recordedLog(), IsEmpty());
}

}  // namespace
