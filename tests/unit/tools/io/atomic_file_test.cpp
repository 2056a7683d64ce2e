// Files that appear complete or not at all, and what signals leave.

#include "io/atomic_file.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <ctime>
#include <filesystem>

#include "io/exit_status.h"
#include "io/regular_file.h"
#include "io/scratch_directory.h"
#include "run/interruption.h"
#include "support/files.h"
#include "support/temporary_directory.h"

using tool::AtomicFile;

namespace {

mode_t modeWhenSynced = 0;  // of the regular file that was synced last
bool failsForDirectories = false;

}  // namespace

// The parameter has a reserved name in the system header.
// NOLINTNEXTLINE(readability-inconsistent-declaration-parameter-name)
extern "C" int fsync(int descriptor) {
  struct stat status = {};
  if (fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode))
    modeWhenSynced = status.st_mode & 07777U;
  if (failsForDirectories && S_ISDIR(status.st_mode)) {
    errno = EIO;
    return -1;
  }
  return static_cast<int>(syscall(SYS_fsync, descriptor));
}

namespace {

class AtomicFileTest : public ::testing::Test {
 protected:
  std::size_t members() const {
    auto const begin = std::filesystem::directory_iterator(directory.path());
    return static_cast<std::size_t>(std::distance(begin, std::filesystem::directory_iterator()));
  }

  // The status of a child that does `work` and then receives the signal `number`.
  template <typename Work>
  static int endedBy(int number, Work work) {
    pid_t const child = fork();
    if (child == 0) {
      work();
      (void)raise(number);
      _exit(0);
    }
    int status = 0;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    return status;
  }

  TemporaryDirectory directory;
};

}  // namespace

TEST_F(AtomicFileTest, TheOldFileStaysUntilCommit) {
  writeFile(directory / "f", "old");
  AtomicFile file(directory / "f", 0644);
  file.write("new");
  file.finish();
  EXPECT_EQ(readFile(file.temporary()), "new");
  EXPECT_EQ(readFile(directory / "f"), "old");
  file.commit();
  EXPECT_EQ(readFile(directory / "f"), "new");
  EXPECT_EQ(members(), 1U);
}

TEST_F(AtomicFileTest, WithoutCommitNothingStays) {
  { AtomicFile(directory / "f", 0644).write("new"); }
  EXPECT_EQ(members(), 0U);
}

TEST_F(AtomicFileTest, TheModeHoldsWhateverTheUmask) {
  mode_t const before = umask(077);
  AtomicFile file(directory / "f", 0644);
  file.commit();
  umask(before);
  EXPECT_EQ(statusOf(directory / "f").st_mode & 07777U, 0644U);
}

TEST_F(AtomicFileTest, TheModeIsOnTheDiskBeforeTheName) {
  AtomicFile file(directory / "f", 0644);
  file.write("new");
  file.finish();
  file.commit();
  EXPECT_EQ(modeWhenSynced, 0644U);
}

TEST_F(AtomicFileTest, ADirectoryThatCannotBeSyncedHasTheNewFile) {
  writeFile(directory / "f", "old");
  AtomicFile file(directory / "f", 0644);
  file.write("new");
  std::string reason;
  failsForDirectories = true;
  try {
    file.commit();
  } catch (const tool::Failure& failure) {
    reason = failure.what();
  }
  failsForDirectories = false;
  EXPECT_EQ(reason, "cannot sync '" + (directory / "f") +
                        "': Input/output error; the new file is in place, but after a power cut "
                        "the old one may be back");
  EXPECT_EQ(readFile(directory / "f"), "new");
}

// The content may turn out not to be for everybody.
TEST_F(AtomicFileTest, NobodyElseReadsItBeforeItIsCommitted) {
  AtomicFile file(directory / "f", 0644);
  file.write("new");
  file.finish();
  for (const auto& member : std::filesystem::directory_iterator(directory.path()))
    EXPECT_EQ(statusOf(member.path()).st_mode & 07777U, 0600U);
  file.commit();
  EXPECT_EQ(statusOf(directory / "f").st_mode & 07777U, 0644U);
}

