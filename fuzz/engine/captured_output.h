// What is written to standard output and standard error, kept from them.

#ifndef ZEMO_FUZZ_ENGINE_CAPTURED_OUTPUT_H
#define ZEMO_FUZZ_ENGINE_CAPTURED_OUTPUT_H

#include <cstdio>
#include <functional>
#include <string>

namespace fuzz {

struct Output {
  std::string out;
  std::string errors;
};

// Calls `work` with streams in memory in the places of stdout and stderr; the descriptors below
// stay as they are, for reports of sanitizers.
Output captured(const std::function<void()>& work);

}  // namespace fuzz

#endif
