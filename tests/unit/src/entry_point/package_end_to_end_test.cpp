// A package's own set, with the real package library and this machine's users.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pwd.h>
#include <zemo/selfcheck/file_list.h>
#include <zemo/selfcheck/self_check_files.h>

#include "support/path_list.h"
#include "support/result_mask.h"
#include "support/signed_set_test.h"

namespace {

using namespace ZEMO::SELF_CHECK;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

class PackageEndToEndTest : public SignedSetTest {
 protected:
  void SetUp() override {
    SignedSetTest::SetUp();
    ProtectedFile::_pkginfo =
        PkgInfo();  // the binding is global to the process, and tests run in any order
  }

  // The name of the user that runs the tests: root, which has another name on some machines.
  static std::string rootUser() { return getpwuid(0)->pw_name; }

  static std::string packageDir(const std::string& package) {
    return std::string(packagesDir) + "/" + package;
  }

  static std::string targetDir(const std::string& package) {
    return packageDir(package) + "/target";
  }

  static void install(const std::string& package) { makeDirectory(targetDir(package)); }

  static void install(const std::string& package, const std::string& user) {
    install(package);
    writeFile(packageDir(package) + "/user", user + "\n");
  }

  static std::string packageList(const std::string& package,
                                 const std::vector<std::string>& lines) {
    std::string text;
    for (const std::string& line : lines)
      text += line + "\n";
    return writeList(std::string(listDir) + "/packages/" + package, package + ".full.base.list",
                     text);
  }

  static uint32_t check(FileList& list, const std::string& path) {
    std::vector<SELFCHECK_RESULT> results;
    EXPECT_TRUE(list.checkFiles({path}, results));
    return results.size() == 1 ? maskOf(results[0]) : 0xffffffff;
  }