TEST_F(AtomicFileTest, ItStaysInItsDirectoryWhateverThePathLeadsTo) {
  makeDirectory(directory / "d");
  makeDirectory(directory / "other");
  AtomicFile file(directory / "d/f", 0644);
  file.write("new");
  std::filesystem::rename(directory / "d", directory / "moved");
  makeLink("other", directory / "d");
  file.commit();
  EXPECT_EQ(readFile(directory / "moved/f"), "new");
  EXPECT_TRUE(std::filesystem::is_empty(directory / "other"));
}

// The path of the temporary file leads to no other file, even if somebody exchanges its name.
TEST_F(AtomicFileTest, TheTemporaryPathLeadsToTheFileItself) {
  AtomicFile file(directory / "f", 0644);
  file.write("new");
  file.finish();
  for (const auto& member : std::filesystem::directory_iterator(directory.path()))
    writeFile((std::filesystem::remove(member.path()), member.path()), "exchanged");
  EXPECT_EQ(readFile(file.temporary()), "new");
}

class StaleFilesTest : public AtomicFileTest {
 protected:
  // A temporary file that was last written this many seconds ago.
  void leave(const std::string& name, time_t age) {
    writeFile(directory / name, "cut", 0600);
    timespec const then = {std::time(nullptr) - age, 0};
    timespec const times[] = {then, then};
    ASSERT_EQ(utimensat(AT_FDCWD, (directory / name).c_str(), times, 0), 0);
  }
  bool isThere(const std::string& name) const { return std::filesystem::exists(directory / name); }
  void writeAnother() { AtomicFile(directory / "f", 0644).commit(); }

  static constexpr time_t hour = 3600;
  static constexpr time_t days = 2 * 24 * hour;
};

TEST_F(StaleFilesTest, AreRemovedByTheNextWriterOnceTheyAreOld) {
  leave(".zemo-abcDEF", days);
  leave(".zemo-012345", 25 * hour);
  leave(".zemo-young1", 23 * hour);
  leave(".zemo-future", -days);
  writeAnother();
  EXPECT_FALSE(isThere(".zemo-abcDEF"));
  EXPECT_FALSE(isThere(".zemo-012345"));
  EXPECT_TRUE(isThere(".zemo-young1"));
  EXPECT_TRUE(isThere(".zemo-future"));
}

TEST_F(StaleFilesTest, StayWhileTheirWriterLives) {
  AtomicFile const writer(directory / "g", 0644);
  for (const auto& member : std::filesystem::directory_iterator(directory.path()))
    leave(member.path().filename(), days);
  leave(".zemo-abcdef", days);
  writeAnother();
  EXPECT_EQ(members(), 2U) << "the writer's and the new file";
  EXPECT_FALSE(isThere(".zemo-abcdef"));
}

TEST_F(StaleFilesTest, FilesOfOtherNamesOrOriginsStay) {
  for (const char* const name : {"zemo-abcdef", ".zemo-abcde", ".zemo-abcdefg", ".zemo-abc.ef",
                                 ".zemo-lock", ".zemo_abcdef"})
    leave(name, days);
  leave("target", days);
  makeLink("target", directory / ".zemo-linked");
  makeFifo(directory / ".zemo-afifo");
  makeDirectory(directory / ".zemo-direct");
  std::size_t const before = members();
  writeAnother();
  EXPECT_EQ(members(), before + 1);
}

TEST_F(AtomicFileTest, LongContentIsWhole) {
  std::string const content(1000000, 'x');
  AtomicFile file(directory / "f", 0644);
  for (std::size_t i = 0; i < content.size(); i += 1000)
    file.write(content.substr(i, 1000));
  file.commit();
  EXPECT_EQ(readFile(directory / "f"), content);
}

TEST_F(AtomicFileTest, TheLongestNameIsPossible) {
  std::string const name(255, 'n');
  AtomicFile(directory / name, 0644).commit();
  EXPECT_EQ(members(), 1U);
}

