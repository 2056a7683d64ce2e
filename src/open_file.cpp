#include "open_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

namespace ZEMO::SELF_CHECK {
namespace {

int openRetrying(const char* path, int flags) {
  int fd = -1;
  do {
    fd = open(path, flags | O_CLOEXEC);
  } while (fd < 0 && errno == EINTR);
  return fd;
}

// Opens the regular file `path`, waiting until the program that has a lease on it (a file server,
// say) gives it back or the kernel takes it. What stands at the path is held first, so that it
// cannot become a FIFO, which would be waited for without end.
int openLeased(const char* path, int flags) {
  int const held = openRetrying(path, O_PATH | (flags & O_NOFOLLOW));
  if (held < 0)
    return -1;
  char again[32];  // no string: it could throw, and leave the descriptor open
  (void)snprintf(again, sizeof again, "/proc/self/fd/%d", held);
  int const fd = isRegularFile(held) ? openRetrying(again, O_RDONLY) : -1;
  (void)close(held);  // nothing was written: nothing can get lost
  return fd;
}

}  // namespace

int openFile(const std::string& path, int flags) {
  int const fd = openRetrying(path.c_str(), O_RDONLY | O_NOCTTY | O_NONBLOCK | flags);
  return fd < 0 && errno == EWOULDBLOCK ? openLeased(path.c_str(), flags) : fd;
}

bool isRegularFile(int fd) {
  struct stat st = {};
  return fstat(fd, &st) == 0 && S_ISREG(st.st_mode);
}

}  // namespace ZEMO::SELF_CHECK
