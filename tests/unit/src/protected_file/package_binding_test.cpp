#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pwd.h>
#include <zemo/core.h>
#include <zemo/package.h>
#include <zemo/selfcheck/protected_file.h>

#include <map>

#include "support/doubles/recorded_log.h"
#include "support/doubles/scripted_package.h"
#include "support/restored_binding.h"

namespace {

std::map<std::string, passwd> accounts;
std::vector<std::string> accountCalls;

}  // namespace

// The password database.
extern "C" passwd* getpwnam(const char* name) {
  accountCalls.emplace_back(name);
  auto const found = accounts.find(name);
  return found == accounts.end() ? nullptr : &found->second;
}

namespace {

using namespace ZEMO::SELF_CHECK;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

// The library is loaded and initialised before this program's own variables.
const PkgInfo bindingAfterLoading = ProtectedFile::_pkginfo;

LogLine notInstalled(const std::string& package) {
  return logged("protected_file", 113, "package [%s] is not installed.", package);
}

LogLine noUser(const std::string& package) {
  return logged("protected_file", 119, "Failed to get package user for package [%s]", package);
}

class PackageBindingTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ProtectedFile::_pkginfo = PkgInfo();
    scriptedPackages().clear();
    packageCalls().clear();
    accounts.clear();
    accountCalls.clear();
    VLIBErrSet(0);
    clearLog();
  }

  static void install(const std::string& package, const std::string& user) {
    scriptedPackages()[package].user = user;
  }

  static void installWithoutUser(const std::string& package, int errorCode) {
    scriptedPackages()[package].errorCode = errorCode;
  }

  static void addAccount(const std::string& user, uid_t uid, gid_t gid) {
    passwd account = {};
    account.pw_uid = uid;
    account.pw_gid = gid;
    accounts[user] = account;
  }

  // Binds package "a" with the ids 1030 and 100.
  static void bindA() {
    install("a", "user-a");
    addAccount("user-a", 1030, 100);
    ASSERT_TRUE(ProtectedFile::setPkg("a"));
    packageCalls().clear();
    accountCalls.clear();
  }

  static void expectBinding(uid_t uid, gid_t gid, const std::string& targetDir) {
    EXPECT_TRUE(ProtectedFile::_pkginfo.isSet);
    EXPECT_EQ(ProtectedFile::_pkginfo.uid, uid);
    EXPECT_EQ(ProtectedFile::_pkginfo.gid, gid);
    EXPECT_EQ(ProtectedFile::_pkginfo.targetDir, targetDir);
  }

  static void expectNoBinding(const PkgInfo& info = ProtectedFile::_pkginfo) {
    EXPECT_FALSE(info.isSet);
    EXPECT_EQ(info.uid, 0U);
    EXPECT_EQ(info.gid, 0U);
    EXPECT_EQ(info.targetDir, "");
  }

 private:
  RestoredBinding _binding;
};

TEST_F(PackageBindingTest, IsUnsetAfterLoading) {
  expectNoBinding(bindingAfterLoading);
}

TEST_F(PackageBindingTest, TakesIdsOfThePackagesUser) {
  install("demo", "demo-user");
  addAccount("demo-user", 1026, 100);
  EXPECT_TRUE(ProtectedFile::setPkg("demo"));
  expectBinding(1026, 100, "/var/packages/demo/target");
  EXPECT_THAT(recordedLog(), IsEmpty());
}

TEST_F(PackageBindingTest, LooksUpPackageThenUserThenAccount) {
  install("demo", "demo-user");
  addAccount("demo-user", 1026, 100);
  EXPECT_TRUE(ProtectedFile::setPkg("demo"));
  EXPECT_THAT(packageCalls(), ElementsAre("PMSCheckPackage demo", "PMSGetPkgUserName demo"));
  EXPECT_THAT(accountCalls, ElementsAre("demo-user"));
}

TEST_F(PackageBindingTest, KeepsLargeIdsUnsigned) {
  install("demo", "demo-user");
  addAccount("demo-user", 4294967294U, 2147483648U);
  EXPECT_TRUE(ProtectedFile::setPkg("demo"));
  expectBinding(4294967294U, 2147483648U, "/var/packages/demo/target");
}

TEST_F(PackageBindingTest, PackageThatIsNotInstalledIsLoggedAndBindsNothing) {
  EXPECT_FALSE(ProtectedFile::setPkg("gone"));
  expectNoBinding();
  EXPECT_THAT(recordedLog(), ElementsAre(notInstalled("gone")));
}

TEST_F(PackageBindingTest, PackageThatIsNotInstalledHasNoUserLookup) {
  EXPECT_FALSE(ProtectedFile::setPkg("gone"));
  EXPECT_THAT(packageCalls(), ElementsAre("PMSCheckPackage gone"));
  EXPECT_THAT(accountCalls, IsEmpty());
}

TEST_F(PackageBindingTest, PackageThatIsNotInstalledLeavesTheEarlierBinding) {
  bindA();
  EXPECT_FALSE(ProtectedFile::setPkg("gone"));
  expectBinding(1030, 100, "/var/packages/a/target");
  EXPECT_THAT(recordedLog(), ElementsAre(notInstalled("gone")));
}

TEST_F(PackageBindingTest, UnknownUserIsLoggedWhateverTheErrorCode) {
  for (int const code : {0, 0xD901, 0xD8FF, 0x1D900, -1, static_cast<int>(ZEMO_PACKAGE_BAD_USER)}) {
    clearLog();
    installWithoutUser("b", code);
    EXPECT_FALSE(ProtectedFile::setPkg("b")) << code;
    EXPECT_THAT(recordedLog(), ElementsAre(noUser("b"))) << code;
  }
  expectNoBinding();
  EXPECT_THAT(accountCalls, IsEmpty());
}

