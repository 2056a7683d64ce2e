#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <zemo/selfcheck/file_list.h>

#include "loading_fixture.h"
#include "signature_log.h"
#include "support/doubles/recorded_log.h"
#include "support/doubles/scripted_exec.h"
#include "support/doubles/scripted_package.h"
#include "support/files.h"

namespace {

using namespace ZEMO::SELF_CHECK;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

using SetFilesTest = LoadingTest;

TEST_F(SetFilesTest, AreThoseOfNameAndMode) {
  writeList("wam.full.base.list", line("/base"));
  writeList("wam.full.a.b.list", line("/dots"));
  writeList("wam.full..list", line("/nothing"));
  writeList("wam.full.list", line("/no text"));
  writeList("wam.quick.base.list", line("/other mode"));
  writeList("other.full.base.list", line("/other name"));
  writeList("xwam.full.base.list", line("/longer name"));
  writeList("WAM.full.base.list", line("/upper case"));
  writeList("wam.full.base.txt", line("/other end"));
  writeList("wam.full.base.list.asc", line("/longer end"));
  writeList("wam.fuller.base.list", line("/longer mode"));
  EXPECT_TRUE(_list.loadList(false));
  EXPECT_THAT(pathsOf(_list), ElementsAre("/base", "/dots", "/nothing"));
  EXPECT_THAT(recordedLog(), IsEmpty());
}

TEST_F(SetFilesTest, OfAnotherModeMakeAnotherSet) {
  writeList("wam.full.base.list", line("/full"));
  writeList("wam.quick.base.list", line("/quick"));
  FileList quick("wam", "quick");
  EXPECT_TRUE(quick.loadList(false));
  EXPECT_THAT(pathsOf(quick), ElementsAre("/quick"));
}

TEST_F(SetFilesTest, OfEmptyModeHaveTwoDots) {
  writeList("wam.full.base.list", line("/full"));
  writeList("wam..base.list", line("/empty"));
  writeList("wam.base.list", line("/one dot"));
  FileList list("wam", "");
  EXPECT_TRUE(list.loadList(false));
  EXPECT_THAT(pathsOf(list), ElementsAre("/empty"));
}

TEST_F(SetFilesTest, PatternCharactersOfTheModeAreNotEscaped) {
  writeList("wam.full.base.list", line("/full"));
  writeList("wam.fast.base.list", line("/fast"));
  writeList("wam.quick.base.list", line("/quick"));
  FileList list("wam", "f*");
  EXPECT_TRUE(list.loadList(false));
  EXPECT_THAT(pathsOf(list), ElementsAre("/fast", "/full"));
}

TEST_F(SetFilesTest, PatternCharactersOfTheNameAreNotEscaped) {
  scriptedPackages()["d[ae]mo"].user = "user";
  makePackageList("demo", "damo.full.a.list", line("/a"));
  makePackageList("demo", "demo.full.e.list", line("/e"));
  makePackageList("demo", "dimo.full.i.list", line("/i"));
  FileList list("d[ae]mo", "full");
  EXPECT_TRUE(list.loadList(false));
  EXPECT_THAT(pathsOf(list), ElementsAre("/a", "/e"));
}

using NoListsTest = LoadingTest;

TEST_F(NoListsTest, EmptyDirectoryFailsSilently) {
  EXPECT_FALSE(_list.loadList(true));
  EXPECT_FALSE(_list.loadList(false));
  EXPECT_THAT(pathsOf(_list), IsEmpty());
  EXPECT_THAT(recordedLog(), IsEmpty());
}

TEST_F(NoListsTest, ListsOfAnotherModeOnlyFailSilently) {
  writeList("wam.quick.base.list", line("/quick"));
  writeOrder("wam.quick.base.list\n");
  EXPECT_FALSE(_list.loadList(true));
  EXPECT_THAT(pathsOf(_list), IsEmpty());
  EXPECT_THAT(recordedLog(), IsEmpty());
}

TEST_F(NoListsTest, MissingDirectoryFailsSilently) {
  scriptedPackages()["demo"].user = "user";
  FileList list("demo", "full");
  EXPECT_FALSE(list.loadList(true));
  EXPECT_THAT(packageCalls(), IsEmpty());
  EXPECT_THAT(recordedLog(), IsEmpty());
}

TEST_F(NoListsTest, GnuPGIsNotRun) {
  EXPECT_FALSE(_list.loadList(true));
  EXPECT_THAT(execCalls, IsEmpty());
}

TEST_F(NoListsTest, ExistingEntriesStayUntouched) {
  makeList("a", line("/d", "FIXED") + line("/d/x"));
  ASSERT_TRUE(_list.loadList(false));
  FileList derived("none", "full", _list);
  EXPECT_FALSE(derived.loadList(false));
  EXPECT_THAT(pathsOf(derived), ElementsAre("/d", "/d/x"));
  EXPECT_EQ(entryOf(derived, "/d"), entryOf(_list, "/d"));
  EXPECT_THAT(entryOf(derived, "/d")->_fixedEntries, ElementsAre("x"));
}

class SetNameTest : public LoadingTest {
 protected:
  // Makes the list `name` in the directory of the set `set`, and installs the set's package.
  static void makePackage(const std::string& set, const std::string& name,
                          const std::string& lines) {
    makeDirectory(std::string(listDir) + "/packages");
    scriptedPackages()[set].user = "user";
    (void)makePackageList(set, name, lines);
  }

