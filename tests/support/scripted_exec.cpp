#include "support/scripted_exec.h"

#include <zemo/core.h>

#include <cstdarg>

std::vector<ExecCall> execCalls;
std::function<int(const ExecCall&)> execResult;

int VLIBExecl(const char* program, int options, ...) {
  ExecCall call = {program, options, {}};
  va_list words;
  va_start(words, options);
  while (const char* word = va_arg(words, const char*))
    call.words.emplace_back(word);
  va_end(words);
  execCalls.push_back(call);
  return execResult ? execResult(call) : 0;
}
