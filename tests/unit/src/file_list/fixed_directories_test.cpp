#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <zemo/selfcheck/file_list.h>

#include <boost/make_shared.hpp>

#include "fixed_directories_fixture.h"
#include "support/errors_of.h"
#include "support/files.h"
#include "support/temporary_directory.h"

namespace {

using namespace ZEMO::SELF_CHECK;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

using Names = std::vector<std::string>;

TEST_F(FixedDirectoriesTest, EmptyMapHasNone) {
  collect();
  EXPECT_FALSE(isInFixedDirectory("/x"));
}

TEST_F(FixedDirectoriesTest, WithoutTheWordThereAreNone) {
  add("/d");
  add("/d/a");
  collect();
  EXPECT_THAT(namesOf("/d"), IsEmpty());
  EXPECT_FALSE(isInFixedDirectory("/d/x"));
}

TEST_F(FixedDirectoriesTest, OnlyTheWholeWordMarksOne) {
  for (const char* const hash : {"fixed", "FIXED ", " FIXED", "FIXEDD", "FIXE", "FIXED\r", ""}) {
    add("/d", hash);
    add("/d/a");
    collect();
    EXPECT_THAT(namesOf("/d"), IsEmpty()) << "[" << hash << "]";
    EXPECT_FALSE(isInFixedDirectory("/d/x")) << "[" << hash << "]";
  }
}

TEST_F(FixedDirectoriesTest, TypeDoesNotMatter) {
  for (const char* const type : {"f", "d", "l", "-", ""}) {
    std::string const path = std::string("/d") + type;
    (*_list.getProtectedFiles())[path] =
        boost::make_shared<ProtectedFile>(entryLine(path, "-", "FIXED", type, "-", "-", "-"));
    add(path + "/a");
  }
  collect();
  for (const char* const type : {"f", "d", "l", "-"})
    EXPECT_THAT(namesOf(std::string("/d") + type), ElementsAre("a")) << type;
  EXPECT_TRUE(isInFixedDirectory("/df/x"));
}

TEST_F(FixedDirectoriesTest, DirectoryWithoutListedMembersHasNoNames) {
  addFixed("/d");
  add("/e/a");
  collect();
  EXPECT_THAT(namesOf("/d"), IsEmpty());
  EXPECT_TRUE(isInFixedDirectory("/d/x"));
}

TEST_F(FixedDirectoriesTest, NamesAreThoseOfDirectAndLooseChildrenInMapOrder) {
  for (const char* const path : {"/dx", "/d/b/c", "/d/b", "/d/a"})
    add(path);
  addFixed("/d");
  collect();
  EXPECT_THAT(namesOf("/d"), ElementsAre("a", "b", "dx"));
}

TEST_F(FixedDirectoriesTest, EntriesThatAreNotFixedGetNoNames) {
  addFixed("/d");
  add("/d/a");
  add("/d/a/b");
  collect();
  EXPECT_THAT(namesOf("/d/a"), IsEmpty());
}

TEST_F(FixedDirectoriesTest, MembersOfAnyTypeCount) {
  addFixed("/d");
  for (const char* const type : {"f", "d", "l", "b", "c", "s", "p", "-"}) {
    std::string const path = std::string("/d/") + type;
    (*_list.getProtectedFiles())[path] =
        boost::make_shared<ProtectedFile>(entryLine(path, "-", "-", type, "-", "-", "-"));
  }
  collect();
  EXPECT_THAT(namesOf("/d"), ElementsAre("-", "b", "c", "d", "f", "l", "p", "s"));
}

TEST_F(FixedDirectoriesTest, MembersAfterASubtreeCount) {
  addFixed("/d");
  for (const char* const path : {"/d/a/1", "/d/a/2/3", "/d/a0", "/d/b/1", "/d/z"})
    add(path);
  collect();
  EXPECT_THAT(namesOf("/d"), ElementsAre("a0", "z"));
}

TEST_F(FixedDirectoriesTest, MembersAroundTheSlashInByteOrderCount) {
  addFixed("/d");
  for (const char* const path : {"/d/a", "/d/a.", "/d/a/1", "/d/a0", "/d.", "/d0", "/d0/1"})
    add(path);
  collect();
  EXPECT_THAT(namesOf("/d"), ElementsAre("d.", "a", "a.", "a0", "d0"));
}

TEST_F(FixedDirectoriesTest, OneInAnotherIsAMemberAndHasItsOwn) {
  addFixed("/d");
  addFixed("/d/e");
  add("/d/a");
  add("/d/e/b");
  collect();
  EXPECT_THAT(namesOf("/d"), ElementsAre("a", "e"));
  EXPECT_THAT(namesOf("/d/e"), ElementsAre("b"));
  EXPECT_TRUE(isInFixedDirectory("/d/x"));
  EXPECT_TRUE(isInFixedDirectory("/d/e/x"));
  EXPECT_FALSE(isInFixedDirectory("/d/a/x"));
}

TEST_F(FixedDirectoriesTest, TrailingSlashIsPartOfTheDirectory) {
  addFixed("/d/");
  add("/d");
  add("/d/a");
  add("/d/a/b");
  add("/dx");
  collect();
  EXPECT_THAT(namesOf("/d/"), ElementsAre("a"));
}

TEST_F(FixedDirectoriesTest, MemberWithATrailingSlashHasAnEmptyName) {
  addFixed("/d");
  add("/d/");
  collect();
  EXPECT_THAT(namesOf("/d"), ElementsAre(""));
}

TEST_F(FixedDirectoriesTest, RootHoldsTheTopLevel) {
  addFixed("/");
  add("/a");
  add("/a/b");
  add("/c");
  collect();
  EXPECT_THAT(namesOf("/"), ElementsAre("a", "c"));
}

TEST_F(FixedDirectoriesTest, EmptyPathHoldsTheTopLevelAndPathsWithoutSlash) {
  addFixed("");
  for (const char* const path : {"/", "/a", "/a/b", "x", "y/z"})
    add(path);
  collect();
  EXPECT_THAT(namesOf(""), ElementsAre("", "a", "x"));
}

TEST_F(FixedDirectoriesTest, RemovedMembersDoNotCount) {
  makeList("a", line("/d", "FIXED") + line("/d/a") + line("/d/b") + line("-/d/a") + line("-/d/b"));
  EXPECT_TRUE(_list.loadList(false));
  EXPECT_THAT(namesOf("/d"), IsEmpty());
}

TEST_F(FixedDirectoriesTest, EntryMadeAfterThePassCountsInTheNext) {
  addFixed("/d");
  collect();
  add("/d/a");
  EXPECT_THAT(namesOf("/d"), IsEmpty());
  collect();
  EXPECT_THAT(namesOf("/d"), ::testing::Each("a"));
  EXPECT_THAT(namesOf("/d"), ::testing::Not(IsEmpty()));
}

// Repeated passes add names and remove none.

TEST_F(FixedDirectoriesTest, SecondPassRepeatsTheNames) {
  addFixed("/d");
  add("/d/a");
  add("/d/b");
  collect();
  Names const once = namesOf("/d");
  collect();
  Names const names = namesOf("/d");
  ASSERT_GE(names.size(), 2 * once.size());
  for (size_t i = 0; i < names.size(); ++i)
    EXPECT_EQ(names[i], once[i % once.size()]);
}

TEST_F(FixedDirectoriesTest, EveryMentionOfADirectoryRepeatsItsNames) {
  addFixed("/d");
  add("/d/a");
  collect();
  EXPECT_EQ(namesOf("/d").size(), 1U);
  collect();  // the directory is now in the table twice
  EXPECT_EQ(namesOf("/d").size(), 1U + 2U);
  collect();
  EXPECT_EQ(namesOf("/d").size(), 1U + 2U + 3U);
}

TEST_F(FixedDirectoriesTest, ListsThatShareEntriesRepeatTheNames) {
  addFixed("/d");
  add("/d/a");
  add("/d/b");
  FileList derived("demo", "full", _list);
  collect();
  EXPECT_TRUE(derived.fillFixedDirInfo());
  EXPECT_THAT(namesOf("/d"), ElementsAre("a", "b", "a", "b"));
}

TEST_F(FixedDirectoriesTest, DirectoriesAreEachListsOwn) {
  addFixed("/d");
  FileList derived("demo", "full", _list);
  collect();
  EXPECT_TRUE(isInFixedDirectory("/d/x"));
  EXPECT_FALSE(isInFixedDirectory(derived, "/d/x"));
  EXPECT_TRUE(derived.fillFixedDirInfo());
  EXPECT_TRUE(isInFixedDirectory(derived, "/d/y"));
}

TEST_F(FixedDirectoriesTest, RemovedDirectoryIsSkippedAndStaysInTheTable) {
  addFixed("/d");
  add("/d/a");
  collect();
  _list.getProtectedFiles()->erase("/d");
  collect();
  EXPECT_THAT(pathsOf(_list), ElementsAre("/d/a"));
  EXPECT_TRUE(isInFixedDirectory("/d/x"));
}

// A named-file check leaves elements without an entry in the map.

TEST_F(FixedDirectoriesTest, ElementsWithoutAnEntryAreNotMembers) {
  addFixed("/d");
  add("/d/a");
  collect();
  EXPECT_TRUE(isInFixedDirectory("/d/intruder"));
  ASSERT_THAT(pathsOf(_list), ElementsAre("/d", "/d/a", "/d/intruder"));
  collect();
  EXPECT_THAT(namesOf("/d"), ::testing::Each("a"));
}

TEST_F(FixedDirectoriesTest, ElementsWithoutAnEntryAreNotDirectories) {
  EXPECT_FALSE(isInFixedDirectory("/d"));
  add("/d/a");
  collect();
  EXPECT_EQ(entryOf(_list, "/d"), nullptr);
  EXPECT_FALSE(isInFixedDirectory("/d/x"));
}

TEST_F(FixedDirectoriesTest, DirectoryThatLostItsEntryIsSkipped) {
  addFixed("/d");
  add("/d/a");
  collect();
  _list.getProtectedFiles()->erase("/d");
  EXPECT_FALSE(isInFixedDirectory("/d"));
  collect();
  EXPECT_EQ(entryOf(_list, "/d"), nullptr);
}

// The purpose of the names.

class CheckedFixedDirectoryTest : public FixedDirectoriesTest {
 protected:
  void SetUp() override {
    FixedDirectoriesTest::SetUp();
    makeDirectory(directory);
    addFixed(directory);
  }

