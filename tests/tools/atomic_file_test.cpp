#include "common/atomic_file.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>

#include "common/failure.h"
#include "support/files.h"
#include "support/temporary_directory.h"

using tool::AtomicFile;

class AtomicFileTest : public ::testing::Test {
 protected:
  std::ptrdiff_t members() const {
    return std::distance(std::filesystem::directory_iterator(directory.path()), {});
  }

  TemporaryDirectory directory;
  std::string path = directory / "target";
};

TEST_F(AtomicFileTest, TakesTheTargetsPlaceOnlyByCommit) {
  writeFile(path, "old", 0600);
  AtomicFile file(path, 0644);
  file.write("ne");
  file.write("w");
  EXPECT_EQ(readFile(path), "old");
  file.commit();
  EXPECT_EQ(readFile(path), "new");
  EXPECT_EQ(statusOf(path).st_mode & 07777U, 0644U);
  EXPECT_EQ(members(), 1);
}

TEST_F(AtomicFileTest, CanBeReadWhenFinished) {
  std::string const long_text(200'000, 'x');
  AtomicFile file(path, 0600);
  file.write(long_text);
  file.write("end");
  file.finish();
  EXPECT_EQ(readFile(file.temporary()), long_text + "end");
  EXPECT_FALSE(std::filesystem::exists(path));
  file.commit();
  EXPECT_EQ(readFile(path), long_text + "end");
}

TEST_F(AtomicFileTest, WithoutCommitNothingIsLeft) {
  { AtomicFile(path, 0644).write("new"); }
  EXPECT_EQ(members(), 0);
}

TEST_F(AtomicFileTest, LinkIsReplacedAndNotFollowed) {
  writeFile(directory / "other", "other");
  makeLink("other", path);
  AtomicFile file(path, 0644);
  file.write("new");
  file.commit();
  EXPECT_TRUE(S_ISREG(statusOf(path).st_mode));
  EXPECT_EQ(readFile(directory / "other"), "other");
}

TEST_F(AtomicFileTest, LongestNameCanBeWritten) {
  path = directory / std::string(255, 'n');
  AtomicFile file(path, 0644);
  file.commit();
  EXPECT_EQ(members(), 1);
}

TEST_F(AtomicFileTest, FailureNamesTheTargetAndTheReason) {
  path = directory / "none/target";
  try {
    AtomicFile const file(path, 0644);
    ADD_FAILURE();
  } catch (const tool::Failure& failure) {
    EXPECT_EQ(failure.what(), "cannot write '" + path + "': No such file or directory");
    EXPECT_EQ(failure.status(), tool::STATUS_NOT_LOADED);
  }
}

TEST_F(AtomicFileTest, TargetThatCannotBeReplacedLeavesNothingBehind) {
  makeDirectory(path);
  {
    AtomicFile file(path, 0644);
    EXPECT_THROW(file.commit(), tool::Failure);
  }
  EXPECT_EQ(members(), 1);
}

TEST_F(AtomicFileTest, SignalRemovesAllThatAreOpenAndEndsTheProgram) {
  pid_t const child = fork();
  if (child == 0) {
    AtomicFile const one(path, 0644);
    AtomicFile const two(directory / "second", 0644);
    { AtomicFile const gone(directory / "third", 0644); }
    (void)raise(SIGTERM);
    _exit(0);
  }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  ASSERT_TRUE(WIFSIGNALED(status));
  EXPECT_EQ(WTERMSIG(status), SIGTERM);
  EXPECT_EQ(members(), 0);
}

TEST_F(AtomicFileTest, SignalsAreAsBeforeWhenAllAreGone) {
  { AtomicFile const file(path, 0644); }
  struct sigaction action = {};
  ASSERT_EQ(sigaction(SIGTERM, nullptr, &action), 0);
  EXPECT_EQ(action.sa_handler, SIG_DFL);
}
