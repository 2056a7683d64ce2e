// zemo-selfcheck make --package: placeholders for values that differ between machines.

#include <unistd.h>

#include "fixture.h"

using Lines = std::vector<std::string>;

class MakePackageTest : public MakeTest {
 protected:
  void SetUp() override {
    MakeTest::SetUp();
    if (IsSkipped())
      return;
    makeDirectory(target);
    output = lists / "notes.full.base.list";
  }

  // Makes the package run as root, the only user whose files all tests can create.
  void giveUser() { writeFile(directory + "/user", "root\n"); }

  ProgramRun makePackage(std::vector<std::string> words) {
    words.insert(words.end(), {"--package", "notes"});
    return make(words);
  }

  std::string directory = std::string(packagesDir) + "/notes";
  std::string target = directory + "/target";
};

TEST_F(MakePackageTest, PlaceholdersStandForDirectoryAndUser) {
  giveUser();
  writeFile(target + "/a", "x");
  makeLink(target + "/a", target + "/link");
  makeLink(target, target + "/whole");
  makeLink(target + "x", target + "/beyond");
  makeDirectory(target + "x");
  ASSERT_EQ(makePackage({target, target + "x"}).status, 0);
  std::string const size = std::to_string(target.size());
  EXPECT_EQ(
      entries(),
      (Lines{
          "$pkg_dir\t-\t-\td\t755\t$pkg\t$pkg",
          "$pkg_dir/a\t1\t11f6ad8ec52a2984abaafd7c3b516503785c2072\tf\t644\t$pkg\t$pkg",
          "$pkg_dir/beyond\t" + std::to_string(target.size() + 1) + "\t" + target + "x\tl\t-\t-\t-",
          "$pkg_dir/link\t" + std::to_string(target.size() + 2) + "\t$pkg_dir/a\tl\t-\t-\t-",
          "$pkg_dir/whole\t" + size + "\t$pkg_dir\tl\t-\t-\t-",
          target + "x\t-\t-\td\t755\t$pkg\t$pkg"}));
  EXPECT_TRUE(isIntact({output}, "notes"));
}

TEST_F(MakePackageTest, PackageWithoutAUserHasNoIds) {
  ASSERT_EQ(makePackage({target}).status, 0);
  EXPECT_EQ(entries(), Lines{"$pkg_dir\t-\t-\td\t755\t0\t0"});
}

TEST_F(MakePackageTest, IdOneIsTheSystems) {
  if (chown(target.c_str(), 1, 1) != 0)
    GTEST_SKIP() << "this caller cannot give files away";
  giveUser();
  ASSERT_EQ(makePackage({target}).status, 0);
  EXPECT_EQ(entries(), Lines{"$pkg_dir\t-\t-\td\t755\t$pkg_sys\t$pkg_sys"});
}

TEST_F(MakePackageTest, LiteralPlaceholdersAreRefused) {
  writeFile(target + "/$pkg_dir", "");
  makeLink("x/$pkg_dir/y", target + "/link");
  ProgramRun const run = makePackage({target});
  EXPECT_EQ(run.status, unchecked);
  EXPECT_EQ(linesOf(run.errors).size(), 3U) << run.errors;
  EXPECT_FALSE(isWritten());
}

TEST_F(MakePackageTest, TargetsOfLinksWithoutStatedTypeStayAsTheyAre) {
  makeLink(target + "/a$pkg_dir", target + "/link");
  ASSERT_EQ(makePackage({target + "/link", "--omit", "type"}).status, 0);
  EXPECT_EQ(entries()[0], "$pkg_dir/link\t" + std::to_string(target.size() + 10) + "\t" + target +
                              "/a$pkg_dir\t-\t-\t-\t-");
}

TEST_F(MakePackageTest, LongTargetBelowThePackage) {
  std::string const link = target + "/" + std::string(1200, 't');
  makeLink(link, target + "/long");
  ASSERT_EQ(makePackage({target + "/long"}).status, 0);
  EXPECT_EQ(entries()[0], "$pkg_dir/long\t" + std::to_string(link.size()) + "\t$pkg_dir" +
                              link.substr(target.size(), 1023 - target.size()) + "\tl\t-\t-\t-");
}

TEST_F(MakePackageTest, RemovalsAlsoUsePlaceholders) {
  writeFile(target + "/a", "x");
  ASSERT_EQ(makePackage({target}).status, 0);
  std::string const base = output;
  output = lists / "notes.full.update.list";
  remove(target + "/a");
  ASSERT_EQ(makePackage({target, "--base", base}).status, 0);
  EXPECT_EQ(entries(), Lines{"-$pkg_dir/a\t-\t-\t-\t-\t-\t-"});
  EXPECT_TRUE(isIntact({base, output}, "notes"));
}

TEST_F(MakePackageTest, PackageMustBeInstalled) {
  output = lists / "none.full.base.list";
  ProgramRun const run = make({target, "--package", "none"});
  EXPECT_EQ(run.status, notLoaded);
  EXPECT_EQ(linesOf(run.errors).back(),
            "zemo-selfcheck: cannot find user and directory of package 'none'");
}

TEST_F(MakePackageTest, SystemSetHasNoPlaceholders) {
  writeFile(target + "/$pkg_dir", "");
  output = lists / "wam.full.base.list";
  ASSERT_EQ(make({target}).status, 0);
  EXPECT_EQ(entries(), linesFor({target, target + "/$pkg_dir"}));
}

TEST_F(MakePackageTest, HelpHasAnExample) {
  EXPECT_NE(tool({"make", "--help"}).output.find("Example"), std::string::npos);
}
