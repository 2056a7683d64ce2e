// VLIBExecl and signals: which of the caller's settings a program inherits, and when the caller
// gets its signals.

#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>
#include <zemo/core.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <string>
#include <thread>

#include "support/caller.h"
#include "support/files.h"
#include "support/temporary_directory.h"
#include "support/witness.h"

namespace {

constexpr int discard = VLIB_EXEC_STDIN_NULL | VLIB_EXEC_STDOUT_NULL | VLIB_EXEC_STDERR_NULL;
constexpr int isolate = VLIB_EXEC_ISOLATE | discard;

std::atomic<int> handlerCalls{0};
std::atomic<int> foreignCalls{0};  // of a handler in a process other than its own
pid_t self = 0;

void count(int /*signal*/) {
  if (syscall(SYS_getpid) == self)
    ++handlerCalls;
  else
    ++foreignCalls;
}

void handle(int signal, void (*handler)(int)) {
  self = getpid();
  struct sigaction action = {};
  action.sa_handler = handler;
  (void)sigaction(signal, &action, nullptr);  // SIGKILL and SIGSTOP always have the default
}

sigset_t currentMask() {
  sigset_t mask;
  pthread_sigmask(SIG_SETMASK, nullptr, &mask);
  return mask;
}

void expectMask(const sigset_t& expected) {
  sigset_t const mask = currentMask();
  for (int signal = 1; signal < _NSIG; ++signal)
    EXPECT_EQ(sigismember(&mask, signal), sigismember(&expected, signal)) << signal;
}

void block(int signal) {
  sigset_t mask;
  sigemptyset(&mask);
  sigaddset(&mask, signal);
  pthread_sigmask(SIG_BLOCK, &mask, nullptr);
}

void blockAll() {
  sigset_t all;
  sigfillset(&all);
  pthread_sigmask(SIG_SETMASK, &all, nullptr);
}

// The bit of `signal` in a mask as /proc shows it.
bool contains(const std::string& mask, int signal) {
  return ((std::stoull(mask, nullptr, 16) >> (signal - 1)) & 1) != 0;
}

// Sends a signal to the whole process group, as a terminal does, repeatedly until it is stopped.
class GroupSignals {
 public:
  explicit GroupSignals(int signal)
      : _thread([this, signal] {
          blockAll();
          while (!_stop) {
            kill(0, signal);
            std::this_thread::sleep_for(std::chrono::microseconds(100));
          }
        }) {}
  ~GroupSignals() { stop(); }
  GroupSignals(const GroupSignals&) = delete;
  GroupSignals& operator=(const GroupSignals&) = delete;

  void stop() {
    _stop = true;
    if (_thread.joinable())
      _thread.join();
  }

 private:
  std::atomic<bool> _stop{false};
  std::thread _thread;
};

class ExecSignalsTest : public ::testing::Test {
 protected:
  std::string at(const std::string& name) const { return _directory / name; }

  Report report(int options) const {
    std::string const file = at("report");
    if (execute(witness(), options | VLIB_EXEC_WAIT, file.c_str()) != 0)
      throw std::runtime_error("the program could not be run");
    return readReport(file);
  }

  // Runs a program that continues until `event` has happened in another thread.
  template <typename Event>
  void runUntil(Event event) {
    std::thread other([this, event] {
      blockAll();
      EXPECT_TRUE(appears(at("started")));
      event();
      writeFile(at("go"), "");
    });
    std::string const here = at("");
    EXPECT_EQ(shell(isolate,
                    R"(cd "$0" && : >started && for i in $(seq 600); do
                         [ -e go ] && exit 0; sleep 0.1; done; exit 1)",
                    here.c_str()),
              0);
    other.join();
  }

 private:
  TemporaryDirectory _directory;
};

TEST_F(ExecSignalsTest, IsolatedProgramHasNoneBlocked) {
  inCaller([this] {
    blockAll();
    EXPECT_EQ(report(isolate).blocked, noSignals);
  });
}

TEST_F(ExecSignalsTest, IsolatedProgramHasNoneIgnored) {
  inCaller([this] {
    for (int signal = 1; signal < _NSIG; ++signal)
      handle(signal, SIG_IGN);
    EXPECT_EQ(report(isolate).ignored, noSignals);
  });
}

// The C library reserves two signals for itself, which sigaction does not touch.
TEST_F(ExecSignalsTest, IsolatedProgramHasNoReservedSignalIgnored) {
  inCaller([this] {
    unsigned long const ignore[4] = {1, 0, 0, 0};  // the kernel's struct, with SIG_IGN
    for (int const signal : {32, 33})
      ASSERT_EQ(syscall(SYS_rt_sigaction, signal, ignore, nullptr, _NSIG / 8), 0);
    EXPECT_EQ(report(isolate).ignored, noSignals);
  });
}

