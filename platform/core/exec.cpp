// Running a program and learning how it ended, in any caller.
//
// Waiting for a child of one's own is not safe in a library: a caller that ignores SIGCHLD, or that
// reaps every child in a handler or thread, takes the exit status away. So the program's parent is
// an intermediate process, which the caller's own waiting never meets: it ends without SIGCHLD, and
// wait calls do not return such a child unless they ask for it (__WALL, __WCLONE).
//
// Copying the address space of a large caller costs tens of milliseconds. So both processes share
// it, and the thread that created each is suspended until it ends or executes a program (vfork's
// semantics). In between they call nothing but what is safe after vfork, and the caller has blocked
// its signals, so that none of its handlers runs in them.

#include <fcntl.h>
#include <pthread.h>
#include <sched.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstdlib>

#include "core/error_code.h"

// The processes run on the memory of the suspended thread, which sanitizers would take for that
// thread's own doing.
#define SHARES_MEMORY __attribute__((no_sanitize("address", "thread", "undefined")))

namespace {

using zemo::core::failure;

constexpr int knownOptions = VLIB_EXEC_WAIT | VLIB_EXEC_STDIN_NULL | VLIB_EXEC_STDOUT_NULL |
                             VLIB_EXEC_STDERR_NULL | VLIB_EXEC_CLEAN_ENVIRONMENT |
                             VLIB_EXEC_ISOLATE;

constexpr size_t stackSize = size_t{64} * 1024;
constexpr int succeeded = 0;
constexpr int failed = 1;
constexpr int cannotExecute = 127;

char path[] = "PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin";
char locale[] = "LC_ALL=C";
char* const cleanEnvironment[] = {path, locale, nullptr};

// What the caller and the two processes share.
struct Launch {
  const char* program;
  char* const* words;
  int options;
  sigset_t callerMask;
  char* programStackEnd;
  volatile bool executed;  // the program could be executed
  volatile int outcome;    // the intermediate process' exit status
};

// Descriptors 0-2 that the options ask for become /dev/null.
SHARES_MEMORY bool redirect(int options) {
  constexpr int nullOption[] = {VLIB_EXEC_STDIN_NULL, VLIB_EXEC_STDOUT_NULL, VLIB_EXEC_STDERR_NULL};
  bool any = false;
  for (int fd = 0; fd <= 2; ++fd) {
    if ((options & nullOption[fd]) != 0) {
      (void)close(fd);  // first of all, so that a caller without a free descriptor has one
      any = true;
    }
  }
  if (!any)
    return true;
  int const null = open("/dev/null", O_RDWR);
  if (null < 0)
    return false;
  for (int fd = 0; fd <= 2; ++fd) {
    if ((options & nullOption[fd]) != 0 && fd != null && dup2(null, fd) < 0)
      return false;
  }
  if (null > 2)
    (void)close(null);
  return true;
}

SHARES_MEMORY void closeFrom(unsigned int first) {
  if (close_range(first, ~0U, 0) == 0)
    return;
  // A kernel or sandbox without that call.
  auto const end = static_cast<int>(sysconf(_SC_OPEN_MAX));
  for (int fd = static_cast<int>(first); fd < end; ++fd)
    (void)close(fd);
}

// Ignored signals stay ignored in an executed program unless they are reset. The system call
// itself, because the C library refuses the two signals that it keeps for itself, and sanitizers
// note what sigaction sets in the memory that is shared here.
SHARES_MEMORY void setDefault(int signal) {
  unsigned long const defaultAction[4] = {};  // the kernel's struct: SIG_DFL, no flags, no mask
  (void)syscall(SYS_rt_sigaction, signal, defaultAction, nullptr, _NSIG / 8);
}

SHARES_MEMORY int becomeProgram(void* argument) {
  auto* const launch = static_cast<Launch*>(argument);
  sigset_t mask = launch->callerMask;
  if ((launch->options & VLIB_EXEC_ISOLATE) != 0) {
    closeFrom(3);
    for (int signal = 1; signal < _NSIG; ++signal)
      setDefault(signal);  // fails for SIGKILL and SIGSTOP, which have no other
    (void)sigemptyset(&mask);
  }
  if (!redirect(launch->options))
    return cannotExecute;
  (void)sigprocmask(SIG_SETMASK, &mask, nullptr);

  launch->executed = true;  // nobody reads it before the next call has succeeded or failed
  bool const clean = (launch->options & VLIB_EXEC_CLEAN_ENVIRONMENT) != 0;
  (void)execve(launch->program, launch->words, clean ? cleanEnvironment : environ);
  launch->executed = false;
  return cannotExecute;
}

// The exit status of the ended child `program`, or -1 when a signal ended it.
SHARES_MEMORY int waitForEnd(pid_t program) {
  for (;;) {
    int status = 0;
    if (waitpid(program, &status, WUNTRACED) < 0) {
      if (errno == EINTR)
        continue;
      return -1;
    }
    if (WIFEXITED(status))
      return WEXITSTATUS(status);
    if (WIFSIGNALED(status))
      return -1;
    // A stop from the terminal is for the caller, who cannot take it before the program has ended.
    (void)kill(program, SIGCONT);
  }
}

SHARES_MEMORY int runProgram(Launch* launch) {
  setDefault(SIGCHLD);  // ignored, it would have the program reaped unseen

  pid_t const program =
      clone(becomeProgram, launch->programStackEnd, CLONE_VM | CLONE_VFORK | SIGCHLD, launch);
  if (program < 0)
    return failed;
  if ((launch->options & VLIB_EXEC_WAIT) == 0)
    return launch->executed ? succeeded : failed;
  return waitForEnd(program) == 0 ? succeeded : failed;
}

SHARES_MEMORY int intermediate(void* argument) {
  auto* const launch = static_cast<Launch*>(argument);
  int const outcome = runProgram(launch);
  launch->outcome = outcome;
  return outcome;
}

// The stacks of the two processes.
class Stacks {
 public:
  Stacks()
      : _memory(mmap(nullptr, 2 * stackSize, PROT_READ | PROT_WRITE,
                     MAP_PRIVATE | MAP_ANONYMOUS | MAP_STACK, -1, 0)) {}
  ~Stacks() {
    if (exist())
      (void)munmap(_memory, 2 * stackSize);
  }
  Stacks(const Stacks&) = delete;
  Stacks& operator=(const Stacks&) = delete;

