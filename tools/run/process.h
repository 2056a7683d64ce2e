// Running other programs: GnuPG and dpkg.

#ifndef ZEMO_TOOLS_RUN_PROCESS_H
#define ZEMO_TOOLS_RUN_PROCESS_H

#include <string>
#include <vector>

namespace tool {

// A program to run: no shell, its standard input /dev/null.
struct Command {
  std::vector<std::string> words;  // the program's path, or its name in PATH, and its arguments
  int captured = 1;                // the program's descriptor whose output is wanted
  bool showErrors = true;          // its standard error is ours; else discarded
  bool cleanEnvironment = false;  // gets PATH and LC_ALL=C alone; else our environment and LC_ALL=C
  bool callersLocale = false;     // but without LC_ALL=C: it may talk to people
};

struct Outcome {
  int status = 0;      // exit status; 128 and the signal's number, if a signal ended it
  std::string output;  // what it wrote to the captured descriptor
};

// Runs the program and waits until it ends. Throws Failure(STATUS_NOT_LOADED) if it cannot be
// started, or its output not be read.
Outcome run(const Command& command);

}  // namespace tool

#endif
