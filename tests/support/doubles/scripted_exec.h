// Running programs, recorded: test programs that link this have VLIBExecl in the place of the core
// library's own.

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

// What VLIBExecl was called with, oldest first. Tests clear it.
extern std::vector<ExecCall> execCalls;

// Decides what VLIBExecl returns, without running anything; empty: 0.
extern std::function<int(const ExecCall&)> execResult;

// What execResult may be, to run the program after all: the core library's own VLIBExecl, with up
// to five words.
int reallyExec(const ExecCall& call);

#endif
