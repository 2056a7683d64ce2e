// Runs on the memory of a suspended thread, so: system calls only, no function of the C library
// that keeps anything in memory. The calls go through syscall(), because sanitizers put functions
// of their own in the place of close, waitpid and their like, which note what they see in that same
// memory.

#include "core/launch.h"

#include <fcntl.h>
#include <sched.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>
#include <zemo/core.h>

#include <cerrno>
#include <ctime>

// Sanitizers would take what these functions do for the suspended thread's own doing.
#define SHARES_MEMORY __attribute__((no_sanitize("address", "thread", "undefined")))

// The C library's functions by the names that sanitizers leave alone.
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

// Descriptors 0-2 that the options ask for become /dev/null.
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
  // A kernel or sandbox without that call. Descriptors above the limit are possible, but then the
  // caller has lowered the limit since.
  auto const limit = static_cast<int>(sysconf(_SC_OPEN_MAX));
  constexpr int atLeast = 65536;
  for (int fd = first; fd < (limit > atLeast ? limit : atLeast); ++fd)
    closeDescriptor(fd);
}

// The kernel's struct sigaction: handler, flags, restorer, mask. The C library's own call refuses
// the two signals that the library keeps for itself.
using KernelAction = unsigned long[4];
constexpr size_t kernelMaskSize = sizeof(unsigned long);

SHARES_MEMORY void setDefault(int signal) {
  KernelAction const action = {};
  (void)syscall(SYS_rt_sigaction, signal, action, nullptr, kernelMaskSize);
}

// A handler of the caller's must not run here, on the caller's memory, when signals are let in
// again. Ignored signals stay ignored in an executed program; with isolation they do not.
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

// A stop between here and the program's start would leave nobody to end it: whoever started this
// process is suspended until then. A handler, unlike ignoring, ends with this process' own program.
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
  launch->executed = true;  // nobody reads it before the next call has succeeded or failed
  (void)syscall(SYS_execve, launch->program, launch->words,
                has(launch, VLIB_EXEC_CLEAN_ENVIRONMENT) ? cleanEnvironment : environ);
  launch->executed = false;
  return cannotExecute;
}

// Whether the child `program` exits with status 0, once it has ended.
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
    // A stop from the terminal is for the caller, who cannot take it before the program has ended.
    // One that comes from using the terminal in the background will come again at once.
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
  setDefault(SIGCHLD);  // ignored, it would have the program reaped unseen

  pid_t const program = cloneSharing(becomeProgram, launch->programStackEnd, SIGCHLD, launch);
  if (program < 0)
    return launch->outcome = launchExhausted;
  bool success = launch->executed;
  if (has(launch, VLIB_EXEC_WAIT)) {
    // This process' copies would keep pipes and sockets open that the caller closes meanwhile.
    closeFrom(0);
    success = exitsWithSuccess(program);
  }
  return launch->outcome = success ? launchSucceeded : launchFailed;
}

}  // namespace zemo::core
