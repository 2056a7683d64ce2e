#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <zemo/selfcheck/file_list.h>

#include <map>
#include <random>

#include "loading_fixture.h"
#include "support/doubles/recorded_log.h"
#include "support/doubles/scripted_exec.h"
#include "support/doubles/scripted_package.h"
#include "support/files.h"

namespace {

using namespace ZEMO::SELF_CHECK;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

// Lists of a set, merged in order.
using MergingTest = LoadingTest;

TEST_F(MergingTest, LaterListOverridesEarlierOne) {
  makeList("a", line("/x", "1"));
  makeList("b", line("/x", "2"));
  EXPECT_TRUE(_list.loadList(false));
  EXPECT_EQ(hashOf(_list, "/x"), "2");
  EXPECT_THAT(recordedLog(), IsEmpty());
}

TEST_F(MergingTest, FollowsTheOrderFile) {
  makeList("a", line("/x", "1"));
  makeList("b", line("/x", "2"));
  writeOrder("wam.full.b.list\nwam.full.a.list\n");
  EXPECT_TRUE(_list.loadList(false));
  EXPECT_EQ(hashOf(_list, "/x"), "1");
}

TEST_F(MergingTest, NamedListOverridesUnnamedOne) {
  makeList("a", line("/x", "1"));
  makeList("b", line("/x", "2"));
  writeOrder("wam.full.a.list\n");
  EXPECT_TRUE(_list.loadList(false));
  EXPECT_EQ(hashOf(_list, "/x"), "1");
}

TEST_F(MergingTest, UnreadableOrderFileIsLoggedOnly) {
  makeList("a", line("/x", "1"));
  makeList("b", line("/x", "2"));
  writeOrder("wam.full.b.list\nwam.full.a.list\n");
  changeMode(std::string(listDir) + "/listorder", 0);
  WithoutFileCapabilities const unprivileged;
  EXPECT_TRUE(_list.loadList(false));
  EXPECT_EQ(hashOf(_list, "/x"), "2");
  EXPECT_THAT(recordedLog(),
              ElementsAre(logged("file_list", 274, "Open list order file [%s] failed",
                                 std::string(listDir) + "/listorder")));
}

TEST_F(MergingTest, LaterListRemovesPathOfEarlierOne) {
  makeList("a", line("/x") + line("/y"));
  makeList("b", line("-/x"));
  EXPECT_TRUE(_list.loadList(false));
  EXPECT_THAT(pathsOf(_list), ElementsAre("/y"));
}

TEST_F(MergingTest, EarlierListRemovesNothingFromLaterOne) {
  makeList("a", line("/x") + line("/y"));
  makeList("b", line("-/x"));
  writeOrder("wam.full.b.list\nwam.full.a.list\n");
  EXPECT_TRUE(_list.loadList(false));
  EXPECT_THAT(pathsOf(_list), ElementsAre("/x", "/y"));
}

TEST_F(MergingTest, RemovedPathMayComeBack) {
  makeList("a", line("/x", "1"));
  makeList("b", line("-/x"));
  makeList("c", line("/x", "3"));
  EXPECT_TRUE(_list.loadList(false));
  EXPECT_EQ(hashOf(_list, "/x"), "3");
}

TEST_F(MergingTest, AgreesWithModelForRandomSets) {
  unsigned int const seed = std::random_device()();
  SCOPED_TRACE("seed " + std::to_string(seed));
  std::mt19937 random(seed);
  for (int round = 0; round < 50; ++round) {
    std::map<std::string, std::string> expected;
    for (int number = 0; number < 6; ++number) {
      std::string lines;
      for (int i = 0; i < 8; ++i) {
        std::string const path = "/" + std::to_string(random() % 6);
        std::string const hash = std::to_string(random());
        bool const removal = random() % 3 == 0;
        lines += removal ? line("-" + path) : line(path, hash);
        if (removal)
          expected.erase(path);
        else
          expected[path] = hash;
      }
      makeList(std::to_string(number), lines);
    }
    FileList list("wam", "full");
    ASSERT_TRUE(list.loadList(false));
    std::map<std::string, std::string> merged;
    for (const auto& [path, entry] : *list.getProtectedFiles())
      merged[path] = entry->_hash;
    ASSERT_EQ(merged, expected);
  }
}

// Entries that were in the map before.
using MergingIntoEntriesTest = LoadingTest;

TEST_F(MergingIntoEntriesTest, KeepsReplacesAndRemoves) {
  makeList("a", line("/kept", "1") + line("/removed", "1") + line("/replaced", "1"));
  ASSERT_TRUE(_list.loadList(false));
  FileList derived("wam", "quick", _list);
  writeList("wam.quick.a.list", line("-/removed") + line("/replaced", "2") + line("/new", "2"));
  EXPECT_TRUE(derived.loadList(false));
  EXPECT_THAT(pathsOf(derived), ElementsAre("/kept", "/new", "/replaced"));
  EXPECT_EQ(entryOf(derived, "/kept"), entryOf(_list, "/kept"));
  EXPECT_EQ(hashOf(derived, "/replaced"), "2");
}

TEST_F(MergingIntoEntriesTest, LeavesTheSourceAsItIs) {
  makeList("a", line("/removed", "1") + line("/replaced", "1"));
  ASSERT_TRUE(_list.loadList(false));
  FileList derived("wam", "quick", _list);
  writeList("wam.quick.a.list", line("-/removed") + line("/replaced", "2") + line("/new", "2"));
  ASSERT_TRUE(derived.loadList(false));
  EXPECT_THAT(pathsOf(_list), ElementsAre("/removed", "/replaced"));
  EXPECT_EQ(hashOf(_list, "/replaced"), "1");
}

TEST_F(MergingIntoEntriesTest, GivesTheDerivedListItsFiles) {
  makeList("a", line("/missing"));
  ASSERT_TRUE(_list.loadList(false));
  FileList derived("wam", "full", _list);
  EXPECT_FALSE(derived.check(CHECK_ITEM_ALL));
  EXPECT_THAT(recordedLog(), ElementsAre(logged("file_list", 34, "No file need to check.")));
  clearLog();
  ASSERT_TRUE(derived.loadList(false));
  EXPECT_FALSE(derived.check(CHECK_ITEM_ALL));
  EXPECT_THAT(recordedLog(), IsEmpty());
}

// Directories with fixed members are collected when all lists are merged.
class FixedDirectoryLoadingTest : public LoadingTest {
 protected:
  std::vector<std::string> membersOf(const std::string& directory) const {
    return entryOf(_list, directory)->_fixedEntries;
  }
};

TEST_F(FixedDirectoryLoadingTest, MembersOfLaterListsCount) {
  makeList("a", line("/d", "FIXED") + line("/d/x"));
  makeList("b", line("/d/y"));
  EXPECT_TRUE(_list.loadList(false));
  EXPECT_THAT(membersOf("/d"), ElementsAre("x", "y"));
}

TEST_F(FixedDirectoryLoadingTest, MembersOfEarlierListsCount) {
  makeList("a", line("/d/x"));
  makeList("b", line("/d", "FIXED"));
  EXPECT_TRUE(_list.loadList(false));
  EXPECT_THAT(membersOf("/d"), ElementsAre("x"));
}

TEST_F(FixedDirectoryLoadingTest, RemovedMembersDoNotCount) {
  makeList("a", line("/d", "FIXED") + line("/d/x") + line("/d/y"));
  makeList("b", line("-/d/x"));
  EXPECT_TRUE(_list.loadList(false));
  EXPECT_THAT(membersOf("/d"), ElementsAre("y"));
}

TEST_F(FixedDirectoryLoadingTest, DirectoryThatALaterListFreesIsFree) {
  makeList("a", line("/d", "FIXED") + line("/d/x"));
  makeList("b", line("/d", "-"));
  EXPECT_TRUE(_list.loadList(false));
  EXPECT_THAT(membersOf("/d"), IsEmpty());
}

using PackageLoadingTest = LoadingTest;

TEST_F(PackageLoadingTest, BindsThePackageForEveryList) {
  scriptedPackages()["demo"].user = "user";
  makePackageList("demo", "demo.full.a.list", line("/a"));
  makePackageList("demo", "demo.full.b.list", line("/b"));
  FileList list("demo", "full");
  EXPECT_TRUE(list.loadList(false));
  EXPECT_THAT(packageCalls(), ElementsAre("PMSCheckPackage demo", "PMSGetPkgUserName demo",
                                          "PMSCheckPackage demo", "PMSGetPkgUserName demo"));
  EXPECT_THAT(recordedLog(), IsEmpty());
}

TEST_F(PackageLoadingTest, ResolvesPlaceholders) {
  scriptedPackages()["demo"].user = "user";
  makePackageList("demo", "demo.full.a.list",
                  entryLine("$pkg_dir/x", "-", "-", "f", "-", "$pkg", "$pkg") + "\n");
  FileList list("demo", "full");
  EXPECT_TRUE(list.loadList(false));
  ASSERT_THAT(pathsOf(list), ElementsAre("/var/packages/demo/target/x"));
  EXPECT_EQ(entryOf(list, "/var/packages/demo/target/x")->_owner, "5001");
  EXPECT_EQ(entryOf(list, "/var/packages/demo/target/x")->_group, "5002");
}

TEST_F(PackageLoadingTest, SystemSetBindsNoPackage) {
  makeList("a", line("$pkg_dir/x"));
  EXPECT_TRUE(_list.loadList(false));
  EXPECT_THAT(packageCalls(), IsEmpty());
  EXPECT_THAT(pathsOf(_list), ElementsAre("$pkg_dir/x"));
}

using SecondLoadTest = LoadingTest;

TEST_F(SecondLoadTest, MakesNewEntries) {
  makeList("a", line("/x"));
  ASSERT_TRUE(_list.loadList(false));
  boost::shared_ptr<ProtectedFile> const before = entryOf(_list, "/x");
  EXPECT_TRUE(_list.loadList(false));
  EXPECT_NE(entryOf(_list, "/x"), before);
}

TEST_F(SecondLoadTest, MergesIntoTheSameMap) {
  makeList("a", line("/x"));
  ASSERT_TRUE(_list.loadList(false));
  auto const before = _list.getProtectedFiles();
  EXPECT_TRUE(_list.loadList(false));
  EXPECT_EQ(_list.getProtectedFiles(), before);
}

TEST_F(SecondLoadTest, FindsTheListsAgain) {
  std::string const a = makeList("a", line("/a"));
  ASSERT_TRUE(_list.loadList(false));
  remove(a);
  std::string const b = makeSigned("b", line("/b"));
  EXPECT_TRUE(_list.loadList(false));
  EXPECT_TRUE(_list.checkSign());
  EXPECT_THAT(verified(), ElementsAre(b));
}

TEST_F(SecondLoadTest, KeepsEntriesOfListsThatAreGone) {
  std::string const a = makeList("a", line("/a"));
  ASSERT_TRUE(_list.loadList(false));
  remove(a);
  makeList("b", line("/b"));
  EXPECT_TRUE(_list.loadList(false));
  EXPECT_THAT(pathsOf(_list), ElementsAre("/a", "/b"));
}

TEST_F(SecondLoadTest, WithoutListsLeavesNoListFiles) {
  std::string const a = makeList("a", line("/a"));
  ASSERT_TRUE(_list.loadList(false));
  remove(a);
  EXPECT_FALSE(_list.loadList(false));
  EXPECT_THAT(pathsOf(_list), ElementsAre("/a"));
  EXPECT_THAT(recordedLog(), IsEmpty());
  EXPECT_FALSE(_list.check(CHECK_ITEM_ALL));
  EXPECT_THAT(recordedLog(), ElementsAre(logged("file_list", 34, "No file need to check.")));
}

TEST_F(SecondLoadTest, VerifiesAgain) {
  std::string const a = makeSigned("a", line("/a"));
  ASSERT_TRUE(_list.loadList(true));
  EXPECT_TRUE(_list.loadList(true));
  EXPECT_THAT(verified(), ElementsAre(a, a));
}

TEST_F(SecondLoadTest, RepeatsFixedDirectories) {
  makeList("a", line("/d", "FIXED") + line("/d/x"));
  ASSERT_TRUE(_list.loadList(false));
  boost::shared_ptr<ProtectedFile> const before = entryOf(_list, "/d");
  EXPECT_TRUE(_list.loadList(false));
  // The directory is now in the table twice, both times with the new entry.
  EXPECT_THAT(before->_fixedEntries, ElementsAre("x"));
  EXPECT_THAT(entryOf(_list, "/d")->_fixedEntries, ElementsAre("x", "x"));
}

}  // namespace
