// VLIBExecl between two system calls of the processes that share the caller's memory. This program
// defines some functions of the C library itself, so the library's calls come here.

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <sched.h>
#include <sys/syscall.h>
#include <unistd.h>
#include <zemo/core.h>

#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <ctime>
#include <utility>

#include "support/caller.h"
#include "support/witness.h"

// Sanitizers would attribute what these functions do to the suspended thread.
#define SHARES_MEMORY __attribute__((no_sanitize("address", "thread", "undefined")))

// NOLINTBEGIN(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)
// NOLINTBEGIN(readability-inconsistent-declaration-parameter-name)
// NOLINTNEXTLINE(readability-redundant-declaration): some headers of the C library declare it
extern "C" long __sysconf(int name) noexcept;
extern "C" int __clone(int (*function)(void*), void* stack, int flags, void* argument, ...);

namespace {

// Resolved in advance: a process in shared memory must not do that.
auto* const realSyscall = reinterpret_cast<long (*)(long, long, long, long, long, long, long)>(
    dlsym(RTLD_NEXT, "syscall"));
auto* const realClone = reinterpret_cast<decltype(&__clone)>(dlsym(RTLD_NEXT, "__clone"));
auto* const realSetCancelState =
    reinterpret_cast<decltype(&pthread_setcancelstate)>(dlsym(RTLD_NEXT, "pthread_setcancelstate"));

bool copiesMemory = false;       // each process gets a copy, as under some debugging tools
int signalWithCancelState = 0;   // that the caller sends to itself after each change of this state
int signalBeforeUnblocking = 0;  // that each process sends to itself
long descriptorLimit = 0;        // the result of sysconf; 0: the true one
long closed = 0;                 // descriptors, one by one
long lastClosed = 0;
int interruptedWaits = 0;  // of the next ones
long pausedMilliseconds = 0;

SHARES_MEMORY long milliseconds(const timespec* time) {
  return time->tv_sec * 1000 + time->tv_nsec / 1'000'000;
}

}  // namespace

extern "C" SHARES_MEMORY long syscall(long number, ...) noexcept {
  va_list more;
  va_start(more, number);
  long words[6];
  for (long& word : words)
    word = va_arg(more, long);
  va_end(more);
  if (number == SYS_rt_sigprocmask && signalBeforeUnblocking != 0) {
    long const self = realSyscall(SYS_getpid, 0, 0, 0, 0, 0, 0);
    (void)realSyscall(SYS_kill, self, signalBeforeUnblocking, 0, 0, 0, 0);
  }
  if (number == SYS_close) {
    ++closed;
    lastClosed = words[0];
  }
  if (number == SYS_wait4 && interruptedWaits > 0) {
    --interruptedWaits;
    errno = EINTR;
    return -1;
  }
  if (number == SYS_nanosleep)
    pausedMilliseconds += milliseconds(reinterpret_cast<const timespec*>(words[0]));
  if (number == SYS_close_range && descriptorLimit != 0) {
    errno = ENOSYS;
    return -1;
  }
  return realSyscall(number, words[0], words[1], words[2], words[3], words[4], words[5]);
}

extern "C" SHARES_MEMORY long sysconf(int name) noexcept {
  return name == _SC_OPEN_MAX && descriptorLimit != 0 ? descriptorLimit : __sysconf(name);
}

extern "C" SHARES_MEMORY int __clone(int (*function)(void*), void* stack, int flags, void* argument,
                                     ...) {
  return realClone(function, stack, copiesMemory ? flags & ~CLONE_VM : flags, argument);
}

extern "C" int pthread_setcancelstate(int state, int* before) {
  int const result = realSetCancelState(state, before);
  if (signalWithCancelState != 0)
    (void)raise(signalWithCancelState);
  return result;
}
// NOLINTEND(readability-inconsistent-declaration-parameter-name)
// NOLINTEND(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)

