#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <zemo/selfcheck/file_list.h>

#include "parsing_fixture.h"
#include "support/doubles/recorded_log.h"
#include "support/doubles/scripted_package.h"
#include "support/files.h"

namespace {

using namespace ZEMO::SELF_CHECK;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

// Package sets.

class PackageParsingTest : public ParsingTest {
 protected:
  PackageParsingTest() : _package("demo", "full") {}

  static void install(const std::string& name) { scriptedPackages()[name].user = "user"; }

  bool parsePackage(const std::string& content) {
    writeFile(path(), content);
    return _package.parseList(path());
  }

  bool parsePackageLines(const std::string& lines) {
    return parsePackage("WAM_SELF_CHECK\nfree text\n" + lines);
  }

  FileList _package;
};

TEST_F(PackageParsingTest, PlaceholdersStandForThePackage) {
  install("demo");
  EXPECT_TRUE(parsePackageLines("$pkg_dir/x\t-\t$pkg_dir/y\tl\t-\t$pkg\t$pkg_sys\n"));
  ASSERT_THAT(pathsOf(_package), ElementsAre("/var/packages/demo/target/x"));
  const ProtectedFile& entry = *entryOf(_package, "/var/packages/demo/target/x");
  EXPECT_EQ(entry._hash, "/var/packages/demo/target/y");
  EXPECT_EQ(entry._owner, "5001");
  EXPECT_EQ(entry._group, "1");
  EXPECT_THAT(recordedLog(), IsEmpty());
}

TEST_F(PackageParsingTest, RemovalLineMeansTheResolvedPath) {
  install("demo");
  EXPECT_TRUE(parsePackageLines(line("$pkg_dir/x") + line("/var/packages/demo/target/y") +
                                line("-/var/packages/demo/target/x") + line("-$pkg_dir/y")));
  EXPECT_THAT(pathsOf(_package), IsEmpty());
}

TEST_F(PackageParsingTest, PackageIsBoundOnceForAList) {
  install("demo");
  EXPECT_TRUE(parsePackageLines(line("/x") + line("/y") + line("-/x")));
  EXPECT_THAT(packageCalls(), ElementsAre("PMSCheckPackage demo", "PMSGetPkgUserName demo"));
}

TEST_F(PackageParsingTest, PackageIsBoundForAListWithoutEntries) {
  install("demo");
  EXPECT_TRUE(parsePackageLines(""));
  EXPECT_TRUE(ProtectedFile::_pkginfo.isSet);
  EXPECT_EQ(ProtectedFile::_pkginfo.targetDir, "/var/packages/demo/target");
}

TEST_F(PackageParsingTest, PackageIsNotBoundForAMalformedList) {
  install("demo");
  EXPECT_FALSE(parsePackage("WRONG\nfree text\n"));
  EXPECT_FALSE(parsePackage("WAM_SELF_CHECK"));
  EXPECT_FALSE(_package.parseList(path() + ".missing"));
  EXPECT_THAT(packageCalls(), IsEmpty());
  EXPECT_THAT(recordedLog(),
              ElementsAre(badHeader(), noSecondLine(), notOpened(path() + ".missing")));
}

TEST_F(PackageParsingTest, PackageThatIsNotInstalledFailsWithoutALineOfItsOwn) {
  EXPECT_FALSE(parsePackageLines(line("/x")));
  EXPECT_THAT(pathsOf(_package), IsEmpty());
  EXPECT_THAT(recordedLog(), ElementsAre(notInstalled("demo")));
}

TEST_F(PackageParsingTest, UnknownPackageUserFailsWithoutALineOfItsOwn) {
  scriptedPackages()["demo"].errorCode = 1;
  EXPECT_FALSE(parsePackageLines(line("/x")));
  EXPECT_THAT(recordedLog(),
              ElementsAre(logged("protected_file", 119,
                                 "Failed to get package user for package [%s]", "demo")));
}

TEST_F(PackageParsingTest, FailedBindingLeavesTheMapAsItIs) {
  install("demo");
  ASSERT_TRUE(parsePackageLines(line("/x")));
  scriptedPackages().clear();
  EXPECT_FALSE(parsePackageLines(line("-/x") + line("/y")));
  EXPECT_THAT(pathsOf(_package), ElementsAre("/x"));
}

TEST_F(PackageParsingTest, NameThatIsNotQuiteTheSystemSetsIsAPackages) {
  for (const char* const name : {"WAM", "wam ", "", "wamx"}) {
    clearLog();
    EXPECT_FALSE(FileList(name, "full").parseList(writeList("x", line("/x"))));
    EXPECT_THAT(recordedLog(), ElementsAre(notInstalled(name)));
  }
}

TEST_F(PackageParsingTest, SystemSetAsksForNoPackage) {
  add(line("$pkg_dir/x"));
  EXPECT_THAT(paths(), ElementsAre("$pkg_dir/x"));
  EXPECT_THAT(packageCalls(), IsEmpty());
  EXPECT_FALSE(ProtectedFile::_pkginfo.isSet);
}

TEST_F(PackageParsingTest, SystemSetIsResolvedAgainstTheLastPackage) {
  install("demo");
  ASSERT_TRUE(parsePackageLines(""));
  add(line("$pkg_dir/x"));
  EXPECT_THAT(paths(), ElementsAre("/var/packages/demo/target/x"));
}

// All lists of a set. Loading finds them; without signatures, it then parses them.

using ParsingAllTest = ParsingTest;

TEST_F(ParsingAllTest, WithoutListFilesIsTrue) {
  makeList("a", line("/x"));
  EXPECT_TRUE(_list.parseList());
  EXPECT_THAT(paths(), IsEmpty());
  EXPECT_THAT(recordedLog(), IsEmpty());
}

TEST_F(ParsingAllTest, ReadsTheListsInOrder) {
  makeList("a", line("/x", "1") + line("/y"));
  makeList("b", line("/x", "2") + line("-/y") + line("-/z"));
  makeList("c", line("/z"));
  ASSERT_TRUE(_list.loadList(false));
  _list.getProtectedFiles()->clear();
  EXPECT_TRUE(_list.parseList());
  EXPECT_THAT(paths(), ElementsAre("/x", "/z"));
  EXPECT_EQ(hashOf(_list, "/x"), "2");
  EXPECT_THAT(recordedLog(), IsEmpty());
}

TEST_F(ParsingAllTest, AppliesTheListsOnTopOfExistingEntries) {
  makeList("a", line("/x", "1") + line("-/y"));
  ASSERT_TRUE(_list.loadList(false));
  add(line("/x", "2") + line("/y") + line("/z"));
  EXPECT_TRUE(_list.parseList());
  EXPECT_THAT(paths(), ElementsAre("/x", "/z"));
  EXPECT_EQ(hashOf(_list, "/x"), "1");
}

TEST_F(ParsingAllTest, StopsAtTheFirstListThatFails) {
  makeList("a", line("/a"));
  std::string const b = makeMalformed("b");
  makeList("c", line("/c"));
  makeMalformed("d");
  EXPECT_FALSE(_list.loadList(false));
  EXPECT_THAT(paths(), ElementsAre("/a"));
  EXPECT_THAT(recordedLog(), ElementsAre(badHeader(), notParsed(b)));
}

TEST_F(ParsingAllTest, NamesTheListThatIsGone) {
  std::string const a = makeList("a", line("/a"));
  ASSERT_TRUE(_list.loadList(false));
  remove(a);
  EXPECT_FALSE(_list.parseList());
  EXPECT_THAT(paths(), ElementsAre("/a"));
  EXPECT_THAT(recordedLog(), ElementsAre(notOpened(a), notParsed(a)));
}

TEST_F(ParsingAllTest, PackageThatIsNotInstalledFailsAtTheFirstList) {
  std::string const a = makePackageList("demo", "demo.full.a.list", line("/a"));
  makePackageList("demo", "demo.full.b.list", line("/b"));
  FileList package("demo", "full");
  EXPECT_FALSE(package.loadList(false));
  EXPECT_THAT(packageCalls(), ElementsAre("PMSCheckPackage demo"));
  EXPECT_THAT(recordedLog(), ElementsAre(notInstalled("demo"), notParsed(a)));
}

}  // namespace
