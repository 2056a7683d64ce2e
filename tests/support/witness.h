// A program that reports how it was started.

#ifndef ZEMO_TESTS_SUPPORT_WITNESS_H
#define ZEMO_TESTS_SUPPORT_WITNESS_H

#include <zemo/core.h>

#include <map>
#include <string>
#include <vector>

struct Report {
  std::vector<std::string> words;  // from argv[0] on
  std::vector<std::string> variables;
  std::map<int, std::string> descriptors;  // what each open one refers to
  std::string blocked;                     // signals, as /proc shows them
  std::string ignored;
  int process = 0;
  int parent = 0;
  int group = 0;
};

// A program's blocked and ignored signals, if there are none.
extern const char noSignals[];

// The path of the program, which writes its report to the file named by its first word.
const char* witness();

Report readReport(const std::string& path);

// VLIBExecl with a null pointer at the end.
template <typename... Words>
int execute(const char* program, int options, Words... words) {
  return VLIBExecl(program, options, words..., static_cast<char*>(nullptr));
}

// Runs `script` in the shell, which ends before the call returns.
template <typename... Words>
int shell(int options, const char* script, Words... words) {
  return execute("/bin/sh", options | VLIB_EXEC_WAIT, "-c", script, words...);
}

#endif
