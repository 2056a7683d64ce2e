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

// Opens the regular file `path`, on which another program (a file server, say) has a lease. It has
// been told by the first try, and gives the lease back, or the kernel takes it. Trying again waits
// for that and for nothing else: in an open that waits, the file could have become a FIFO.
int openLeased(const char* path, int flags) {
  constexpr timespec pause = {0, 5'000'000};
  // The kernel takes a lease after 45 seconds, if nobody has told it otherwise. By then a file's
  // owner may have taken another one, again and again.
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

// close() itself is where a thread may be cancelled, and a destructor must not be left by that.
void closeFile(int fd) {
  int state = PTHREAD_CANCEL_ENABLE;
  (void)pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &state);
  (void)close(fd);  // read only: nothing can get lost
  (void)pthread_setcancelstate(state, nullptr);
}

bool isRegularFile(int fd) {
  struct stat st = {};
  return fstat(fd, &st) == 0 && S_ISREG(st.st_mode);
}

}  // namespace ZEMO::SELF_CHECK
