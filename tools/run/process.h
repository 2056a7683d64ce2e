// Running other programs: GnuPG and dpkg.

#ifndef ZEMO_TOOLS_RUN_PROCESS_H
#define ZEMO_TOOLS_RUN_PROCESS_H

#include <string>
#include <vector>

namespace tool {

// A program to run, without a shell. Its standard input is /dev/null.
struct Command {
  std::vector<std::string> words;  // the program's path or its name in PATH, and its arguments
  int captured = 1;                // the program's descriptor whose output is captured
  bool showErrors = true;          // its standard error is ours; otherwise discarded
  bool cleanEnvironment = false;   // only PATH and LC_ALL=C; otherwise our environment and LC_ALL=C
  bool callersLocale = false;      // without LC_ALL=C, because it may talk to the user
};

struct Outcome {
  int status = 0;      // exit status, or 128 plus the number of the signal that ended it
  std::string output;  // its output on the captured descriptor
};

// Runs the program and waits until it ends. Throws Failure(STATUS_NOT_LOADED) if it cannot be
// started or its output cannot be read.
Outcome run(const Command& command);

}  // namespace tool

#endif