namespace {

class ExecSystemCallsTest : public ::testing::Test {
 protected:
  void SetUp() override {
    if (underValgrind())
      GTEST_SKIP() << "this tool's processes have memory of their own";
  }
  void TearDown() override {
    copiesMemory = false;
    signalWithCancelState = 0;
    interruptedWaits = 0;
    signalBeforeUnblocking = 0;
    descriptorLimit = 0;
  }
};

TEST_F(ExecSystemCallsTest, ProgramThatIsKilledBeforeItsStartWasNotStarted) {
  for (int const options : {0, +VLIB_EXEC_ISOLATE, +VLIB_EXEC_WAIT}) {
    EXPECT_EQ(execute("/bin/true", options), 0);
    VLIBErrSet(VLIB_ERR_NONE);
    signalBeforeUnblocking = SIGTERM;
    EXPECT_LT(execute("/bin/true", options), 0) << options;
    EXPECT_EQ(VLIBErrGet(), VLIB_ERR_PROGRAM_FAILED) << options;
    signalBeforeUnblocking = 0;
  }
}

TEST_F(ExecSystemCallsTest, InterruptedWaitIsRepeated) {
  interruptedWaits = 2;
  EXPECT_EQ(execute("/bin/true", VLIB_EXEC_WAIT), 0);
  interruptedWaits = 2;
  EXPECT_LT(execute("/bin/false", VLIB_EXEC_WAIT), 0);
}

// Such a stop recurs at once if the program uses the terminal again.
TEST_F(ExecSystemCallsTest, StopForUsingTheTerminalInTheBackgroundTakesAWhile) {
  std::pair<const char*, int> const milliseconds[] = {
      {"TTIN", 100}, {"TTOU", 100}, {"TSTP", 0}, {"STOP", 0}};
  for (const auto& [signal, expected] : milliseconds) {
    inCaller([signal = signal, expected = expected] {
      EXPECT_EQ(shell(0, "kill -$0 $$; exit 0", signal), 0);
      EXPECT_EQ(pausedMilliseconds, expected) << signal;
    });
  }
}

TEST_F(ExecSystemCallsTest, ExitStatusOfAProgramCountsWhereMemoryIsCopied) {
  copiesMemory = true;
  EXPECT_EQ(execute("/bin/true", VLIB_EXEC_WAIT), 0);
  EXPECT_LT(execute("/bin/false", VLIB_EXEC_WAIT), 0);
}

int handlerCalls = 0;
int handlerCancelState = -1;

void recordCancelState(int /*signal*/) {
  ++handlerCalls;
  (void)realSetCancelState(PTHREAD_CANCEL_DISABLE, &handlerCancelState);
  (void)realSetCancelState(handlerCancelState, nullptr);
}

TEST_F(ExecSystemCallsTest, HandlerRunsWithTheCancelStateOfTheCaller) {
  auto* const before = std::signal(SIGUSR1, recordCancelState);
  signalWithCancelState = SIGUSR1;
  EXPECT_EQ(execute("/bin/true", VLIB_EXEC_WAIT), 0);
  (void)std::signal(SIGUSR1, before);
  EXPECT_EQ(handlerCalls, 1);
  EXPECT_EQ(handlerCancelState, PTHREAD_CANCEL_ENABLE);
}

// Also on machines that do not allow such large limits.
TEST_F(ExecSystemCallsTest, IsolationClosesWhatTheLimitAllowsAndNoLessThanManyMayHave) {
  constexpr long atLeast = 65'536;
  for (long const limit : {-1L, 100L, atLeast + 1, 70'000L}) {
    descriptorLimit = limit;
    closed = 0;
    EXPECT_EQ(execute("/bin/true", VLIB_EXEC_ISOLATE), 0);
    long const expected = limit > atLeast ? limit : atLeast;
    EXPECT_EQ(lastClosed, expected - 1);
    EXPECT_EQ(closed, expected - 3);
  }
}

}  // namespace
