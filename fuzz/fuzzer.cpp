// The entry point for libFuzzer, for the only target in the program.

#include <cstddef>
#include <cstdint>

#include "engine/target.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
  static fuzz::Run const run = fuzz::targets().begin()->second;
  run(fuzz::Input({reinterpret_cast<const char*>(data), size}));
  return 0;
}
