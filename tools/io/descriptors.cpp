#include "io/descriptors.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

#include "io/exit_status.h"

namespace tool {

Descriptor& Descriptor::operator=(Descriptor&& other) noexcept {
  if (this != &other) {
    close();
    _number = other.release();
  }
  return *this;
}

int Descriptor::release() {
  int const number = _number;
  _number = -1;
  return number;
}

void Descriptor::close() {
  if (_number >= 0)
    (void)::close(_number);  // Linux closes it regardless of the result
  _number = -1;
}

void occupyStandardDescriptors() {
  for (int number = 0; number <= 2; ++number) {
    if (fcntl(number, F_GETFD) >= 0 || errno != EBADF)
      continue;
    // open() returns the lowest free number, which is this one. It is opened in the wrong direction
    // so that reads and writes still fail.
    if (open("/dev/null", number == 0 ? O_WRONLY : O_RDONLY) < 0)  // NOLINT(android-cloexec-open)
      return;
  }
}

void writeOut(std::string_view text) {
  (void)fwrite(text.data(), 1, text.size(), stdout);
}

void writeLine(const std::string& line) {
  writeOut(line + "\n");
}

std::size_t terminalWidth(int descriptor) {
  constexpr std::size_t usual = 80;
  winsize size = {};
  return ioctl(descriptor, TIOCGWINSZ, &size) != 0 || size.ws_col == 0 ? usual : size.ws_col;
}

void flushOutput() {
  errno = 0;
  if (fflush(stdout) == 0 && ferror(stdout) == 0)
    return;
  std::string const what = "cannot write to standard output";
  // If this flush succeeded, an earlier write failed and its reason is lost.
  throw Failure(STATUS_UNCHECKED, errno != 0 ? withReason(what, errno) : what);
}

}  // namespace tool
