// Programs without standard input, in which open() may return descriptor 0.

#ifndef ZEMO_TESTS_SUPPORT_WITHOUT_INPUT_H
#define ZEMO_TESTS_SUPPORT_WITHOUT_INPUT_H

#include <fcntl.h>
#include <unistd.h>

// While it exists, the program has no standard input.
class WithoutInput {
 public:
  WithoutInput() : _saved(fcntl(0, F_DUPFD_CLOEXEC, 3)) { (void)close(0); }
  ~WithoutInput() {
    (void)dup2(_saved, 0);
    (void)close(_saved);
  }
  WithoutInput(const WithoutInput&) = delete;
  WithoutInput& operator=(const WithoutInput&) = delete;

  // True if descriptor 0 is closed, still or again.
  static bool isFree() { return fcntl(0, F_GETFD) < 0; }

 private:
  int _saved;
};

#endif
