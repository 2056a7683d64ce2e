// VLIBExecl in callers that have children of their own, or that reap every child they can.

#include <gtest/gtest.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>
#include <zemo/core.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <thread>
#include <vector>

#include "support/caller.h"
#include "support/files.h"
#include "support/temporary_directory.h"
#include "support/witness.h"

namespace {

constexpr int discard = VLIB_EXEC_STDIN_NULL | VLIB_EXEC_STDOUT_NULL | VLIB_EXEC_STDERR_NULL;

// Runs succeeding and failing programs in turn; every result must be right.
void expectRightResults(int rounds) {
  for (int i = 0; i < rounds; ++i) {
    ASSERT_EQ(shell(discard, "exit 0"), 0) << i;
    ASSERT_LT(shell(discard, "exit 1"), 0) << i;
  }
  EXPECT_LT(execute("/missing", VLIB_EXEC_WAIT), 0);
  EXPECT_LT(shell(discard, "kill -KILL $$"), 0);
  if (!underValgrind()) {
    EXPECT_EQ(execute("/bin/true", 0), 0);
    EXPECT_LT(execute("/missing", 0), 0);
  }
}

std::atomic<int> handlerCalls{0};

void count(int /*signal*/) {
  ++handlerCalls;
}

void reapAll(int /*signal*/) {
  int const error = errno;
  while (waitpid(-1, nullptr, WNOHANG) > 0) {
  }
  errno = error;
}

void handle(int signal, void (*handler)(int), int flags = 0) {
  struct sigaction action = {};
  action.sa_handler = handler;
  action.sa_flags = flags;
  ASSERT_EQ(sigaction(signal, &action, nullptr), 0);
}

void expectNoChild() {
  EXPECT_EQ(waitpid(-1, nullptr, WNOHANG | __WALL), -1);
  EXPECT_EQ(errno, ECHILD);
}

// Waits in a loop, with any call, for any child.
class Reaper {
 public:
  explicit Reaper(int options)
      : _thread([this, options] {
          while (!_stop) {
            if (waitpid(-1, nullptr, options) < 0)
              std::this_thread::yield();
          }
        }) {}
  ~Reaper() {
    _stop = true;
    _thread.join();
  }
  Reaper(const Reaper&) = delete;
  Reaper& operator=(const Reaper&) = delete;

 private:
  std::atomic<bool> _stop{false};
  std::thread _thread;
};

// A child that ends on request, with exit status 7.
class OtherChild {
 public:
  OtherChild() {
    EXPECT_EQ(pipe(_pipe), 0);
    _process = fork();
    if (_process == 0) {
      char byte = 0;
      (void)close(_pipe[1]);
      (void)!read(_pipe[0], &byte, 1);
      _exit(7);
    }
    (void)close(_pipe[0]);
  }
  ~OtherChild() { (void)close(_pipe[1]); }
  OtherChild(const OtherChild&) = delete;
  OtherChild& operator=(const OtherChild&) = delete;

  // Returns when the child is a zombie.
  void end() {
    (void)!write(_pipe[1], "", 1);
    siginfo_t info = {};
    while (waitid(P_PID, static_cast<id_t>(_process), &info, WEXITED | WNOWAIT) < 0 &&
           errno == EINTR) {
    }
  }

  void expectWaitable() const {
    int status = 0;
    ASSERT_EQ(waitpid(_process, &status, 0), _process);
    EXPECT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 7);
  }

 private:
  int _pipe[2] = {-1, -1};
  pid_t _process = -1;
};

TEST(ExecCallers, MayIgnoreSigchld) {
  inCaller([] {
    handle(SIGCHLD, SIG_IGN);
    expectRightResults(10);
  });
}

TEST(ExecCallers, MayHaveChildrenReapedByTheKernel) {
  inCaller([] {
    handle(SIGCHLD, SIG_DFL, SA_NOCLDWAIT);
    expectRightResults(10);
    handle(SIGCHLD, count, SA_NOCLDWAIT);
    expectRightResults(10);
  });
}

TEST(ExecCallers, MayBlockSigchld) {
  inCaller([] {
    sigset_t mask;
    sigemptyset(&mask);
    sigaddset(&mask, SIGCHLD);
    sigprocmask(SIG_BLOCK, &mask, nullptr);
    expectRightResults(10);
    sigpending(&mask);
    EXPECT_FALSE(sigismember(&mask, SIGCHLD));
  });
}

TEST(ExecCallers, MayReapEveryChildInAHandler) {
  inCaller([] {
    handle(SIGCHLD, reapAll, SA_RESTART);
    expectRightResults(25);
    handle(SIGCHLD, reapAll);
    expectRightResults(25);
  });
}

TEST(ExecCallers, MayReapEveryChildInAThread) {
  inCaller([] {
    Reaper const reaper(0);
    expectRightResults(100);
  });
}

// Such a wait call can take the child for which the call under test waits.
TEST(ExecCallers, MayReapChildrenOfEveryKindInAThread) {
  if (underValgrind())
    GTEST_SKIP() << "needs memory that is shared with the child";
  inCaller([] {
    Reaper const reaper(__WALL);
    expectRightResults(100);
  });
}

TEST(ExecCallers, GetNoSigchld) {
  inCaller([] {
    handle(SIGCHLD, count);
    expectRightResults(10);
    EXPECT_EQ(shell(discard, "kill -STOP $$; exit 0"), 0);
    EXPECT_EQ(handlerCalls, 0);
  });
}

