// The content of files, links and devices.

#include <fcntl.h>
#include <sys/sysmacros.h>

#include "content_check_fixture.h"
#include "support/bound_socket.h"
#include "support/grouped_digits.h"

namespace {

using namespace ZEMO::SELF_CHECK;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

class FileCheckTest : public ContentCheckTest {
 protected:
  void expectHashFailureLogged() const {
    EXPECT_THAT(
        recordedLog(),
        ElementsAre(logged("protected_file", 365, "Open file [%s] failed", path),
                    logged("protected_file", 288, "Calculate hash of file [%s] failed", path)));
  }

  void expectReadLinkFailureLogged() const {
    EXPECT_THAT(recordedLog(),
                ElementsAre(logged("protected_file", 293, "readlink [%s] failed", path)));
  }
};

// Regular files.

TEST_F(FileCheckTest, FileWithTheDigestIsIntact) {
  writeFile(path, "content");
  EXPECT_THAT(check(contentDigest), IsEmpty());
}

TEST_F(FileCheckTest, EmptyFileIsIntactWithTheDigestOfNothing) {
  writeFile(path, "");
  EXPECT_THAT(check("da39a3ee5e6b4b0d3255bfef95601890afd80709"), IsEmpty());
}

TEST_F(FileCheckTest, ChangedFileIsRecordedWithBothDigests) {
  writeFile(path, "content");
  std::string const other(40, '0');
  EXPECT_THAT(check(other), ElementsAre(hashError(other, contentDigest)));
}

TEST_F(FileCheckTest, DigestIsComparedAsAWholeText) {
  writeFile(path, "content");
  std::string const digest = contentDigest;
  for (const std::string& text : {digest + " ", " " + digest, digest.substr(0, 39), digest + "0",
                                  std::string(), std::string("FIXED"), std::string("--")})
    EXPECT_THAT(check(text), ElementsAre(hashError(text, digest)));
}

TEST_F(FileCheckTest, UpperCaseDigestNeverMatches) {
  writeFile(path, "content");
  std::string const upper = "040F06FD774092478D450774F5BA30C5DA78ACC8";
  EXPECT_THAT(check(upper), ElementsAre(hashError(upper, contentDigest)));
}

TEST_F(FileCheckTest, RecordIsFilledCompletely) {
  writeFile(path, "content");
  ProtectedFile entry(entryLine(path, "-", "other", "-", "-", "-", "-"));
  bool changed = false;
  EXPECT_FALSE(entry.checkHash(statusOf(path), changed));
  ASSERT_EQ(entry._errors.size(), 1U);
  EXPECT_EQ(entry._errors[0]->_error, CHECK_ERROR_HASH);
  EXPECT_EQ(entry._errors[0]->_filePath, path);
  EXPECT_EQ(entry._errors[0]->_expected, "other");
  EXPECT_EQ(entry._errors[0]->_actual, contentDigest);
}

TEST_F(FileCheckTest, ChangedIsNeverCleared) {
  writeFile(path, "content");
  ProtectedFile entry(entryLine(path, "-", contentDigest, "-", "-", "-", "-"));
  bool changed = true;
  EXPECT_FALSE(entry.checkHash(statusOf(path), changed));
  EXPECT_TRUE(changed);
}

TEST_F(FileCheckTest, UncheckedFileIsNotOpened) {
  writeFile(path, "content", 0);
  WithoutFileCapabilities const ordinary;
  EXPECT_THAT(check("-"), IsEmpty());
}

TEST_F(FileCheckTest, UnreadableFileFails) {
  writeFile(path, "content", 0);
  WithoutFileCapabilities const ordinary;
  checkFails(contentDigest, statusOf(path));
  expectHashFailureLogged();
}

TEST_F(FileCheckTest, FailureKeepsChangedAndEarlierErrors) {
  writeFile(path, "content");
  struct stat const st = statusOf(path);
  ProtectedFile entry(entryLine(path, "-", "other", "-", "-", "-", "-"));
  bool changed = false;
  EXPECT_FALSE(entry.checkHash(st, changed));
  remove(path);
  EXPECT_TRUE(entry.checkHash(st, changed));
  EXPECT_TRUE(changed);
  EXPECT_THAT(errorsOf(entry), ElementsAre(hashError("other", contentDigest)));
}

// Regular files that have been replaced by the time they are opened.

class ReplacedFileTest : public FileCheckTest {
 protected:
  ReplacedFileTest() {
    writeFile(path, "content");
    before = statusOf(path);
    remove(path);
  }

