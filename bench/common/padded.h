// A number as text of a fixed width.

#ifndef ZEMO_BENCH_COMMON_PADDED_H
#define ZEMO_BENCH_COMMON_PADDED_H

#include <string>

// `number`, of at most `width` digits, with leading zeros.
inline std::string padded(unsigned number, size_t width) {
  std::string const digits = std::to_string(number);
  return std::string(width - digits.size(), '0') + digits;
}

#endif
