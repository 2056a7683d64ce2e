// The two processes by which a program is run on behalf of a caller, who need not be able to wait
// for children.

#ifndef ZEMO_PLATFORM_CORE_LAUNCH_H
#define ZEMO_PLATFORM_CORE_LAUNCH_H

#include <csignal>

namespace zemo::core {

// What the caller and the two processes share.
struct Launch {
  const char* program;
  char* const* words;
  int options;            // VLIB_EXEC_ bits
  sigset_t callerMask;    // the caller's, from before it blocked its signals
  char* programStackEnd;  // where the stack of the second process ends

  volatile bool executed;  // the program could be executed
  volatile int outcome;    // one of the values below
};

inline constexpr int launchSucceeded = 0;
inline constexpr int launchFailed = 1;
inline constexpr int launchExhausted = 2;  // there was no second process to be had

// The first process' whole life, and its exit status: starts the second one, which executes the
// program, and waits for its end if the options say so. REQUIRES: the caller's thread is suspended
// and all signals are blocked.
int launch(void* launchToDo);

// glibc's clone by the name that sanitizers do not put a function of their own in the place of.
int cloneSharing(int (*process)(void*), char* stackEnd, int exitSignal, Launch* argument);

}  // namespace zemo::core

#endif
