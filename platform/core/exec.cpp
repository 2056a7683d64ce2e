// Running a program and learning how it ended, in any caller.
//
// Waiting for one's own child is not safe in a library: a caller that ignores SIGCHLD, or reaps
// every child in a handler or thread, takes the exit status away. So the program's parent is an
// intermediate process that the caller's own waiting never sees: it ends without SIGCHLD, and wait
// calls do not return such a child unless they ask for it (__WALL, __WCLONE).
//
// Copying the address space of a large caller costs tens of milliseconds. So both processes share
// it, and the thread that created each is suspended until that process ends or executes a program
// (the semantics of vfork). launch.cpp has their code.

#include <pthread.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstdlib>

#include "core/error_code.h"
#include "core/launch.h"

namespace {

using zemo::core::failure;
using zemo::core::Launch;
using zemo::core::launchExhausted;
using zemo::core::launchFailed;
using zemo::core::launchSucceeded;

constexpr int knownOptions = VLIB_EXEC_WAIT | VLIB_EXEC_STDIN_NULL | VLIB_EXEC_STDOUT_NULL |
                             VLIB_EXEC_STDERR_NULL | VLIB_EXEC_CLEAN_ENVIRONMENT |
                             VLIB_EXEC_ISOLATE;

// The stacks of the two processes, each above a guard page.
class Stacks {
 public:
  Stacks()
      : _memory(static_cast<char*>(mmap(nullptr, 2 * size, PROT_READ | PROT_WRITE,
                                        MAP_PRIVATE | MAP_ANONYMOUS | MAP_STACK, -1, 0))) {
    if (exist()) {
      (void)mprotect(_memory, guardSize, PROT_NONE);  // a stack without a guard works as well
      (void)mprotect(_memory + size, guardSize, PROT_NONE);
    }
  }
  ~Stacks() {
    if (exist())
      (void)munmap(_memory, 2 * size);
  }
  Stacks(const Stacks&) = delete;
  Stacks& operator=(const Stacks&) = delete;

  bool exist() const { return _memory != MAP_FAILED; }
  char* firstEnd() const { return _memory + size; }
  char* secondEnd() const { return _memory + 2 * size; }

 private:
  static constexpr size_t size = size_t{64} * 1024;
  static constexpr size_t guardSize = 4096;

  char* _memory;
};

// Keeps signals and cancellation away from this thread while the processes run on its memory.
class SignalBlocker {
 public:
  explicit SignalBlocker(sigset_t* before) : _before(before) {
    sigset_t all;
    (void)sigfillset(&all);
    (void)pthread_sigmask(SIG_SETMASK, &all, _before);
    (void)pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &_cancelState);
  }
  ~SignalBlocker() {
    (void)pthread_setcancelstate(_cancelState, nullptr);
    (void)pthread_sigmask(SIG_SETMASK, _before, nullptr);
  }
  SignalBlocker(const SignalBlocker&) = delete;
  SignalBlocker& operator=(const SignalBlocker&) = delete;

 private:
  sigset_t* _before;
  int _cancelState = 0;
};

// Returns 0 or the error code.
int run(const char* program, int options, char* const* words) {
  Stacks const stacks;
  if (!stacks.exist())
    return VLIB_ERR_OUT_OF_MEMORY;
  Launch launch = {program, words, options, {}, stacks.secondEnd(), false, launchFailed};
  SignalBlocker const blocker(&launch.callerMask);

  constexpr int noSignal = 0;  // the end of this child concerns only this thread
  pid_t const child =
      zemo::core::cloneSharing(zemo::core::launch, stacks.firstEnd(), noSignal, &launch);
  if (child < 0)
    return VLIB_ERR_OUT_OF_MEMORY;
  int status = 0;
  pid_t reaped = -1;
  do {
    reaped = waitpid(child, &status, __WALL);
  } while (reaped < 0 && errno == EINTR);
  // Another thread that waits for all kinds of children may have reaped it first; the outcome in
  // memory then counts. That fails only under a debugging tool that gives the child a copy of the
  // memory.
  int outcome = launch.outcome;
  if (reaped == child)
    outcome = WIFEXITED(status) ? WEXITSTATUS(status) : launchFailed;
  switch (outcome) {
    case launchSucceeded:
      return 0;
    case launchExhausted:
      return VLIB_ERR_OUT_OF_MEMORY;
    default:
      return VLIB_ERR_PROGRAM_FAILED;
  }
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
  words[0] = const_cast<char*>(program);  // execve takes, but does not modify, char pointers
  va_start(arguments, options);
  for (size_t i = 1; i + 1 < count; ++i)
    words[i] = va_arg(arguments, char*);
  va_end(arguments);

  int const code = run(program, options, words);
  free(words);
  return code == 0 ? 0 : failure(code);
}
