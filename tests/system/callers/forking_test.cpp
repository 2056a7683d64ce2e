// The whole library in callers whose other threads fork at the same time.

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <thread>

#include "support/caller.h"
#include "whole_library.h"

namespace {

using ForkingTest = WholeLibraryTest;

TEST_F(ForkingTest, AnotherThreadForksAllTheTime) {
  inCaller([] {
    std::atomic<bool> stop{false};
    std::atomic<long> forks{0};
    std::thread forking([&] {
      while (!stop) {
        pid_t const child = fork();
        // (If the thread exited, valgrind would report memory that another thread holds in a
        // register as lost.)
        if (child == 0)
          (void)raise(SIGKILL);
        int status = 0;
        ASSERT_EQ(waitpid(child, &status, 0), child);
        ASSERT_EQ(WTERMSIG(status), SIGKILL);
        ++forks;
      }
    });
    for (int i = 0; i < 5; ++i)
      EXPECT_EQ(selfCheckFiles(), Outcome::right);
    EXPECT_EQ(loadAndCheck(true), Outcome::right);
    stop = true;
    forking.join();
    EXPECT_GT(forks, 0);
  });
}

// The child inherits its parent's open files and memory, whatever the parent was just doing.
TEST_F(ForkingTest, ChildrenForkedMeanwhileCanCheck) {
  if (sanitized || underValgrind())
    GTEST_SKIP() << "this tool's own memory may be locked in such a child";
  inCaller([] {
    std::atomic<bool> stop{false};
    std::thread checking([&stop] {
      while (!stop)
        EXPECT_EQ(loadAndCheck(false), Outcome::right);
    });
    for (int i = 0; i < 10; ++i) {
      pid_t const child = fork();
      if (child == 0)
        _exit(selfCheckFiles() == Outcome::right && digest() == Outcome::right ? 7 : 1);
      int status = 0;
      ASSERT_EQ(waitpid(child, &status, 0), child);
      EXPECT_EQ(WEXITSTATUS(status), 7);
    }
    stop = true;
    checking.join();
  });
}

}  // namespace
