// A program run as a process: its words, its input and its output.

#ifndef ZEMO_TESTS_SUPPORT_PROGRAM_H
#define ZEMO_TESTS_SUPPORT_PROGRAM_H

#include <string>
#include <vector>

struct ProgramRun {
  int status = 0;      // exit status, or 128 plus the number of the signal that ended it
  std::string output;  // standard output
  std::string errors;  // standard error
};

// Runs the program with these words, the first of which is its path, and with `input` as standard
// input. Throws if the program cannot be started.
ProgramRun runProgram(const std::vector<std::string>& words, const std::string& input = "");

// `text` without its last line feed, split at the others.
std::vector<std::string> linesOf(const std::string& text);

#endif
