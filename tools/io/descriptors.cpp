#include "io/descriptors.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <array>
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

int readBlocks(int descriptor, const std::function<void(std::string_view)>& take) {
  std::array<char, 65536> buffer;  // NOLINT(cppcoreguidelines-pro-type-member-init) filled by read
  for (;;) {
    ssize_t const length = read(descriptor, buffer.data(), buffer.size());
    if (length < 0 && errno == EINTR)
      continue;
    if (length < 0)
      return errno;
    if (length == 0)
      return 0;
    take({buffer.data(), static_cast<std::size_t>(length)});
  }
}

int writeAll(int descriptor, std::string_view data) {
  while (!data.empty()) {
    ssize_t const length = write(descriptor, data.data(), data.size());
    if (length < 0 && errno == EINTR)
      continue;
    if (length <= 0)
      return length < 0 ? errno : EIO;
    data.remove_prefix(static_cast<std::size_t>(length));
  }
  return 0;
}

int syncToDisk(int descriptor) {
  while (fsync(descriptor) != 0) {
    if (errno != EINTR)
      return errno;
  }
  return 0;
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
