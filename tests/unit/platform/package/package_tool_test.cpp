#include <dlfcn.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>
#include <zemo/core.h>
#include <zemo/package.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "support/files.h"
#include "support/private_root.h"
#include "support/without_input.h"

namespace {

// How often, and with which error, the next calls of the library fail.
struct Fault {
  int error;
  int times;

  bool strikes() {
    if (times == 0)
      return false;
    --times;
    errno = error;
    return true;
  }
};
Fault openFault;
int openFlags = 0;  // of the last call
Fault readFault;
size_t mostBytes = SIZE_MAX;  // that one read returns
Fault statusFault;
time_t ahead = 0;  // of the clock; pauses end at once and advance it
bool pausesAreShort = true;

template <typename Function>
Function* next(const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

}  // namespace

// The library's calls come here, because this program is searched before libc.

int open(const char* path, int flags, ...) {
  static auto* const real = next<int(const char*, int, ...)>("open64");
  openFlags = flags;
  return openFault.strikes() ? -1 : real(path, flags, 0600);
}

ssize_t read(int fd, void* buffer, size_t size) {
  static auto* const real = next<ssize_t(int, void*, size_t)>("read");
  return readFault.strikes() ? -1 : real(fd, buffer, std::min(size, mostBytes));
}

int nanosleep(const timespec* pause, timespec* /*left*/) {
  ahead += 5;
  pausesAreShort = pausesAreShort && pause->tv_sec == 0;
  return 0;
}

int clock_gettime(clockid_t clock, timespec* now) {
  static auto* const real = next<int(clockid_t, timespec*)>("clock_gettime");
  int const result = real(clock, now);
  now->tv_sec += ahead;
  return result;
}

// Fortification replaces a read with this.
extern "C" ssize_t checkedRead(int fd, void* buffer, size_t size,
                               size_t /*room*/) __asm__("__read_chk");
ssize_t checkedRead(int fd, void* buffer, size_t size, size_t /*room*/) {
  return read(fd, buffer, size);
}

int fstat(int fd, struct stat* status) noexcept {
  static auto* const real = next<int(int, struct stat*)>("fstat64");
  return statusFault.strikes() ? -1 : real(fd, status);
}

namespace {

constexpr int untouched = 77;

class PackageToolTest : public PrivateRootTest {
 protected:
  static std::string at(const std::string& name) { return packagesDir + ("/" + name); }

  static void install(const std::string& package) { makeDirectory(at(package + "/target")); }

  // Writes `content` to the user file of the package "demo".
  static void writeUser(const std::string& content) {
    makeDirectory(at("demo"));
    writeFile(at("demo/user"), content);
  }

  static void expectUser(const std::string& user) {
    VLIBErrSet(untouched);
    EXPECT_EQ(ZEMOPackageTool::PMSGetPkgUserName("demo"), user);
    EXPECT_EQ(VLIBErrGet(), untouched);
  }

  static void expectNoUser(int code) {
    VLIBErrSet(untouched);
    EXPECT_EQ(ZEMOPackageTool::PMSGetPkgUserName("demo"), "");
    EXPECT_EQ(VLIBErrGet(), code);
  }

