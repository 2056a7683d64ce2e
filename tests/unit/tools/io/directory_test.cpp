// Directories that are opened once, their locks, and users who could change them.

#include "io/directory.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>

#include "io/directory_lock.h"
#include "io/exit_status.h"
#include "support/files.h"
#include "support/temporary_directory.h"

using tool::Directory;
using tool::DirectoryLock;

namespace {

constexpr auto aMoment = std::chrono::milliseconds(50);

class DirectoryLockTest : public ::testing::Test {
 protected:
  // The exit status of a process that does `work`: 0, or 1 if that throws.
  template <typename Work>
  static int inProcess(Work work) {
    pid_t const child = fork();
    if (child == 0) {
      try {
        work();
      } catch (const std::exception&) {
        _exit(1);
      }
      _exit(0);
    }
    int status = 0;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    return WEXITSTATUS(status);
  }

  int tryToLock() const {
    return inProcess([this] { DirectoryLock const lock(Directory(directory.path()), aMoment); });
  }

  TemporaryDirectory directory;
  const std::string file = directory / ".zemo-lock";
};

class RequireOwnTest : public ::testing::Test {
 protected:
  static std::string refusal(const std::string& path) {
    try {
      tool::requireOwn(path);
      return "";
    } catch (const tool::Failure& failure) {
      EXPECT_EQ(failure.status(), tool::STATUS_NOT_LOADED);
      return failure.what();
    }
  }

  TemporaryDirectory directory;
};

}  // namespace

TEST_F(DirectoryLockTest, IsHeldByOneAndEndsWithIt) {
  {
    DirectoryLock const lock(Directory(directory.path()));
    EXPECT_EQ(tryToLock(), 1);
  }
  EXPECT_TRUE(std::filesystem::is_empty(directory.path()));
  EXPECT_EQ(tryToLock(), 0);
}

// Any user who can read a directory can hold a lock on it.
TEST_F(DirectoryLockTest, ALockOfTheDirectoryItselfBlocksNobody) {
  int const opened = open(directory.path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  ASSERT_EQ(flock(opened, LOCK_EX), 0);
  EXPECT_EQ(tryToLock(), 0);
  (void)close(opened);
}

TEST_F(DirectoryLockTest, NobodyElseCanOpenItsFile) {
  mode_t const before = umask(0);
  DirectoryLock const lock(Directory(directory.path()));
  umask(before);
  EXPECT_EQ(statusOf(file).st_mode & 07777U, 0600U);
}

TEST_F(DirectoryLockTest, LeftoversOfACrashDoNotMatter) {
  writeFile(file, "", 0600);
  EXPECT_EQ(tryToLock(), 0);
  EXPECT_TRUE(std::filesystem::is_empty(directory.path()));
}

TEST_F(DirectoryLockTest, WaitingEndsAndNamesTheLock) {
  DirectoryLock const lock(Directory(directory.path()));
  try {
    DirectoryLock const second(Directory(directory.path()), aMoment);
    FAIL();
  } catch (const tool::Failure& failure) {
    EXPECT_EQ(std::string(failure.what()),
              "another run holds the lock '" + file +
                  "'; nothing was done (remove the file if no other run exists)");
  }
}

// A lock of the new directory stays.
TEST_F(DirectoryLockTest, ADirectoryThatWasReplacedIsNotLocked) {
  std::string const name = directory / "set";
  makeDirectory(name);
  Directory const old(name);
  std::filesystem::rename(name, directory / "old");
  makeDirectory(name);
  writeFile(name + "/.zemo-lock", "", 0600);
  EXPECT_THROW(DirectoryLock{old}, Failure);
  EXPECT_TRUE(std::filesystem::exists(name + "/.zemo-lock"));
  EXPECT_TRUE(std::filesystem::is_empty(directory / "old"));
}

TEST_F(DirectoryLockTest, LinksAreNotFollowed) {
  writeFile(directory / "target", "", 0600);
  makeLink("target", file);
  EXPECT_EQ(tryToLock(), 1);
}

// Each process increments a number many times; no increment is lost.
TEST_F(DirectoryLockTest, ManyRunsLoseNothing) {
  constexpr int processes = 8;
  constexpr int rounds = 100;
  writeFile(directory / "number", "0");
  for (int i = 0; i < processes; ++i) {
    if (fork() != 0)
      continue;
    for (int round = 0; round < rounds; ++round) {
      DirectoryLock const lock(Directory(directory.path()));
      int const number = std::stoi(readFile(directory / "number"));
      writeFile(directory / "number", std::to_string(number + 1));
    }
    _exit(0);
  }
  while (wait(nullptr) > 0) {
  }
  EXPECT_EQ(readFile(directory / "number"), std::to_string(processes * rounds));
  std::cout << processes * rounds << " runs, "
            << processes * rounds - std::stoi(readFile(directory / "number")) << " lost\n";
}

TEST_F(RequireOwnTest, TheCallersOwnDirectoriesAreAccepted) {
  makeDirectory(directory / "a/b");
  EXPECT_EQ(refusal(directory / "a/b"), "");
  EXPECT_EQ(refusal(directory / "a/none/yet"), "");
}

TEST_F(RequireOwnTest, DirectoriesThatOthersCanWriteToAreRefused) {
  std::string const home = directory / "a/home";
  std::string const start = "'" + home + "' is not safe to use";
  makeDirectory(home);
  changeMode(home, 0777);
  EXPECT_EQ(refusal(home), start + " because it is writable by others");
  changeMode(home, 0775);
  EXPECT_EQ(refusal(home), start + " because it is writable by its group");
  changeMode(home, 0755);
  changeMode(directory / "a", 0777);
  EXPECT_EQ(refusal(home), start + ": '" + (directory / "a") + "' is writable by others");
  EXPECT_NE(refusal(directory / "a/none/yet"), "");
  changeMode(directory / "a", 01777);
  EXPECT_EQ(refusal(home), "") << "nobody else can take away what is in a sticky directory";
}

TEST_F(RequireOwnTest, LinksAreJudgedByWhereTheyLead) {
  makeDirectory(directory / "open/home");
  changeMode(directory / "open", 0777);
  makeDirectory(directory / "safe");
  makeLink("../open", directory / "safe/link");
  makeLink("../open/home", directory / "safe/home");
  EXPECT_NE(refusal(directory / "safe/link/home"), "");
  EXPECT_EQ(
      refusal(directory / "safe/home"),
      "'" + (directory / "safe/home") +
          "' is not safe to use because it is a symbolic link: give the path that it leads to");
}

TEST_F(RequireOwnTest, DirectoriesThatSomebodyElseOwnsAreRefused) {
  makeDirectory(directory / "a/home");
  if (chown((directory / "a").c_str(), 1234, 1234) != 0)
    GTEST_SKIP() << "cannot give a directory away";
  EXPECT_EQ(refusal(directory / "a"),
            "'" + (directory / "a") + "' is not safe to use because it belongs to user 1234");
  EXPECT_NE(refusal(directory / "a/home"), "");
}
