// A time limit for tests of calls that must not block.

#ifndef ZEMO_TESTS_SUPPORT_TIME_LIMIT_H
#define ZEMO_TESTS_SUPPORT_TIME_LIMIT_H

#include <unistd.h>

// Ends the test program if this object lives for longer, so that no test waits forever.
class TimeLimit {
 public:
  explicit TimeLimit(unsigned seconds = 60) { alarm(seconds); }
  ~TimeLimit() { alarm(0); }
  TimeLimit(const TimeLimit&) = delete;
  TimeLimit& operator=(const TimeLimit&) = delete;
};

#endif