TEST_F(PackageBindingTest, UnknownUserLeavesTheEarlierBinding) {
  bindA();
  installWithoutUser("b", 1);
  EXPECT_FALSE(ProtectedFile::setPkg("b"));
  expectBinding(1030, 100, "/var/packages/a/target");
}

TEST_F(PackageBindingTest, PackageWithoutUserOfItsOwnIsBoundWithZeroIdsAtFirst) {
  installWithoutUser("b", 55552);
  EXPECT_TRUE(ProtectedFile::setPkg("b"));
  expectBinding(0, 0, "/var/packages/b/target");
  EXPECT_THAT(recordedLog(), IsEmpty());
  EXPECT_THAT(accountCalls, IsEmpty());
}

TEST_F(PackageBindingTest, PackageWithoutUserOfItsOwnKeepsTheEarlierIds) {
  bindA();
  installWithoutUser("b", 0xD900);
  EXPECT_TRUE(ProtectedFile::setPkg("b"));
  expectBinding(1030, 100, "/var/packages/b/target");
  EXPECT_THAT(recordedLog(), IsEmpty());
}

TEST_F(PackageBindingTest, StaleErrorCodeDoesNotMatterToAPackageWithUser) {
  install("demo", "demo-user");
  addAccount("demo-user", 1026, 100);
  VLIBErrSet(0xD900);
  EXPECT_TRUE(ProtectedFile::setPkg("demo"));
  expectBinding(1026, 100, "/var/packages/demo/target");
}

TEST_F(PackageBindingTest, UserWithoutAccountIsLoggedAndBindsNothing) {
  install("demo", "nobody-knows");
  EXPECT_FALSE(ProtectedFile::setPkg("demo"));
  expectNoBinding();
  EXPECT_THAT(recordedLog(), ElementsAre(noUser("demo")));
}

TEST_F(PackageBindingTest, UserWithoutAccountFailsEvenAfterAStaleErrorCode) {
  bindA();
  install("demo", "nobody-knows");
  VLIBErrSet(0xD900);
  EXPECT_FALSE(ProtectedFile::setPkg("demo"));
  expectBinding(1030, 100, "/var/packages/a/target");
}

TEST_F(PackageBindingTest, NameIsUsedVerbatimInTheDirectory) {
  for (const char* const name : {"a/../b", "", " x ", "$pkg_dir", "/etc"}) {
    installWithoutUser(name, 0xD900);
    EXPECT_TRUE(ProtectedFile::setPkg(name));
    EXPECT_EQ(ProtectedFile::_pkginfo.targetDir, "/var/packages/" + std::string(name) + "/target");
  }
}

TEST_F(PackageBindingTest, EveryCallRepeatsAllLookups) {
  bindA();
  addAccount("user-a", 2000, 3000);
  EXPECT_TRUE(ProtectedFile::setPkg("a"));
  EXPECT_THAT(packageCalls(), ElementsAre("PMSCheckPackage a", "PMSGetPkgUserName a"));
  EXPECT_THAT(accountCalls, ElementsAre("user-a"));
  expectBinding(2000, 3000, "/var/packages/a/target");
}

TEST_F(PackageBindingTest, RemovedPackageFailsButStaysBound) {
  bindA();
  scriptedPackages().erase("a");
  EXPECT_FALSE(ProtectedFile::setPkg("a"));
  expectBinding(1030, 100, "/var/packages/a/target");
}

TEST_F(PackageBindingTest, LastSuccessfulCallWins) {
  bindA();
  install("b", "user-b");
  addAccount("user-b", 7, 8);
  EXPECT_TRUE(ProtectedFile::setPkg("b"));
  expectBinding(7, 8, "/var/packages/b/target");
}

TEST_F(PackageBindingTest, EntriesAreResolvedAgainstTheBinding) {
  bindA();
  ProtectedFile const entry("$pkg_dir/bin/x\t-\t$pkg_dir/y\tl\t-\t$pkg\t$pkg");
  EXPECT_EQ(entry._path, "/var/packages/a/target/bin/x");
  EXPECT_EQ(entry._hash, "/var/packages/a/target/y");
  EXPECT_EQ(entry._owner, "1030");
  EXPECT_EQ(entry._group, "100");
}

TEST_F(PackageBindingTest, EntriesStayResolvedAgainstTheLastBindingAfterAFailure) {
  bindA();
  EXPECT_FALSE(ProtectedFile::setPkg("gone"));
  ProtectedFile const entry("$pkg_dir\t-\t-\tf\t-\t$pkg\t$pkg_sys");
  EXPECT_EQ(entry._path, "/var/packages/a/target");
  EXPECT_EQ(entry._owner, "1030");
  EXPECT_EQ(entry._group, "1");
}

TEST_F(PackageBindingTest, MembersAreInOrder) {
  PkgInfo const info;
  EXPECT_EQ(static_cast<const void*>(&info), static_cast<const void*>(&info.isSet));
  EXPECT_LT(static_cast<const void*>(&info.isSet), static_cast<const void*>(&info.uid));
  EXPECT_LT(static_cast<const void*>(&info.uid), static_cast<const void*>(&info.gid));
  EXPECT_LT(static_cast<const void*>(&info.gid), static_cast<const void*>(&info.targetDir));
}

}  // namespace