  // The findings of a check of the directory.
  Names check() {
    collect();
    bool changed = false;
    EXPECT_TRUE(entryOf(_list, directory)->check(changed, CHECK_ITEM_HASH));
    return errorsOf(*entryOf(_list, directory));
  }

  TemporaryDirectory parent;
  std::string const directory = parent / "d";
};

TEST_F(CheckedFixedDirectoryTest, ListedMembersAreKnown) {
  writeFile(directory + "/a", "");
  add(directory + "/a");
  EXPECT_THAT(check(), IsEmpty());
}

TEST_F(CheckedFixedDirectoryTest, AnyOtherMemberIsUnknown) {
  writeFile(directory + "/a", "");
  writeFile(directory + "/b", "");
  add(directory + "/a");
  EXPECT_THAT(check(), ElementsAre(directory + "/b is unknown file"));
}

TEST_F(CheckedFixedDirectoryTest, WithoutListedMembersEveryMemberIsUnknown) {
  writeFile(directory + "/a", "");
  EXPECT_THAT(check(), ElementsAre(directory + "/a is unknown file"));
}

TEST_F(CheckedFixedDirectoryTest, NameOfALooseChildIsKnown) {
  writeFile(directory + "/dx", "");
  add(directory + "x");
  EXPECT_THAT(check(), IsEmpty());
}

TEST_F(CheckedFixedDirectoryTest, MoreThanOnePassAllowsTheSameMembers) {
  writeFile(directory + "/a", "");
  writeFile(directory + "/b", "");
  add(directory + "/a");
  collect();
  EXPECT_THAT(check(), ElementsAre(directory + "/b is unknown file"));
}

TEST_F(CheckedFixedDirectoryTest, MemberThatIsMissingIsNotTheDirectorysMismatch) {
  add(directory + "/a");
  EXPECT_THAT(check(), IsEmpty());
}

}  // namespace