  // Expects `content` to be an unusable user file.
  static void expectBad(const std::string& content) {
    writeUser(content);
    expectNoUser(ZEMO_PACKAGE_BAD_USER);
  }
};

bool installed(const std::string& package) {
  return ZEMOPackageTool::PMSCheckPackage(package);
}

TEST_F(PackageToolTest, HasTheCodesThatCallersCompareWith) {
  EXPECT_EQ(ZEMO_PACKAGE_NO_USER, 0xD900);
  EXPECT_EQ(ZEMO_PACKAGE_NO_USER, 55552);
  EXPECT_EQ(ZEMO_PACKAGE_BAD_USER, 0xD901);
}

TEST_F(PackageToolTest, PackageWithTargetDirectoryIsInstalled) {
  install("demo");
  EXPECT_TRUE(installed("demo"));
}

TEST_F(PackageToolTest, PackageWithoutDirectoryIsNotInstalled) {
  EXPECT_FALSE(installed("demo"));
}

TEST_F(PackageToolTest, PackageWithoutTargetIsNotInstalled) {
  makeDirectory(at("demo"));
  EXPECT_FALSE(installed("demo"));
}

TEST_F(PackageToolTest, PackageWhoseTargetIsAFileIsNotInstalled) {
  makeDirectory(at("demo"));
  writeFile(at("demo/target"), "");
  EXPECT_FALSE(installed("demo"));
}

TEST_F(PackageToolTest, PackageWhoseTargetIsALinkToADirectoryIsInstalled) {
  makeDirectory(at("demo"));
  makeLink("/usr", at("demo/target"));
  EXPECT_TRUE(installed("demo"));
}

TEST_F(PackageToolTest, PackageWhoseTargetIsALinkToNothingIsNotInstalled) {
  makeDirectory(at("demo"));
  makeLink("missing", at("demo/target"));
  EXPECT_FALSE(installed("demo"));
}

TEST_F(PackageToolTest, PackageThatIsAFileIsNotInstalled) {
  writeFile(at("demo"), "");
  EXPECT_FALSE(installed("demo"));
}

TEST_F(PackageToolTest, PackageNameIsCaseSensitive) {
  install("demo");
  EXPECT_FALSE(installed("Demo"));
}

TEST_F(PackageToolTest, PackageNameIsTakenVerbatim) {
  install("b");
  makeDirectory(at("a"));
  EXPECT_TRUE(installed("a/../b"));
  EXPECT_FALSE(installed("a"));
  EXPECT_FALSE(installed("missing/../b"));
  EXPECT_FALSE(installed(" b"));
}

TEST_F(PackageToolTest, EmptyPackageNameNamesTheTargetNextToThePackages) {
  EXPECT_FALSE(installed(""));
  makeDirectory(at("target"));
  EXPECT_TRUE(installed(""));
}

TEST_F(PackageToolTest, PackageNameDoesNotEndAtANullCharacter) {
  install("demo");
  EXPECT_FALSE(installed(std::string("demo/target\0x", 13)));
  EXPECT_FALSE(installed(std::string("demo\0", 5)));
}

TEST_F(PackageToolTest, PackageNameWithANullCharacterHasNoUser) {
  install("demo");
  writeFile(std::string(packagesDir) + "/demo/user", "daemon\n");
  EXPECT_EQ(ZEMOPackageTool::PMSGetPkgUserName(std::string("demo/user\0x", 11)), "");
  EXPECT_EQ(VLIBErrGet(), ZEMO_PACKAGE_BAD_USER);
}

TEST_F(PackageToolTest, CheckingAPackageLeavesErrorCodeAlone) {
  install("demo");
  VLIBErrSet(untouched);
  EXPECT_TRUE(installed("demo"));
  EXPECT_EQ(VLIBErrGet(), untouched);
}

TEST_F(PackageToolTest, UserIsTheLineOfTheFile) {
  writeUser("demo-user\n");
  expectUser("demo-user");
}

TEST_F(PackageToolTest, UserNeedsNoLineFeed) {
  writeUser("demo-user");
  expectUser("demo-user");
}

TEST_F(PackageToolTest, UserIsFoundWithoutTarget) {
  writeUser("root\n");
  EXPECT_FALSE(installed("demo"));
  expectUser("root");
}

TEST_F(PackageToolTest, UserNeedNotBeAnAccount) {
  writeUser("surely-no-such-account\n");
  expectUser("surely-no-such-account");
}

TEST_F(PackageToolTest, UserMayHaveAnyOtherCharacter) {
  writeUser("-.$_Aa0@\\\xC3\xA4\n");
  expectUser("-.$_Aa0@\\\xC3\xA4");
}

TEST_F(PackageToolTest, UserMayBeOneCharacter) {
  writeUser("u");
  expectUser("u");
}

TEST_F(PackageToolTest, UserIsReadAgainAtEachCall) {
  writeUser("first\n");
  expectUser("first");
  writeUser("second\n");
  expectUser("second");
}

TEST_F(PackageToolTest, UserFileMayBeALink) {
  writeUser("demo-user\n");
  writeFile(at("elsewhere"), "other\n");
  remove(at("demo/user"));
  makeLink("../elsewhere", at("demo/user"));
  expectUser("other");
}

TEST_F(PackageToolTest, UserNameIsLookedUpVerbatim) {
  makeDirectory(at("a"));
  writeUser("demo-user\n");
  EXPECT_EQ(ZEMOPackageTool::PMSGetPkgUserName("a/../demo"), "demo-user");
}

TEST_F(PackageToolTest, MissingUserFileMeansNoUser) {
  install("demo");
  expectNoUser(ZEMO_PACKAGE_NO_USER);
}

TEST_F(PackageToolTest, MissingPackageHasNoUser) {
  expectNoUser(ZEMO_PACKAGE_NO_USER);
}

TEST_F(PackageToolTest, EmptyUserFileIsBad) {
  expectBad("");
}

TEST_F(PackageToolTest, EmptyLineIsBad) {
  expectBad("\n");
}

TEST_F(PackageToolTest, SecondLineIsBad) {
  expectBad("one\ntwo\n");
  expectBad("one\ntwo");
  expectBad("one\n\n");
  expectBad("\none\n");
}

TEST_F(PackageToolTest, BlanksAreBad) {
  for (const char* const content : {" user\n", "user \n", "two names\n", "user\t\n", " ", "\t"})
    expectBad(content);
}

TEST_F(PackageToolTest, CarriageReturnIsBad) {
  expectBad("user\r\n");
}

TEST_F(PackageToolTest, ControlCharactersAreBad) {
  for (int c = 1; c < 0x20; ++c)
    expectBad(std::string("us") + static_cast<char>(c) + "er");
  expectBad(
      "us\x7F"
      "er\n");
}

TEST_F(PackageToolTest, NullCharacterIsBad) {
  expectBad(std::string("user\0more\n", 10));
  expectBad(std::string("user\0", 5));
}

TEST_F(PackageToolTest, SeparatorsOfThePasswordFileAreBad) {
  expectBad("user:x\n");
  expectBad("../user\n");
}

TEST_F(PackageToolTest, LongestNameIsTaken) {
  std::string const longest(256, 'u');
  writeUser(longest + "\n");
  expectUser(longest);
  writeUser(longest);
  expectUser(longest);
}

TEST_F(PackageToolTest, LongerNameIsBad) {
  for (int const length : {257, 258, 259, 4096, 1000000}) {
    expectBad(std::string(length, 'u'));
    expectBad(std::string(length, 'u') + "\n");
  }
}

TEST_F(PackageToolTest, SecondLineAfterLongestNameIsBad) {
  expectBad(std::string(256, 'u') + "\nv");
  expectBad(std::string(256, 'u') + "\n\n");
}

TEST_F(PackageToolTest, DirectoryAsUserFileIsBad) {
  makeDirectory(at("demo/user"));
  expectNoUser(ZEMO_PACKAGE_BAD_USER);
}

TEST_F(PackageToolTest, FifoAsUserFileIsBadAndNotWaitedFor) {
  makeDirectory(at("demo"));
  makeFifo(at("demo/user"));
  alarm(60);  // its default action ends a program that hangs
  expectNoUser(ZEMO_PACKAGE_BAD_USER);
  alarm(0);
}

TEST_F(PackageToolTest, SocketAsUserFileIsBad) {
  makeDirectory(at("demo"));
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  std::string const path = at("demo/user");
  std::copy(path.begin(), path.end(), address.sun_path);
  int const server = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  ASSERT_EQ(bind(server, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
  expectNoUser(ZEMO_PACKAGE_BAD_USER);
  close(server);
}

TEST_F(PackageToolTest, DeviceAsUserFileIsBad) {
  makeDirectory(at("demo"));
  makeLink("/dev/null", at("demo/user"));
  expectNoUser(ZEMO_PACKAGE_BAD_USER);
  remove(at("demo/user"));
  makeLink("/dev/zero", at("demo/user"));
  expectNoUser(ZEMO_PACKAGE_BAD_USER);
}

// A terminal could be read like a file.
TEST_F(PackageToolTest, TerminalWithALineAsUserFileIsBad) {
  int const controller = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
  char terminal[64];
  if (controller < 0 || grantpt(controller) != 0 || unlockpt(controller) != 0 ||
      ptsname_r(controller, terminal, sizeof terminal) != 0)
    GTEST_SKIP() << "this machine has no terminals";
  int const kept = open(terminal, O_RDWR | O_NOCTTY | O_CLOEXEC);
  ASSERT_GE(kept, 0);
  ASSERT_EQ(write(controller, "user\n\x04", 6), 6);  // ends like a file
  makeDirectory(at("demo"));
  makeLink(terminal, at("demo/user"));
  expectNoUser(ZEMO_PACKAGE_BAD_USER);
  close(kept);
  close(controller);
}

TEST_F(PackageToolTest, LinkToItselfAsUserFileIsBad) {
  makeDirectory(at("demo"));
  makeLink("user", at("demo/user"));
  expectNoUser(ZEMO_PACKAGE_BAD_USER);
}

// Otherwise, a package's files would be checked against the ids of another package.
TEST_F(PackageToolTest, LinkToNothingAsUserFileIsBad) {
  makeDirectory(at("demo"));
  makeLink("nowhere", at("demo/user"));
  expectNoUser(ZEMO_PACKAGE_BAD_USER);
}

TEST_F(PackageToolTest, UnreadableUserFileIsBad) {
  writeUser("user\n");
  changeMode(at("demo/user"), 0);
  WithoutFileCapabilities const unable;
  expectNoUser(ZEMO_PACKAGE_BAD_USER);
}

TEST_F(PackageToolTest, InterruptedCallsAreRepeated) {
  writeUser("user\n");
  openFault = {EINTR, 3};
  readFault = {EINTR, 3};
  expectUser("user");
  EXPECT_EQ(openFault.times, 0);
  EXPECT_EQ(readFault.times, 0);
}

// For example a file server's lease, which it gives back.
TEST_F(PackageToolTest, LeaseOnTheUserFileIsWaitedFor) {
  writeUser("user\n");
  openFault = {EWOULDBLOCK, 3};
  expectUser("user");
  EXPECT_EQ(openFault.times, 0);
}

TEST_F(PackageToolTest, LeaseThatIsTakenAgainAndAgainIsWaitedForUpToAMinute) {
  writeUser("user\n");
  openFault = {EWOULDBLOCK, 1000};
  expectNoUser(ZEMO_PACKAGE_BAD_USER);
  EXPECT_EQ(openFault.times, 1000 - 13);  // pauses of five seconds between the attempts
  EXPECT_TRUE(pausesAreShort) << "most leases end soon";
  openFault = {};
}

TEST_F(PackageToolTest, OnlyALeaseOnAFileThatIsThereIsWaitedFor) {
  for (bool const exists : {false, true}) {
    if (exists)
      makeDirectory(at("demo/user"));
    openFault = {EWOULDBLOCK, 1000};
    expectNoUser(ZEMO_PACKAGE_BAD_USER);
    EXPECT_EQ(openFault.times, 999);
    openFault = {};
  }
}

TEST_F(PackageToolTest, UserFileThatCannotBeReadIsBad) {
  writeUser("user\n");
  int const before = openDescriptors();
  readFault = {EIO, 1};
  expectNoUser(ZEMO_PACKAGE_BAD_USER);
  statusFault = {EIO, 1};
  expectNoUser(ZEMO_PACKAGE_BAD_USER);
  openFault = {EMFILE, 1};
  expectNoUser(ZEMO_PACKAGE_BAD_USER);
  EXPECT_EQ(openDescriptors(), before);
  expectUser("user");
}

TEST_F(PackageToolTest, ShortReadsDoNotEndTheName) {
  writeUser("user\n");
  for (mostBytes = 1; mostBytes < 6; ++mostBytes)
    expectUser("user");
  writeUser(std::string(1000, 'u'));  // does not fit into the buffer
  for (mostBytes = 100; mostBytes < 300; ++mostBytes)
    expectNoUser(ZEMO_PACKAGE_BAD_USER);
  mostBytes = SIZE_MAX;
}

// Another thread may run a program meanwhile.
TEST_F(PackageToolTest, UserFileIsClosedOnExecution) {
  writeUser("user\n");
  expectUser("user");
  EXPECT_NE(openFlags & O_CLOEXEC, 0);
}

// A session leader without a terminal would get it, and with it signals.
TEST_F(PackageToolTest, TerminalAsUserFileDoesNotBecomeTheCallersOwn) {
  writeUser("user\n");
  expectUser("user");
  EXPECT_NE(openFlags & O_NOCTTY, 0);
}

TEST_F(PackageToolTest, DescriptorZeroIsOneLikeAnyOther) {
  writeUser("user\n");
  WithoutInput const without;
  int const before = openDescriptors();
  errno = EINTR;
  expectUser("user");
  EXPECT_TRUE(WithoutInput::isFree());
  EXPECT_EQ(openDescriptors(), before);
}

TEST_F(PackageToolTest, PackageNameThatIsTooLongHasABadUser) {
  VLIBErrSet(untouched);
  EXPECT_EQ(ZEMOPackageTool::PMSGetPkgUserName(std::string(5000, 'x')), "");
  EXPECT_EQ(VLIBErrGet(), ZEMO_PACKAGE_BAD_USER);
}

TEST_F(PackageToolTest, NoDescriptorStaysOpen) {
  int const before = openDescriptors();
  writeUser("user\n");
  expectUser("user");
  expectBad("two names\n");
  remove(at("demo/user"));
  makeFifo(at("demo/user"));
  expectNoUser(ZEMO_PACKAGE_BAD_USER);
  EXPECT_EQ(openDescriptors(), before);
}

}  // namespace