TEST_F(ExecSignalsTest, OtherProgramHasTheMaskOfTheCaller) {
  inCaller([this] {
    block(SIGUSR1);
    block(SIGTERM);
    std::string const blocked = report(0).blocked;
    EXPECT_TRUE(contains(blocked, SIGUSR1));
    EXPECT_TRUE(contains(blocked, SIGTERM));
    EXPECT_FALSE(contains(blocked, SIGINT));
    EXPECT_FALSE(contains(blocked, SIGCHLD));
  });
}

TEST_F(ExecSignalsTest, OtherProgramIgnoresWhatTheCallerIgnores) {
  inCaller([this] {
    handle(SIGINT, SIG_IGN);
    handle(SIGTSTP, SIG_IGN);
    handle(SIGUSR2, SIG_DFL);
    std::string const ignored = report(0).ignored;
    EXPECT_TRUE(contains(ignored, SIGINT));
    EXPECT_TRUE(contains(ignored, SIGTSTP));
    EXPECT_FALSE(contains(ignored, SIGTTIN));
    EXPECT_FALSE(contains(ignored, SIGUSR2));
  });
}

TEST_F(ExecSignalsTest, CallerKeepsItsDispositions) {
  inCaller([this] {
    handle(SIGINT, SIG_IGN);
    handle(SIGTERM, count);
    (void)report(isolate);
    struct sigaction action = {};
    sigaction(SIGINT, nullptr, &action);
    EXPECT_EQ(action.sa_handler, SIG_IGN);
    sigaction(SIGTERM, nullptr, &action);
    EXPECT_EQ(action.sa_handler, count);
  });
}

TEST_F(ExecSignalsTest, CallerKeepsItsMask) {
  inCaller([this] {
    block(SIGUSR1);
    sigset_t const before = currentMask();
    (void)report(isolate);
    expectMask(before);
    EXPECT_LT(execute("/missing", VLIB_EXEC_WAIT), 0);
    expectMask(before);
    EXPECT_LT(execute(nullptr, 0), 0);
    expectMask(before);
  });
}

TEST_F(ExecSignalsTest, HandlerRunsAfterTheCall) {
  if (underValgrind())
    GTEST_SKIP() << "this tool runs no other thread during the call";
  inCaller([this] {
    handle(SIGTERM, count);
    runUntil([] {
      kill(getpid(), SIGTERM);
      std::this_thread::sleep_for(std::chrono::milliseconds(100));
      EXPECT_EQ(handlerCalls, 0);
    });
    EXPECT_EQ(handlerCalls, 1);
  });
}

TEST_F(ExecSignalsTest, FatalSignalEndsTheCallerAfterTheProgramHasEnded) {
  std::string const ended = at("ended");
  EXPECT_EQ(signalThatEnds([&] {
              std::string const caller = std::to_string(getpid());
              (void)shell(isolate, "kill -TERM $0; sleep 0.3; : >\"$1\"", caller.c_str(),
                          ended.c_str());
              ADD_FAILURE() << "the caller lives on";
            }),
            SIGTERM);
  EXPECT_EQ(VLIBFileExist(ended.c_str()), 1);
}

TEST_F(ExecSignalsTest, CallerMayHaveATimerThatInterrupts) {
  inCaller([] {
    handle(SIGALRM, count);
    itimerval const often = {{0, 100}, {0, 100}};
    ASSERT_EQ(setitimer(ITIMER_REAL, &often, nullptr), 0);
    for (int i = 0; i < 20; ++i) {
      EXPECT_EQ(shell(isolate, "exit 0"), 0) << i;
      EXPECT_LT(shell(isolate, "exit 1"), 0) << i;
      EXPECT_EQ(shell(discard, "exit 0"), 0) << i;
    }
    itimerval const never = {};
    setitimer(ITIMER_REAL, &never, nullptr);
    EXPECT_GT(handlerCalls, 0);
    EXPECT_EQ(foreignCalls, 0);
  });
}

