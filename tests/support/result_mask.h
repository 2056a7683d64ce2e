// Results as the numbers that callers in other languages see.

#ifndef ZEMO_TESTS_SUPPORT_RESULT_MASK_H
#define ZEMO_TESTS_SUPPORT_RESULT_MASK_H

#include <zemo/selfcheck/self_check_files.h>

#include <cstdint>
#include <cstring>
#include <vector>

// The whole word, so that a bit that belongs to no flag also shows.
inline uint32_t maskOf(const SELFCHECK_RESULT& result) {
  static_assert(sizeof result == sizeof(uint32_t));
  uint32_t mask = 0;
  memcpy(&mask, &result, sizeof mask);
  return mask;
}

inline std::vector<uint32_t> masksOf(const std::vector<SELFCHECK_RESULT>& results) {
  std::vector<uint32_t> masks;
  for (const SELFCHECK_RESULT& result : results)
    masks.push_back(maskOf(result));
  return masks;
}

// The result whose mask is `mask`.
inline SELFCHECK_RESULT resultFrom(uint32_t mask) {
  SELFCHECK_RESULT result;
  memcpy(&result, &mask, sizeof result);
  return result;
}

#endif