  // The pattern of the set's list files, as a failed verification logs it.
  static std::string patternOf(const std::string& set) {
    EXPECT_FALSE(FileList(set, "full").loadList(true));
    std::vector<LogLine> const log = recordedLog();
    return log.empty() || log.back().arguments.at(1) != "321" ? "not logged"
                                                              : log.back().arguments.at(2);
  }
};

TEST_F(SetNameTest, OfPackageIsThatOfItsDirectoryAndFiles) {
  makePackage("demo", "demo.full.a.list", line("/a"));
  EXPECT_EQ(patternOf("demo"), "/usr/zemo/selfcheck/packages/demo/demo.full.*.list");
  FileList list("demo", "full");
  EXPECT_TRUE(list.loadList(false));
  EXPECT_THAT(pathsOf(list), ElementsAre("/a"));
}

TEST_F(SetNameTest, LosesParentStepsInTheFileNameOnly) {
  makePackage("../x", "x.full.a.list", line("/a"));
  EXPECT_EQ(patternOf("../x"), "/usr/zemo/selfcheck/packages/../x/x.full.*.list");
  FileList list("../x", "full");
  EXPECT_TRUE(list.loadList(false));
  EXPECT_THAT(pathsOf(list), ElementsAre("/a"));
}

TEST_F(SetNameTest, LosesEveryParentStep) {
  makeDirectory(std::string(listDir) + "/packages");
  makeDirectory(std::string(listDir) + "/b");
  makeDirectory(std::string(listDir) + "/x/b");
  makePackage("../b/../x", "b/x.full.a.list", line("/a"));
  EXPECT_EQ(patternOf("../b/../x"), "/usr/zemo/selfcheck/packages/../b/../x/b/x.full.*.list");
}

TEST_F(SetNameTest, LosesParentStepInTheMiddle) {
  makeDirectory(std::string(listDir) + "/packages/a");
  makeDirectory(std::string(listDir) + "/packages/b/a");
  makePackage("a/../b", "a/b.full.a.list", line("/a"));
  EXPECT_EQ(patternOf("a/../b"), "/usr/zemo/selfcheck/packages/a/../b/a/b.full.*.list");
}

TEST_F(SetNameTest, LosesParentStepThatEndsAnotherWord) {
  makePackage("x../", "x.full.a.list", line("/a"));
  EXPECT_EQ(patternOf("x../"), "/usr/zemo/selfcheck/packages/x..//x.full.*.list");
}

TEST_F(SetNameTest, KeepsParentStepThatTheRemovalBringsTogether) {
  // The list is next to the set's directory, because its file name leaves that directory.
  makePackage("....//", "../.full.a.list", line("/a"));
  EXPECT_EQ(patternOf("....//"), "/usr/zemo/selfcheck/packages/....///../.full.*.list");
  FileList list("....//", "full");
  EXPECT_TRUE(list.loadList(false));
  EXPECT_THAT(pathsOf(list), ElementsAre("/a"));
}

TEST_F(SetNameTest, StaysAsItIsEverywhereElse) {
  makePackage("../x", "x.full.a.list", line("$pkg_dir/a"));
  FileList list("../x", "full");
  EXPECT_TRUE(list.loadList(false));
  EXPECT_EQ(list.toString(), "../x full");
  EXPECT_THAT(packageCalls(), ElementsAre("PMSCheckPackage ../x", "PMSGetPkgUserName ../x"));
  EXPECT_THAT(pathsOf(list), ElementsAre("/var/packages/../x/target/a"));
}

TEST_F(SetNameTest, OrderFileIsThatOfTheDirectoryAsItIsSpelt) {
  makePackage("../x", "x.full.a.list", line("/x", "1"));
  makePackage("../x", "x.full.b.list", line("/x", "2"));
  writeFile(std::string(listDir) + "/x/listorder", "x.full.b.list\nx.full.a.list\n");
  FileList list("../x", "full");
  EXPECT_TRUE(list.loadList(false));
  EXPECT_EQ(hashOf(list, "/x"), "1");
}

class ParseFailureTest : public LoadingTest {
 protected:
  // True if a path that no list names is in a directory with fixed members.
  bool inFixedDirectory(const std::string& path) {
    std::vector<SELFCHECK_RESULT> results;
    EXPECT_TRUE(_list.checkFiles({path}, results));
    return results.at(0).inFixedDir == 1;
  }
};

TEST_F(ParseFailureTest, KeepsEarlierListsAndReadsNoLaterOne) {
  makeList("a", line("/a"));
  std::string const malformed = makeMalformed("b");
  makeList("c", line("/c"));
  EXPECT_FALSE(_list.loadList(false));
  EXPECT_THAT(pathsOf(_list), ElementsAre("/a"));
  EXPECT_THAT(recordedLog(), ElementsAre(badHeader(), notParsed(malformed)));
}

TEST_F(ParseFailureTest, CollectsNoFixedDirectories) {
  makeList("a", line("/d", "FIXED") + line("/d/x"));
  makeMalformed("b");
  EXPECT_FALSE(_list.loadList(false));
  EXPECT_THAT(entryOf(_list, "/d")->_fixedEntries, IsEmpty());
  EXPECT_FALSE(inFixedDirectory("/d/new"));
}

TEST_F(ParseFailureTest, FixedDirectoriesAreThereAfterTheNextLoad) {
  makeList("a", line("/d", "FIXED") + line("/d/x"));
  std::string const malformed = makeMalformed("b");
  EXPECT_FALSE(_list.loadList(false));
  remove(malformed);
  EXPECT_TRUE(_list.loadList(false));
  EXPECT_THAT(entryOf(_list, "/d")->_fixedEntries, ElementsAre("x"));
  EXPECT_TRUE(inFixedDirectory("/d/new"));
}

TEST_F(ParseFailureTest, KeepsTheListFiles) {
  std::string const a = makeMalformed("a");
  writeFile(a + ".asc", "signature");
  std::string const b = makeSigned("b", "");
  EXPECT_FALSE(_list.loadList(false));
  EXPECT_TRUE(_list.checkSign());
  EXPECT_THAT(verified(), ElementsAre(a, b));
}

TEST_F(ParseFailureTest, DanglingListIsOne) {
  makeList("a", line("/a"));
  std::string const link = std::string(listDir) + "/wam.full.b.list";
  makeLink("nowhere", link);
  EXPECT_FALSE(_list.loadList(false));
  EXPECT_THAT(pathsOf(_list), ElementsAre("/a"));
  EXPECT_THAT(
      recordedLog(),
      ElementsAre(logged("file_list", 104, "Open input file [%s] failed", link), notParsed(link)));
}

TEST_F(ParseFailureTest, UnreadableListIsOne) {
  std::string const list = makeList("a", line("/a"));
  changeMode(list, 0);
  WithoutFileCapabilities const unprivileged;
  EXPECT_FALSE(_list.loadList(false));
  EXPECT_THAT(
      recordedLog(),
      ElementsAre(logged("file_list", 104, "Open input file [%s] failed", list), notParsed(list)));
}

TEST_F(ParseFailureTest, DirectoryInTheListsPlaceIsOne) {
  std::string const directory = std::string(listDir) + "/wam.full.a.list";
  makeDirectory(directory);
  EXPECT_FALSE(_list.loadList(false));
  EXPECT_THAT(recordedLog(), ElementsAre(badHeader(), notParsed(directory)));
}

TEST_F(ParseFailureTest, PackageThatIsNotInstalledIsOne) {
  std::string const first = makePackageList("demo", "demo.full.a.list", line("/a"));
  makePackageList("demo", "demo.full.b.list", line("/b"));
  FileList list("demo", "full");
  EXPECT_FALSE(list.loadList(false));
  EXPECT_THAT(pathsOf(list), IsEmpty());
  EXPECT_THAT(packageCalls(), ElementsAre("PMSCheckPackage demo"));
  EXPECT_THAT(recordedLog(),
              ElementsAre(logged("protected_file", 113, "package [%s] is not installed.", "demo"),
                          notParsed(first)));
}

}  // namespace
