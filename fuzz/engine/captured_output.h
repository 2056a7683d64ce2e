// Captures text written to standard output and standard error.

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

// Calls `work` with stdout and stderr replaced by streams in memory; the file descriptors stay the
// same, for reports of sanitizers.
Output captured(const std::function<void()>& work);

}  // namespace fuzz

#endif
