#include "support/doubles/scripted_exec.h"

#include <dlfcn.h>
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

int reallyExec(const ExecCall& call) {
  static auto* const real = reinterpret_cast<decltype(&VLIBExecl)>(dlsym(RTLD_NEXT, "VLIBExecl"));
  const std::vector<std::string>& words = call.words;
  auto const word = [&](size_t i) { return i < words.size() ? words[i].c_str() : nullptr; };
  // Words after the first null pointer are ignored.
  return real(call.program.c_str(), call.options, word(0), word(1), word(2), word(3), word(4),
              static_cast<char*>(nullptr));
}
