// A program run as a program: its words, what it reads, and what comes out.

#ifndef ZEMO_TESTS_SUPPORT_PROGRAM_H
#define ZEMO_TESTS_SUPPORT_PROGRAM_H

#include <string>
#include <vector>

struct ProgramRun {
  int status = 0;      // exit status; 128 and the signal's number, if a signal ended it
  std::string output;  // standard output
  std::string errors;  // standard error
};

// Runs the program with these words, the first of which is its path, with `input` to read. Throws
// when it cannot be started.
ProgramRun runProgram(const std::vector<std::string>& words, const std::string& input = "");

// `text` without its last line feed, split at the others.
std::vector<std::string> linesOf(const std::string& text);

#endif
