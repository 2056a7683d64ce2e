#include "open_file.h"

#include <fcntl.h>
#include <pthread.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <ctime>

namespace ZEMO::SELF_CHECK {
namespace {

int openRetrying(const char* path, int flags) {
  int fd = -1;
  do {
    fd = open(path, flags | O_CLOEXEC);
  } while (fd < 0 && errno == EINTR);
  return fd;
}

bool isRegularFile(const char* path, int flags) {
  struct stat st = {};
  int const links = (flags & O_NOFOLLOW) != 0 ? AT_SYMLINK_NOFOLLOW : 0;
  return fstatat(AT_FDCWD, path, &st, links) == 0 && S_ISREG(st.st_mode);
}

time_t seconds() {
  timespec now = {};
  (void)clock_gettime(CLOCK_MONOTONIC, &now);
  return now.tv_sec;
}

// Opens the regular file `path` on which another program (such as a file server) holds a lease. The
// first attempt has notified that program, which gives the lease up, or the kernel breaks it.
// Repeated attempts wait for exactly that. A blocking open could wait for something else: the file
// could have become a FIFO.
int openLeased(const char* path, int flags) {
  constexpr timespec pause = {0, 5'000'000};
  // By default, the kernel breaks a lease after 45 seconds. The limit is needed because the file's
  // owner may take new leases again and again.
  constexpr time_t longest = 60;
  time_t const end = seconds() + longest;
  int fd = -1;
  while (fd < 0 && errno == EWOULDBLOCK && isRegularFile(path, flags) && seconds() < end) {
    (void)nanosleep(&pause, nullptr);
    fd = openRetrying(path, flags);
  }
  return fd;
}

}  // namespace

int openFile(const std::string& path, int flags) {
  int const all = O_RDONLY | O_NOCTTY | O_NONBLOCK | flags;
  int const fd = openRetrying(path.c_str(), all);
  return fd < 0 && errno == EWOULDBLOCK ? openLeased(path.c_str(), all) : fd;
}

// close() is a cancellation point, and cancellation must not unwind out of a destructor.
void closeFile(int fd) {
  int state = PTHREAD_CANCEL_ENABLE;
  (void)pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &state);
  (void)close(fd);  // opened read-only, so no data can be lost
  (void)pthread_setcancelstate(state, nullptr);
}

bool isRegularFile(int fd) {
  struct stat st = {};
  return fstat(fd, &st) == 0 && S_ISREG(st.st_mode);
}

}  // namespace ZEMO::SELF_CHECK