// The processes of the call share the caller's memory, but the caller's handlers do not expect
// that.
TEST_F(ExecSignalsTest, HandlersOfTheCallerRunInTheCallerOnly) {
  if (underValgrind())
    GTEST_SKIP() << "this tool runs no other thread during the call";
  for (int const options : {discard, isolate}) {
    inCaller([options] {
      handle(SIGURG, count);  // ignored by default
      GroupSignals sender(SIGURG);
      for (int i = 0; i < 200; ++i)
        EXPECT_EQ(execute("/bin/true", options | VLIB_EXEC_WAIT), 0);
      sender.stop();
      EXPECT_GT(handlerCalls, 0);
      EXPECT_EQ(foreignCalls, 0) << "options " << options;
    });
  }
}

TEST_F(ExecSignalsTest, StoppedProgramIsContinued) {
  for (const char* const signal : {"STOP", "TSTP", "TTIN", "TTOU"}) {
    inCaller([signal] {
      EXPECT_EQ(shell(isolate, "kill -$0 $$; kill -$0 $$; exit 0", signal), 0);
      EXPECT_LT(shell(isolate, "kill -$0 $$; exit 1", signal), 0);
      EXPECT_LT(shell(isolate, "kill -$0 $$; kill -KILL $$", signal), 0);
    });
  }
}

// At any time from the call on, also before the program is executed.
TEST_F(ExecSignalsTest, StopFromTheTerminalDoesNotHoldTheCaller) {
  if (underValgrind())
    GTEST_SKIP() << "this tool runs no other thread during the call";
  inCaller([] {
    handle(SIGTSTP, count);  // the caller itself must continue
    GroupSignals sender(SIGTSTP);
    // So often that pausing for a tenth of a second at each stop would exceed the caller's time
    // limit.
    for (int i = 0; i < 600; ++i)
      EXPECT_EQ(execute("/bin/true", isolate | VLIB_EXEC_WAIT), 0);
    sender.stop();
  });
}

TEST_F(ExecSignalsTest, InterruptFromTheTerminalEndsTheProgram) {
  if (underValgrind())
    GTEST_SKIP() << "this tool runs no other thread during the call";
  inCaller([this] {
    handle(SIGINT, count);
    std::thread other([this] {
      blockAll();
      EXPECT_TRUE(appears(at("started")));
      kill(0, SIGINT);
    });
    std::string const started = at("started");
    EXPECT_LT(shell(isolate, ": >\"$0\"; exec sleep 60", started.c_str()), 0);
    other.join();
    EXPECT_EQ(handlerCalls, 1);
  });
}

void expectCancelState(int expected) {
  int state = -1;
  pthread_setcancelstate(expected, &state);
  EXPECT_EQ(state, expected);
}

TEST_F(ExecSignalsTest, CallerKeepsItsCancelState) {
  inCaller([] {
    EXPECT_EQ(execute("/bin/true", VLIB_EXEC_WAIT), 0);
    expectCancelState(PTHREAD_CANCEL_ENABLE);
    pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, nullptr);
    EXPECT_EQ(execute("/bin/true", VLIB_EXEC_WAIT), 0);
    EXPECT_LT(execute("/missing", VLIB_EXEC_WAIT), 0);
    expectCancelState(PTHREAD_CANCEL_DISABLE);
  });
}

TEST_F(ExecSignalsTest, IsNoCancellationPoint) {
  inCaller([] {
    struct Outcome {
      std::atomic<int> result{-100};
      std::atomic<bool> survived{false};
    } outcome;
    pthread_t thread = {};
    ASSERT_EQ(pthread_create(
                  &thread, nullptr,
                  [](void* argument) -> void* {
                    auto* const to = static_cast<Outcome*>(argument);
                    pthread_cancel(pthread_self());
                    to->result = execute("/bin/true", isolate | VLIB_EXEC_WAIT);
                    pthread_testcancel();
                    to->survived = true;
                    return nullptr;
                  },
                  &outcome),
              0);
    void* end = nullptr;
    ASSERT_EQ(pthread_join(thread, &end), 0);
    EXPECT_EQ(outcome.result, 0);
    EXPECT_FALSE(outcome.survived);
    EXPECT_EQ(end, PTHREAD_CANCELED);
  });
}

TEST_F(ExecSignalsTest, CancellationMeanwhileComesAfterTheCall) {
  if (underValgrind())
    GTEST_SKIP() << "this tool runs no other thread during the call";
  inCaller([this] {
    std::atomic<int> result{-100};
    std::string const started = at("started");
    std::thread caller([&] {
      result = shell(isolate, ": >\"$0\"; sleep 0.3", started.c_str());
      pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, nullptr);
    });
    EXPECT_TRUE(appears(started));
    pthread_cancel(caller.native_handle());
    caller.join();
    EXPECT_EQ(result, 0);
  });
}

}  // namespace
