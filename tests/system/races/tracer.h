// A process that is stopped before each of its system calls, to change files there.

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
  pid_t thread = 0;  // that makes it
};

// How a traced process ended.
struct Ending {
  enum Kind { exited, killed, hung };
  Kind kind = hung;
  int value = 0;  // the exit status or the signal
};

// Called when the process is about to make its `number`-th call, counted from 0. When it returns
// false, the process runs on without stopping again.
using Visit = std::function<bool(std::size_t number, const Call& call)>;

// Runs `work` in a new process, which exits with what it returns. Calls are counted from the first
// one that names a path at or below `start`. The threads of the process are traced, too, the
// programs that it runs are not. A process that takes longer than `seconds` is killed with all that
// it has started, and is `hung`.
Ending trace(const std::function<int()>& work, const std::string& start, const Visit& visit,
             int seconds = 20);

// Whether `path` is `directory` or lies below it.
bool isAtOrBelow(const std::string& path, const std::string& directory);

#endif