TEST_F(AtomicFileTest, FailuresNameTheTarget) {
  try {
    AtomicFile(directory / "none/f", 0644);
    FAIL();
  } catch (const tool::Failure& failure) {
    EXPECT_EQ(std::string(failure.what()),
              "cannot write '" + (directory / "none/f") + "': No such file or directory");
  }
  makeDirectory(directory / "d");
  AtomicFile file(directory / "d", 0644);
  EXPECT_THROW(file.commit(), tool::Failure);
}

TEST_F(AtomicFileTest, SignalsRemoveItAndStillEndTheProgram) {
  for (int const number : {SIGINT, SIGTERM, SIGHUP, SIGPIPE, SIGQUIT}) {
    int const status = endedBy(number, [this] {
      static AtomicFile const first(directory / "f", 0644);
      static AtomicFile const second(directory / "g", 0644);
    });
    EXPECT_TRUE(WIFSIGNALED(status));
    EXPECT_EQ(WTERMSIG(status), number);
    EXPECT_EQ(members(), 0U);
  }
}

// Like the alarm a second after an interruption.
TEST_F(AtomicFileTest, TheEndAfterAnInterruptionRemovesIt) {
  int const status = endedBy(SIGALRM, [this] {
    tool::endSoonAfterInterruption(8);
    static AtomicFile const file(directory / "f", 0644);
  });
  EXPECT_TRUE(WIFEXITED(status));
  EXPECT_EQ(WEXITSTATUS(status), 8);
  EXPECT_EQ(members(), 0U);
}

TEST_F(AtomicFileTest, IgnoredSignalsStayIgnored) {
  int const status = endedBy(SIGHUP, [this] {
    (void)std::signal(SIGHUP, SIG_IGN);
    static AtomicFile const file(directory / "f", 0644);
  });
  EXPECT_TRUE(WIFEXITED(status));
}

TEST_F(AtomicFileTest, SignalsAreAsBeforeWhenNothingIsLeft) {
  { AtomicFile const file(directory / "f", 0644); }
  struct sigaction action = {};
  ASSERT_EQ(sigaction(SIGTERM, nullptr, &action), 0);
  EXPECT_EQ(action.sa_handler, SIG_DFL);
}

TEST_F(AtomicFileTest, AScratchDirectoryIsRemovedWithItsContent) {
  std::string path;
  {
    tool::ScratchDirectory const scratch({});
    path = scratch.path();
    EXPECT_EQ(statusOf(path).st_mode & 07777U, 0700U);
    makeDirectory(scratch / "d");
    writeFile(scratch / "d/f", "");
  }
  EXPECT_FALSE(std::filesystem::exists(path));
}

TEST_F(AtomicFileTest, AScratchDirectoryIsRemovedWithoutADescriptorToReadIt) {
  std::string path;
  rlimit before = {};
  ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &before), 0);
  {
    tool::ScratchDirectory const scratch({"a", "b"});
    path = scratch.path();
    tool::writeWholeFile(scratch / "a", "content");
    rlimit const none = {0, before.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
  }
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &before), 0);
  EXPECT_FALSE(std::filesystem::exists(path));
}

TEST_F(AtomicFileTest, ASignalRemovesAScratchDirectory) {
  ASSERT_EQ(setenv("TMPDIR", directory.path().c_str(), 1), 0);
  int const status = endedBy(SIGTERM, [] {
    static tool::ScratchDirectory const scratch({"a", "b"});
    tool::writeWholeFile(scratch / "a", "content");
  });
  unsetenv("TMPDIR");
  EXPECT_TRUE(WIFSIGNALED(status));
  EXPECT_EQ(members(), 0U);
}

TEST_F(AtomicFileTest, OnlyRegularFilesAreRead) {
  writeFile(directory / "f", "content");
  EXPECT_EQ(tool::readWholeFile(directory / "f"), "content");
  makeFifo(directory / "fifo");
  EXPECT_THROW(tool::readWholeFile(directory / "fifo"), tool::Failure);
  EXPECT_THROW(tool::readWholeFile(directory.path()), tool::Failure);
  EXPECT_THROW(tool::readWholeFile(directory / "none"), tool::Failure);
}