  static const ProtectedFile& entry(const FileList& list, const std::string& path) {
    return *list.getProtectedFiles()->at(path);
  }
};

TEST_F(PackageEndToEndTest, PlaceholdersStandForThePackage) {
  install("demo", rootUser());
  std::string const program = targetDir("demo") + "/program";
  writeFile(program, "content", 0755);
  packageList("demo", {entryLine("$pkg_dir/program", "7", "-", "f", "755", "$pkg", "$pkg")});

  FileList list("demo", "full");
  ASSERT_TRUE(list.loadList(false));
  EXPECT_EQ(check(list, program), 0U);
  EXPECT_EQ(entry(list, program)._owner, "0");
  EXPECT_EQ(entry(list, program)._group, std::to_string(getpwuid(0)->pw_gid));
  EXPECT_TRUE(list.check(CHECK_ITEM_ALL));
  EXPECT_THAT(recordedLog(), IsEmpty());
}

TEST_F(PackageEndToEndTest, MismatchesOfPackageFilesAreFound) {
  install("demo", rootUser());
  std::string const program = targetDir("demo") + "/program";
  writeFile(program, "content", 0755);
  packageList("demo", {entryLine("$pkg_dir/program", "8", "-", "f", "700", "$pkg", "$pkg")});

  FileList list("demo", "full");
  ASSERT_TRUE(list.loadList(false));
  EXPECT_EQ(check(list, program), 0x011U);
  EXPECT_FALSE(list.check(CHECK_ITEM_ALL));
}

TEST_F(PackageEndToEndTest, IdsAreThoseOfThePackagesUser) {
  const passwd* const daemon = getpwnam("daemon");
  if (daemon == nullptr)
    GTEST_SKIP() << "this machine has no user daemon";
  std::string const uid = std::to_string(daemon->pw_uid);
  std::string const gid = std::to_string(daemon->pw_gid);
  install("demo", "daemon");
  std::string const program = targetDir("demo") + "/program";
  writeFile(program, "content");
  packageList("demo", {entryLine("$pkg_dir/program", "-", "-", "-", "-", "$pkg", "$pkg")});

  FileList list("demo", "full");
  ASSERT_TRUE(list.loadList(false));
  EXPECT_EQ(entry(list, program)._owner, uid);
  EXPECT_EQ(entry(list, program)._group, gid);
  EXPECT_EQ(check(list, program), 0x006U);  // the file is root's
  EXPECT_EQ(std::to_string(ProtectedFile::_pkginfo.uid), uid);
  EXPECT_EQ(std::to_string(ProtectedFile::_pkginfo.gid), gid);
  EXPECT_EQ(ProtectedFile::_pkginfo.targetDir, targetDir("demo"));
}

TEST_F(PackageEndToEndTest, SystemUserOfPackagesHasNumberOne) {
  install("demo", rootUser());
  std::string const program = targetDir("demo") + "/program";
  writeFile(program, "content");
  packageList("demo", {entryLine("$pkg_dir/program", "-", "-", "-", "-", "$pkg_sys", "$pkg_sys")});

  FileList list("demo", "full");
  ASSERT_TRUE(list.loadList(false));
  EXPECT_EQ(entry(list, program)._owner, "1");
  EXPECT_EQ(entry(list, program)._group, "1");
  EXPECT_EQ(check(list, program), 0x006U);
}

TEST_F(PackageEndToEndTest, LinksPointIntoThePackage) {
  install("demo", rootUser());
  std::string const link = targetDir("demo") + "/link";
  makeLink(targetDir("demo") + "/lib/x.so", link);
  packageList("demo", {entryLine("$pkg_dir/link", "-", "$pkg_dir/lib/x.so", "l", "-", "-", "-")});

  FileList list("demo", "full");
  ASSERT_TRUE(list.loadList(false));
  EXPECT_EQ(entry(list, link)._hash, targetDir("demo") + "/lib/x.so");
  EXPECT_EQ(check(list, link), 0U);
  remove(link);
  makeLink("/elsewhere", link);
  EXPECT_EQ(check(list, link), 0x020U);
}

TEST_F(PackageEndToEndTest, FixedDirectoriesOfPackagesAreResolved) {
  install("demo", rootUser());
  makeDirectory(targetDir("demo") + "/bin");
  writeFile(targetDir("demo") + "/bin/program", "content");
  packageList("demo", {entryLine("$pkg_dir/bin", "-", "FIXED", "d", "-", "-", "-"),
                       entryLine("$pkg_dir/bin/program", "7", "-", "f", "-", "-", "-")});

  FileList list("demo", "full");
  ASSERT_TRUE(list.loadList(false));
  EXPECT_TRUE(list.check(CHECK_ITEM_ALL));
  EXPECT_EQ(check(list, targetDir("demo") + "/bin/intruder"), 0x180U);
}

TEST_F(PackageEndToEndTest, RemovalLinesAreResolved) {
  install("demo", rootUser());
  packageList("demo",
              {"$pkg_dir/program\t-\t-\t-\t-\t-\t-", "-$pkg_dir/program\t-\t-\t-\t-\t-\t-"});

  FileList list("demo", "full");
  ASSERT_TRUE(list.loadList(false));
  EXPECT_TRUE(list.getProtectedFiles()->empty());
}

TEST_F(PackageEndToEndTest, PackageWithoutUserKeepsTheIdsBefore) {
  ProtectedFile::_pkginfo.uid = 1030;
  ProtectedFile::_pkginfo.gid = 100;
  install("plain");
  std::string const path = targetDir("plain") + "/file";
  packageList("plain", {entryLine("$pkg_dir/file", "-", "-", "-", "-", "$pkg", "$pkg")});

  FileList list("plain", "full");
  ASSERT_TRUE(list.loadList(false));
  EXPECT_EQ(entry(list, path)._owner, "1030");
  EXPECT_EQ(entry(list, path)._group, "100");
  EXPECT_EQ(ProtectedFile::_pkginfo.targetDir, targetDir("plain"));
  EXPECT_THAT(recordedLog(), IsEmpty());
}

TEST_F(PackageEndToEndTest, FirstPackageWithoutUserHasRootsIds) {
  install("plain");
  std::string const path = targetDir("plain") + "/file";
  packageList("plain", {entryLine("$pkg_dir/file", "-", "-", "-", "-", "$pkg", "$pkg")});

  FileList list("plain", "full");
  ASSERT_TRUE(list.loadList(false));
  EXPECT_EQ(entry(list, path)._owner, "0");
  EXPECT_EQ(entry(list, path)._group, "0");
}

TEST_F(PackageEndToEndTest, PackageThatIsNotInstalledCannotBeLoaded) {
  std::string const path =
      packageList("absent", {entryLine("$pkg_dir/file", "-", "-", "-", "-", "$pkg", "$pkg")});

  FileList list("absent", "full");
  EXPECT_FALSE(list.loadList(false));
  EXPECT_TRUE(list.getProtectedFiles()->empty());
  EXPECT_FALSE(ProtectedFile::_pkginfo.isSet);
  EXPECT_THAT(recordedLog(),
              ElementsAre(logged("protected_file", 113, "package [%s] is not installed.", "absent"),
                          logged("file_list", 48, "Parse list [%s] failed.", path)));
}

TEST_F(PackageEndToEndTest, UserWithoutAccountCannotBeBound) {
  install("demo", "no-such-user-here");
  std::string const path =
      packageList("demo", {entryLine("$pkg_dir/file", "-", "-", "-", "-", "$pkg", "$pkg")});

  FileList list("demo", "full");
  EXPECT_FALSE(list.loadList(false));
  EXPECT_TRUE(list.getProtectedFiles()->empty());
  EXPECT_FALSE(ProtectedFile::_pkginfo.isSet);
  EXPECT_THAT(recordedLog(),
              ElementsAre(logged("protected_file", 119,
                                 "Failed to get package user for package [%s]", "demo"),
                          logged("file_list", 48, "Parse list [%s] failed.", path)));
}

TEST_F(PackageEndToEndTest, UnusableUserFileCannotBeBound) {
  install("demo", "root\nsecond line");
  packageList("demo", {});

  FileList list("demo", "full");
  EXPECT_FALSE(list.loadList(false));
  EXPECT_FALSE(ProtectedFile::_pkginfo.isSet);
}

TEST_F(PackageEndToEndTest, FailedLoadKeepsTheBindingBefore) {
  install("demo", rootUser());
  packageList("demo", {});
  packageList("absent", {});
  ASSERT_TRUE(FileList("demo", "full").loadList(false));
  EXPECT_FALSE(FileList("absent", "full").loadList(false));
  EXPECT_TRUE(ProtectedFile::_pkginfo.isSet);
  EXPECT_EQ(ProtectedFile::_pkginfo.targetDir, targetDir("demo"));
}

TEST_F(PackageEndToEndTest, LaterPackageReplacesTheBinding) {
  install("first", rootUser());
  install("second", rootUser());
  for (const char* const package : {"first", "second"})
    packageList(package, {"$pkg_dir/file\t-\t-\t-\t-\t-\t-"});
  FileList first("first", "full");
  FileList second("second", "full");
  ASSERT_TRUE(first.loadList(false));
  ASSERT_TRUE(second.loadList(false));
  EXPECT_EQ(first.getProtectedFiles()->begin()->first, targetDir("first") + "/file");
  EXPECT_EQ(second.getProtectedFiles()->begin()->first, targetDir("second") + "/file");
}

TEST_F(PackageEndToEndTest, SystemSetAloneResolvesNothing) {
  writeList("wam.full.base.list",
            entryLine("$pkg_dir/file", "-", "-", "-", "-", "$pkg", "$pkg_sys"));
  FileList list("wam", "full");
  ASSERT_TRUE(list.loadList(false));
  EXPECT_EQ(entry(list, "$pkg_dir/file")._owner, "$pkg");
  EXPECT_EQ(entry(list, "$pkg_dir/file")._group, "$pkg_sys");
}

TEST_F(PackageEndToEndTest, BindingPersistsIntoTheSystemSet) {
  install("demo", rootUser());
  packageList("demo", {});
  ASSERT_TRUE(FileList("demo", "full").loadList(false));

  writeList("wam.full.base.list",
            entryLine("$pkg_dir/file", "-", "-", "-", "-", "$pkg", "$pkg_sys"));
  FileList list("wam", "full");
  ASSERT_TRUE(list.loadList(false));
  EXPECT_EQ(entry(list, targetDir("demo") + "/file")._owner, "0");
  EXPECT_EQ(entry(list, targetDir("demo") + "/file")._group, "1");
}

TEST_F(PackageEndToEndTest, BindingPersistsIntoSelfCheckFiles) {
  install("demo", rootUser());
  packageList("demo", {});
  ASSERT_TRUE(FileList("demo", "full").loadList(false));
  writeFile(targetDir("demo") + "/file", "content");
  signedList("wam.full.base.list", {"$pkg_dir/file\t7\t-\tf\t-\t$pkg\t-"});

  PathList const paths({targetDir("demo") + "/file", "$pkg_dir/file"});
  SELFCHECK_RESULT results[2] = {};
  EXPECT_EQ(SelfCheckFiles(paths.get(), results), 0);
  EXPECT_EQ(maskOf(results[0]), 0U);
  EXPECT_EQ(maskOf(results[1]), 0x080U);
}

TEST_F(PackageEndToEndTest, PackageSetIsVerifiedWithTheSystemsKeyRing) {
  install("demo", rootUser());
  std::string const path = packageList("demo", {"$pkg_dir/file\t-\t-\t-\t-\t-\t-"});
  FileList unsignedList("demo", "full");
  EXPECT_FALSE(unsignedList.loadList(true));
  EXPECT_TRUE(unsignedList.getProtectedFiles()->empty());
  EXPECT_FALSE(ProtectedFile::_pkginfo.isSet);

  key()->sign(path);
  FileList list("demo", "full");
  EXPECT_TRUE(list.loadList(true));
  EXPECT_EQ(list.getProtectedFiles()->size(), 1U);
}

}  // namespace
