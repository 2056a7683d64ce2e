#include "open_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

namespace ZEMO::SELF_CHECK {
namespace {

int openRetrying(const std::string& path, int flags) {
  int fd = -1;
  do {
    fd = open(path.c_str(), flags | O_CLOEXEC);
  } while (fd < 0 && errno == EINTR);
  return fd;
}

// Opens the regular file `path`, waiting until the program that has a lease on it (a file server,
// say) gives it back or the kernel takes it. What stands at the path is held first, so that it
// cannot become a FIFO, which would be waited for without end.
int openLeased(const std::string& path, int flags) {
  int const held = openRetrying(path, O_PATH | (flags & O_NOFOLLOW));
  if (held < 0)
    return -1;
  int const fd =
      isRegularFile(held) ? openRetrying("/proc/self/fd/" + std::to_string(held), O_RDONLY) : -1;
  (void)close(held);  // nothing was written: nothing can get lost
  return fd;
}

}  // namespace

int openFile(const std::string& path, int flags) {
  int const fd = openRetrying(path, O_RDONLY | O_NOCTTY | O_NONBLOCK | flags);
  return fd < 0 && errno == EWOULDBLOCK ? openLeased(path, flags) : fd;
}

bool isRegularFile(int fd) {
  struct stat st = {};
  return fstat(fd, &st) == 0 && S_ISREG(st.st_mode);
}

}  // namespace ZEMO::SELF_CHECK
