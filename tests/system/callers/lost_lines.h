// What becomes of the shared set when there was no memory for some of its lines. It is documented
// that such a line is logged and skipped: it counts as one without columns, whose entry has no
// path. So what the line says of its file is missing in the results, and nothing else.

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
  // Those that the log tells of.
  explicit LostLines(const std::vector<LogLine>& log);

  // Whether these are the result words that the set gives without exactly these lines.
  bool give(const std::vector<uint32_t>& masks) const;

  // Whether these are the records that a check of the whole set makes without exactly these lines.
  bool give(const std::vector<std::string>& records) const;

 private:
  bool give(const std::function<bool(unsigned lost)>& isFoundWithout) const;

  unsigned _known = 0;       // the lines that the log names, as bits
  std::size_t _unnamed = 0;  // how many it does not name
  bool _any = false;
};

#endif
