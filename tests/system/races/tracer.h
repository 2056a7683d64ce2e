// Runs a process and stops it before each of its system calls, to change files there.

#ifndef ZEMO_TESTS_SYSTEM_RACES_TRACER_H
#define ZEMO_TESTS_SYSTEM_RACES_TRACER_H

#include <sys/types.h>

#include <cstddef>
#include <functional>
#include <string>

// A system call, and the file that it names or whose descriptor it uses, if any.
struct Call {
  long number = 0;
  std::string path;
  pid_t thread = 0;  // the calling thread
};

// The end of a traced process.
struct Ending {
  enum Kind { exited, killed, hung };
  Kind kind = hung;
  int value = 0;  // the exit status or the signal
};

// Called before the `number`-th call of the process, counted from 0. If it returns false, the
// process continues without stopping again.
using Visit = std::function<bool(std::size_t number, const Call& call)>;

// Runs `work` in a new process, which exits with its result. Calls are counted from the first one
// that names a path at or below `start`. Threads of the process are also traced, but not the
// programs that it runs. A process that takes longer than `seconds` is killed with all of its
// children and is `hung`.
Ending trace(const std::function<int()>& work, const std::string& start, const Visit& visit,
             int seconds = 20);

// Whether `path` is `directory` or is below it.
bool isAtOrBelow(const std::string& path, const std::string& directory);

#endif