TEST(ExecCallers, KeepTheirSigchldHandler) {
  inCaller([] {
    handle(SIGCHLD, count, SA_NOCLDSTOP);
    expectRightResults(1);
    struct sigaction action = {};
    ASSERT_EQ(sigaction(SIGCHLD, nullptr, &action), 0);
    EXPECT_EQ(action.sa_handler, count);
    EXPECT_NE(action.sa_flags & SA_NOCLDSTOP, 0);
  });
}

TEST(ExecCallers, KeepTheirOtherChildren) {
  inCaller([] {
    handle(SIGCHLD, count);
    OtherChild living;
    OtherChild dead;
    dead.end();
    EXPECT_EQ(handlerCalls, 1);
    expectRightResults(10);
    EXPECT_EQ(handlerCalls, 1);
    dead.expectWaitable();
    living.end();
    EXPECT_EQ(handlerCalls, 2);
    living.expectWaitable();
    expectNoChild();
  });
}

TEST(ExecCallers, LearnOfAnotherChildThatEndsMeanwhile) {
  if (underValgrind())
    GTEST_SKIP() << "this tool runs no other thread during the call";
  TemporaryDirectory const directory;
  std::string const started = directory / "started";
  std::string const ended = directory / "ended";
  inCaller([&] {
    handle(SIGCHLD, count);
    OtherChild other;
    std::thread ender([&] {
      sigset_t all;
      sigfillset(&all);
      pthread_sigmask(SIG_SETMASK, &all, nullptr);
      EXPECT_TRUE(appears(started));
      other.end();
      writeFile(ended, "");
    });
    EXPECT_EQ(shell(discard,
                    ": >\"$0\"; for i in $(seq 600); do [ -e \"$1\" ] && exit 0;"
                    "sleep 0.1; done; exit 1",
                    started.c_str(), ended.c_str()),
              0);
    EXPECT_EQ(handlerCalls, 1);
    ender.join();
    other.expectWaitable();
  });
}

TEST(ExecCallers, HaveNoChildLeft) {
  inCaller([] {
    expectRightResults(10);
    expectNoChild();
    EXPECT_EQ(readFile("/proc/thread-self/children"), "");
  });
}

TEST(ExecCallers, ThatAdoptOrphansGetNoneOfAProgramThatEnded) {
  inCaller([] {
    ASSERT_EQ(prctl(PR_SET_CHILD_SUBREAPER, 1, 0, 0, 0), 0);
    handle(SIGCHLD, count);
    for (int i = 0; i < 10; ++i) {
      EXPECT_EQ(shell(discard, "exit 0"), 0);
      EXPECT_LT(shell(discard, "exit 1"), 0);
      EXPECT_LT(execute("/missing", VLIB_EXEC_WAIT), 0);
    }
    EXPECT_EQ(handlerCalls, 0);
    expectNoChild();
  });
}

TEST(ExecCallers, ThatAdoptOrphansHaveToReapAProgramThatWasNotWaitedFor) {
  if (underValgrind())
    GTEST_SKIP() << "needs memory that is shared with the child";
  inCaller([] {
    ASSERT_EQ(prctl(PR_SET_CHILD_SUBREAPER, 1, 0, 0, 0), 0);
    ASSERT_EQ(execute("/bin/sh", discard, "-c", "exit 7"), 0);
    int status = 0;
    ASSERT_GT(waitpid(-1, &status, 0), 0);
    EXPECT_EQ(WEXITSTATUS(status), 7);
    ASSERT_LT(execute("/missing", discard), 0);
    ASSERT_GT(waitpid(-1, &status, 0), 0);
    EXPECT_EQ(WEXITSTATUS(status), 127);  // as in a shell
    expectNoChild();
  });
}

TEST(ExecCallers, MayBeManyThreads) {
  inCaller([] {
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i) {
      threads.emplace_back([i] {
        for (int round = 0; round < 10; ++round) {
          const char* const status = (i + round) % 2 == 0 ? "0" : "1";
          VLIBErrSet(VLIB_ERR_NONE);
          EXPECT_EQ(shell(discard | VLIB_EXEC_ISOLATE, "exit $0", status) == 0, *status == '0');
          EXPECT_EQ(VLIBErrGet(), *status == '0' ? VLIB_ERR_NONE : VLIB_ERR_PROGRAM_FAILED);
        }
      });
    }
    for (std::thread& thread : threads)
      thread.join();
    expectNoChild();
  });
}

// A call that had to wait for another call's program would need the time of both.
TEST(ExecCallers, RunProgramsInThreadsAtTheSameTime) {
  if (underValgrind())
    GTEST_SKIP() << "this tool runs no other thread during the call";
  TemporaryDirectory const directory;
  std::string const here = directory.path();
  inCaller([&] {
    constexpr char meet[] = R"(cd "$0" && : >"$1" && for i in $(seq 600); do
        [ -e "$2" ] && exit 0; sleep 0.1; done; exit 1)";
    std::thread other([&] { EXPECT_EQ(shell(discard, meet, here.c_str(), "a", "b"), 0); });
    EXPECT_EQ(shell(discard, meet, here.c_str(), "b", "a"), 0);
    other.join();
  });
}

}  // namespace
