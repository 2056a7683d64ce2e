// The results of the shared set if memory ran out for some of its lines. As documented, the library
// logs such a line and skips it: it counts as a line without columns, whose entry has no path. So
// the results lack what that line says about its file, and nothing else.

#ifndef ZEMO_TESTS_SYSTEM_CALLERS_LOST_LINES_H
#define ZEMO_TESTS_SYSTEM_CALLERS_LOST_LINES_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "support/doubles/recorded_log.h"

class LostLines {
 public:
  // The lost lines that the log names.
  explicit LostLines(const std::vector<LogLine>& log);

  // Whether the set gives these result words without exactly these lines.
  bool give(const std::vector<uint32_t>& masks) const;

  // Whether a check of the whole set makes these records without exactly these lines.
  bool give(const std::vector<std::string>& records) const;

 private:
  bool give(const std::function<bool(unsigned lost)>& isFoundWithout) const;

  unsigned _known = 0;       // the lines that the log names, as bits
  std::size_t _unnamed = 0;  // how many lines the log does not name
  bool _any = false;
};

#endif
