// This code runs on the memory of a suspended thread, so it makes system calls only and calls no C
// library function that keeps state in memory. The calls use syscall(), because sanitizers replace
// close(), waitpid() and the like with functions that keep records in that same memory.

#include "core/launch.h"

#include <fcntl.h>
#include <sched.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>
#include <zemo/core.h>

#include <cerrno>
#include <ctime>

// Sanitizers would attribute the actions of these functions to the suspended thread.
#define SHARES_MEMORY __attribute__((no_sanitize("address", "thread", "undefined")))

// The C library's functions under names that sanitizers do not replace.
// NOLINTBEGIN(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)
extern "C" int __clone(int (*function)(void*), void* stack, int flags, void* argument, ...);
extern "C" int __sigaction(int signal, const struct sigaction* action, struct sigaction* old);
// NOLINTEND(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)

namespace zemo::core {
namespace {

constexpr int cannotExecute = 127;

char pathVariable[] = "PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin";
char localeVariable[] = "LC_ALL=C";
char* const cleanEnvironment[] = {pathVariable, localeVariable, nullptr};

SHARES_MEMORY bool has(const Launch* launch, int option) {
  return (launch->options & option) != 0;
}

SHARES_MEMORY void closeDescriptor(int fd) {
  (void)syscall(SYS_close, fd);
}

// Redirects the descriptors 0-2 that the options select to /dev/null.
SHARES_MEMORY bool redirect(const Launch* launch) {
  constexpr int nullOption[] = {VLIB_EXEC_STDIN_NULL, VLIB_EXEC_STDOUT_NULL, VLIB_EXEC_STDERR_NULL};
  bool any = false;
  for (int fd = 0; fd <= 2; ++fd) {
    if (has(launch, nullOption[fd])) {
      closeDescriptor(fd);  // first of all, so that a caller without a free descriptor has one
      any = true;
    }
  }
  if (!any)
    return true;
  auto const null = static_cast<int>(syscall(SYS_openat, AT_FDCWD, "/dev/null", O_RDWR));
  if (null < 0)
    return false;
  for (int fd = 0; fd <= 2; ++fd) {
    if (has(launch, nullOption[fd]) && fd != null && syscall(SYS_dup2, null, fd) < 0)
      return false;
  }
  if (null > 2 || !has(launch, nullOption[null]))
    closeDescriptor(null);
  return true;
}

SHARES_MEMORY void closeFrom(int first) {
  if (syscall(SYS_close_range, first, ~0U, 0) == 0)
    return;
  // The kernel or sandbox does not have that call. Descriptors above the limit can be open only if
  // the caller has since lowered the limit.
  auto const limit = static_cast<int>(sysconf(_SC_OPEN_MAX));
  constexpr int atLeast = 65536;
  for (int fd = first; fd < (limit > atLeast ? limit : atLeast); ++fd)
    closeDescriptor(fd);
}

// The kernel's struct sigaction: handler, flags, restorer, mask. The C library's sigaction()
// refuses the two signals that the library reserves for itself.
using KernelAction = unsigned long[4];
constexpr size_t kernelMaskSize = sizeof(unsigned long);

SHARES_MEMORY void setDefault(int signal) {
  KernelAction const action = {};
  (void)syscall(SYS_rt_sigaction, signal, action, nullptr, kernelMaskSize);
}

// The caller's handlers must not run here, on the caller's memory, once signals are unblocked
// again. Executed programs inherit ignored signals; with isolation, these are reset as well.
SHARES_MEMORY void resetSignals(bool ignoredToo) {
  constexpr unsigned long defaultHandler = 0;
  constexpr unsigned long ignore = 1;
  for (int signal = 1; signal < _NSIG; ++signal) {
    KernelAction action = {};
    (void)syscall(SYS_rt_sigaction, signal, nullptr, action, kernelMaskSize);
    if (action[0] != defaultHandler && (action[0] != ignore || ignoredToo))
      setDefault(signal);
  }
}

SHARES_MEMORY void doNothing(int) {}

// If this process were stopped before the program starts, nothing could continue it: the parent is
// suspended until then. A handler, unlike ignoring, ends when this process executes its program.
SHARES_MEMORY void passOverStops() {
  constexpr int stops[] = {SIGTSTP, SIGTTIN, SIGTTOU};
  for (int const signal : stops) {
    struct sigaction action = {};
    (void)__sigaction(signal, nullptr, &action);
    if (action.sa_handler == SIG_IGN)
      continue;
    action.sa_handler = doNothing;
    (void)__sigaction(signal, &action, nullptr);
  }
}

SHARES_MEMORY int becomeProgram(void* argument) {
  auto* const launch = static_cast<Launch*>(argument);
  bool const isolated = has(launch, VLIB_EXEC_ISOLATE);
  if (isolated)
    closeFrom(3);
  resetSignals(isolated);
  passOverStops();
  if (!redirect(launch))
    return cannotExecute;

  sigset_t const none = {};
  (void)syscall(SYS_rt_sigprocmask, SIG_SETMASK, isolated ? &none : &launch->callerMask, nullptr,
                kernelMaskSize);
  launch->executed = true;  // read only after the next call has succeeded or failed
  (void)syscall(SYS_execve, launch->program, launch->words,
                has(launch, VLIB_EXEC_CLEAN_ENVIRONMENT) ? cleanEnvironment : environ);
  launch->executed = false;
  return cannotExecute;
}

// Waits until the child `program` has ended. Returns true if it exited with status 0.
SHARES_MEMORY bool exitsWithSuccess(pid_t program) {
  for (;;) {
    int status = 0;
    if (syscall(SYS_wait4, program, &status, WUNTRACED, nullptr) < 0) {
      if (errno == EINTR)
        continue;
      return false;
    }
    if (!WIFSTOPPED(status))
      return WIFEXITED(status) && WEXITSTATUS(status) == 0;
    // A stop from the terminal is meant for the caller, which cannot take it before the program has
    // ended. A stop caused by using the terminal in the background will recur at once.
    if (WSTOPSIG(status) == SIGTTIN || WSTOPSIG(status) == SIGTTOU) {
      timespec const pause = {0, 100'000'000};
      (void)syscall(SYS_nanosleep, &pause, nullptr);
    }
    (void)syscall(SYS_kill, program, SIGCONT);
  }
}

}  // namespace

SHARES_MEMORY int cloneSharing(int (*process)(void*), char* stackEnd, int exitSignal,
                               Launch* argument) {
  return __clone(process, stackEnd, CLONE_VM | CLONE_VFORK | exitSignal, argument);
}

SHARES_MEMORY int launch(void* launchToDo) {
  auto* const launch = static_cast<Launch*>(launchToDo);
  setDefault(SIGCHLD);  // if ignored, the program would be reaped automatically

  pid_t const program = cloneSharing(becomeProgram, launch->programStackEnd, SIGCHLD, launch);
  if (program < 0)
    return launch->outcome = launchExhausted;
  bool success = launch->executed;
  if (has(launch, VLIB_EXEC_WAIT)) {
    // This process's copies would keep pipes and sockets open that the caller closes meanwhile.
    closeFrom(0);
    success = exitsWithSuccess(program);
  }
  return launch->outcome = success ? launchSucceeded : launchFailed;
}

}  // namespace zemo::core
