// Acting while another program waits to open a file.

#ifndef ZEMO_TESTS_UNIT_TOOLS_MAKE_LEASE_H
#define ZEMO_TESTS_UNIT_TOOLS_MAKE_LEASE_H

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <csignal>
#include <string>

// Blocks the next program that opens a file, so that a test can act meanwhile.
class Lease {
 public:
  explicit Lease(const std::string& path) : _file(open(path.c_str(), O_RDWR | O_CLOEXEC)) {
    (void)signal(SIGIO, SIG_IGN);  // the kernel's notice that somebody waits
    _held = fcntl(_file, F_SETLEASE, F_WRLCK) == 0;
  }
  ~Lease() { release(); }
  Lease(const Lease&) = delete;
  Lease& operator=(const Lease&) = delete;

  // False where the file system has no leases.
  bool isHeld() const { return _held; }

  void waitForOpen() const {
    for (int i = 0; i < 3000 && fcntl(_file, F_GETLEASE) == F_WRLCK; ++i)
      usleep(10'000);
  }

  void release() {
    if (_file >= 0)
      close(_file);
    _file = -1;
  }

 private:
  int _file;
  bool _held = false;
};

#define REQUIRE_LEASE(lease) \
  if (!(lease).isHeld())     \
  GTEST_SKIP() << "this file system has no leases"

#endif