  struct stat before = {};
};

TEST_F(ReplacedFileTest, VanishedFileFails) {
  checkFails(contentDigest, before);
  expectHashFailureLogged();
}

TEST_F(ReplacedFileTest, FifoFailsWithoutWaitingForAWriter) {
  makeFifo(path);
  checkFails(contentDigest, before);
  expectHashFailureLogged();
}

TEST_F(ReplacedFileTest, FifoWithAWriterFailsAndIsNotRead) {
  makeFifo(path);
  int const fifo = open(path.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC);
  ASSERT_EQ(write(fifo, "content", 7), 7);
  checkFails(contentDigest, before);
  expectHashFailureLogged();
  char text[8];
  EXPECT_EQ(read(fifo, text, sizeof text), 7);
  (void)close(fifo);
}

TEST_F(ReplacedFileTest, LinkFailsAndIsNotFollowed) {
  writeFile(in("elsewhere"), "content");
  makeLink(in("elsewhere"), path);
  checkFails(contentDigest, before);
  expectHashFailureLogged();
}

TEST_F(ReplacedFileTest, LinkToAFifoFailsWithoutWaiting) {
  makeFifo(in("fifo"));
  makeLink(in("fifo"), path);
  checkFails(contentDigest, before);
  expectHashFailureLogged();
}

TEST_F(ReplacedFileTest, DirectoryFails) {
  makeDirectory(path);
  checkFails(contentDigest, before);
  expectHashFailureLogged();
}

TEST_F(ReplacedFileTest, SocketFails) {
  bindSocket(path);
  checkFails(contentDigest, before);
  expectHashFailureLogged();
}

TEST_F(ReplacedFileTest, OtherRegularFileIsCompared) {
  writeFile(path, "content");
  EXPECT_THAT(check(contentDigest, before), IsEmpty());
}

// Symbolic links.

TEST_F(FileCheckTest, LinkWithTheTargetIsIntactThoughItDangles) {
  makeLink("/nowhere/at/all", path);
  EXPECT_THAT(check("/nowhere/at/all"), IsEmpty());
}

TEST_F(FileCheckTest, LinkWithAnotherTargetIsRecorded) {
  makeLink("/nowhere/at/all", path);
  EXPECT_THAT(check("/nowhere"), ElementsAre(hashError("/nowhere", "/nowhere/at/all")));
  EXPECT_THAT(check(""), ElementsAre(hashError("", "/nowhere/at/all")));
}

TEST_F(FileCheckTest, TargetOfLinkIsNeitherDigestedNorFollowed) {
  writeFile(in("file"), "content");
  makeLink(in("file"), path);
  EXPECT_THAT(check(contentDigest), ElementsAre(hashError(contentDigest, in("file"))));
}

TEST_F(FileCheckTest, UncheckedLinkIsNotCompared) {
  makeLink("/nowhere", path);
  EXPECT_THAT(check("-"), IsEmpty());
}

TEST_F(FileCheckTest, TargetOfAtMost1023BytesIsComparedWhole) {
  for (size_t const length : {1U, 1022U, 1023U}) {
    std::string const target(length, 't');
    makeLink(target, path);
    EXPECT_THAT(check(target), IsEmpty());
    EXPECT_THAT(check(target + "t"), ElementsAre(hashError(target + "t", target)));
    remove(path);
  }
}

TEST_F(FileCheckTest, LongerTargetIsCutAt1023Bytes) {
  for (size_t const length : {1024U, 1025U, 2000U}) {
    std::string const target(length, 't');
    makeLink(target, path);
    EXPECT_THAT(check(target.substr(0, 1023)), IsEmpty());
    EXPECT_THAT(check(target), ElementsAre(hashError(target, target.substr(0, 1023))));
    remove(path);
  }
}

TEST_F(FileCheckTest, VanishedLinkFails) {
  makeLink("/nowhere", path);
  struct stat const before = statusOf(path);
  remove(path);
  checkFails("/nowhere", before);
  expectReadLinkFailureLogged();
}

TEST_F(FileCheckTest, LinkThatBecameAFileFails) {
  makeLink("/nowhere", path);
  struct stat const before = statusOf(path);
  remove(path);
  writeFile(path, "/nowhere");
  checkFails("/nowhere", before);
  expectReadLinkFailureLogged();
}

// Devices, and formats without content.

TEST_F(FileCheckTest, CharacterDeviceHasItsNumbers) {
  path = "/dev/null";
  EXPECT_THAT(check("1,3"), IsEmpty());
  EXPECT_THAT(check("1,5"), ElementsAre(hashError("1,5", "1,3")));
}

TEST_F(FileCheckTest, CharacterDeviceIsNotOpened) {
  EXPECT_THAT(check("5,64", statusWith(S_IFCHR, makedev(5, 64))), IsEmpty());
}

TEST_F(FileCheckTest, DeviceNumbersAreComparedAsAWholeText) {
  for (const char* const text : {"1, 3", "01,3", "1:3", "1,30", "1", "3,1", ""})
    EXPECT_THAT(check(text, statusWith(S_IFCHR, makedev(1, 3))),
                ElementsAre(hashError(text, "1,3")));
}

TEST_F(FileCheckTest, LargeDeviceNumbersAreUnsigned) {
  EXPECT_THAT(
      check("4294967295,4294967294", statusWith(S_IFCHR, makedev(4294967295U, 4294967294U))),
      IsEmpty());
}

TEST_F(FileCheckTest, CallersLocaleDoesNotGroupDeviceNumbers) {
  GroupedDigits const locale;
  EXPECT_THAT(check("0", statusWith(S_IFCHR, makedev(4095, 1048575))),
              ElementsAre(hashError("0", "4095,1048575")));
}

TEST_F(FileCheckTest, UncheckedDeviceIsNotCompared) {
  EXPECT_THAT(check("-", statusWith(S_IFCHR, makedev(1, 3))), IsEmpty());
}

TEST_F(FileCheckTest, BlockDeviceIsNeverCompared) {
  for (const char* const text : {"8,0", "1,3", "", "FIXED"})
    EXPECT_THAT(check(text, statusWith(S_IFBLK, makedev(8, 1))), IsEmpty()) << text;
}

TEST_F(FileCheckTest, FifoSocketAndUnknownFormatAreNeverCompared) {
  for (mode_t const format : {S_IFIFO, S_IFSOCK, 0, S_IFMT})
    EXPECT_THAT(check("any", statusWith(format)), IsEmpty()) << std::oct << format;
}

TEST_F(FileCheckTest, FifoIsNotOpened) {
  TimeLimit const limit;
  makeFifo(path);
  EXPECT_THAT(check("any"), IsEmpty());
}

}  // namespace
