// The two processes that run a program for a caller that may be unable to wait for children.

#ifndef ZEMO_PLATFORM_CORE_LAUNCH_H
#define ZEMO_PLATFORM_CORE_LAUNCH_H

#include <csignal>

namespace zemo::core {

// The memory that the caller and the two processes share.
struct Launch {
  const char* program;
  char* const* words;
  int options;            // VLIB_EXEC_ bits
  sigset_t callerMask;    // the caller's mask before it blocked its signals
  char* programStackEnd;  // the end of the second process's stack

  volatile bool executed;  // the program was executed
  volatile int outcome;    // one of the values below
};

inline constexpr int launchSucceeded = 0;
inline constexpr int launchFailed = 1;
inline constexpr int launchExhausted = 2;  // the second process could not be created

// The first process runs this function and exits with its result. It starts the second process,
// which executes the program, and waits for its end if the options request it. Requires that the
// caller's thread is suspended and all signals are blocked.
int launch(void* launchToDo);

// glibc's clone(), under a name that sanitizers do not replace.
int cloneSharing(int (*process)(void*), char* stackEnd, int exitSignal, Launch* argument);

}  // namespace zemo::core

#endif
