// A limit for tests of what must not block.

#ifndef ZEMO_TESTS_SUPPORT_TIME_LIMIT_H
#define ZEMO_TESTS_SUPPORT_TIME_LIMIT_H

#include <unistd.h>

// Ends the test program, instead of the tests waiting for ever, when it lives for longer than this.
class TimeLimit {
 public:
  explicit TimeLimit(unsigned seconds = 60) { alarm(seconds); }
  ~TimeLimit() { alarm(0); }
  TimeLimit(const TimeLimit&) = delete;
  TimeLimit& operator=(const TimeLimit&) = delete;
};

#endif
