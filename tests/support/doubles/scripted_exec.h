// Running programs, recorded. Test programs that link this get VLIBExecl from here instead of from
// the core library.

#ifndef ZEMO_TESTS_SUPPORT_DOUBLES_SCRIPTED_EXEC_H
#define ZEMO_TESTS_SUPPORT_DOUBLES_SCRIPTED_EXEC_H

#include <functional>
#include <string>
#include <vector>

struct ExecCall {
  std::string program;
  int options;
  std::vector<std::string> words;
};

// The calls of VLIBExecl, oldest first. Tests clear it.
extern std::vector<ExecCall> execCalls;

// Decides what VLIBExecl returns without running anything; if empty, it returns 0.
extern std::function<int(const ExecCall&)> execResult;

// A value for execResult that does run the program, with the core library's own VLIBExecl and up to
// five words.
int reallyExec(const ExecCall& call);

#endif