  bool exist() const { return _memory != MAP_FAILED; }
  char* firstEnd() const { return static_cast<char*>(_memory) + stackSize; }
  char* secondEnd() const { return static_cast<char*>(_memory) + 2 * stackSize; }

 private:
  void* _memory;
};

// Keeps signals and cancellation away from this thread while others run on its memory.
class Undisturbed {
 public:
  explicit Undisturbed(sigset_t* before) : _before(before) {
    sigset_t all;
    (void)sigfillset(&all);
    (void)pthread_sigmask(SIG_SETMASK, &all, _before);
    (void)pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &_cancelState);
  }
  ~Undisturbed() {
    (void)pthread_setcancelstate(_cancelState, nullptr);
    (void)pthread_sigmask(SIG_SETMASK, _before, nullptr);
  }
  Undisturbed(const Undisturbed&) = delete;
  Undisturbed& operator=(const Undisturbed&) = delete;

 private:
  sigset_t* _before;
  int _cancelState = 0;
};

bool run(const char* program, int options, char* const* words) {
  Stacks const stacks;
  if (!stacks.exist())
    return false;
  Launch launch = {program, words, options, {}, stacks.secondEnd(), false, failed};
  Undisturbed const undisturbed(&launch.callerMask);

  // No exit signal in the flags: the end of this child is nobody else's business.
  pid_t const child = clone(intermediate, stacks.firstEnd(), CLONE_VM | CLONE_VFORK, &launch);
  if (child < 0)
    return false;
  int status = 0;
  pid_t reaped = -1;
  do {
    reaped = waitpid(child, &status, __WALL);
  } while (reaped < 0 && errno == EINTR);
  // Somebody who waits for children of every kind may have been faster; then the memory tells. It
  // does not where a debugging tool has made a copy of it for the child.
  return reaped == child ? WIFEXITED(status) && WEXITSTATUS(status) == succeeded
                         : launch.outcome == succeeded;
}

}  // namespace

int VLIBExecl(const char* program, int options, ...) {
  if (program == nullptr || (options & ~knownOptions) != 0)
    return failure(VLIB_ERR_BAD_PARAMETER);

  va_list arguments;
  va_start(arguments, options);
  size_t count = 2;  // the program itself and the null pointer at the end
  while (va_arg(arguments, char*) != nullptr)
    ++count;
  va_end(arguments);

  auto** const words = static_cast<char**>(calloc(count, sizeof(char*)));
  if (words == nullptr)
    return failure(VLIB_ERR_OUT_OF_MEMORY);
  words[0] = const_cast<char*>(program);  // execve takes, and does not touch, plain char pointers
  va_start(arguments, options);
  for (size_t i = 1; i + 1 < count; ++i)
    words[i] = va_arg(arguments, char*);
  va_end(arguments);

  bool const success = run(program, options, words);
  free(words);
  return success ? 0 : failure(VLIB_ERR_PROGRAM_FAILED);
}
