#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <zemo/core.h>
#include <zemo/package.h>

#include <algorithm>
#include <cerrno>
#include <ctime>

namespace {

constexpr char packagesDir[] = "/var/packages/";
constexpr size_t longestName = 256;

time_t seconds() {
  timespec now = {};
  (void)clock_gettime(CLOCK_MONOTONIC, &now);
  return now.tv_sec;
}

bool isRegularFile(const std::string& path) {
  struct stat st = {};
  return stat(path.c_str(), &st) == 0 && S_ISREG(st.st_mode);
}

// Opens `path`. If another program has a lease on a regular file, waits for it up to a minute; by
// default, the kernel breaks the lease after 45 seconds. Does not wait for the writer of a FIFO.
// Returns the descriptor, or -1.
int openRegular(const std::string& path) {
  constexpr timespec pause = {0, 5'000'000};
  constexpr time_t longest = 60;
  time_t const end = seconds() + longest;
  int fd = -1;
  for (;;) {
    fd = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK);
    if (fd >= 0)
      return fd;
    int const error = errno;
    if (error == EWOULDBLOCK && isRegularFile(path) && seconds() < end) {
      (void)nanosleep(&pause, nullptr);
    } else if (error != EINTR) {
      errno = error;
      return -1;
    }
  }
}

// Stores the content of the regular file `path`; of a longer file, only the first longestName + 2
// bytes, which show that it is too long. Returns 0 or the error number.
int readShortFile(const std::string& path, std::string& content) {
  int const fd = openRegular(path);
  if (fd < 0)
    return errno;

  char buffer[longestName + 2];
  size_t size = 0;
  int error = 0;
  struct stat st = {};
  if (fstat(fd, &st) != 0 || !S_ISREG(st.st_mode))
    error = EINVAL;
  while (error == 0 && size < sizeof buffer) {
    ssize_t const count = read(fd, buffer + size, sizeof buffer - size);
    if (count == 0)
      break;
    if (count > 0)
      size += static_cast<size_t>(count);
    else if (errno != EINTR)
      error = errno;
  }
  (void)close(fd);  // opened read-only, so no data can be lost
  if (error == 0)
    content.assign(buffer, size);
  return error;
}

// Returns true if nothing exists at `path`. A dangling symbolic link counts as existing.
bool isAbsent(const std::string& path) {
  struct stat st = {};
  return lstat(path.c_str(), &st) != 0 && errno == ENOENT;
}

// A NUL in the name would end the path there and lead to another package.
bool isPathText(const std::string& name) {
  return name.find('\0') == std::string::npos;
}

// Valid names of password entries contain no blank, control character, ':' or '/'.
bool isUserName(const std::string& text) {
  return !text.empty() && text.size() <= longestName &&
         std::none_of(text.begin(), text.end(), [](unsigned char c) {
           return c <= ' ' || c == 0x7f || c == ':' || c == '/';
         });
}

std::string noName(int code) {
  VLIBErrSet(code);
  return {};
}

}  // namespace

bool ZEMOPackageTool::PMSCheckPackage(const std::string& name) {
  struct stat st = {};
  return isPathText(name) && stat((packagesDir + name + "/target").c_str(), &st) == 0 &&
         S_ISDIR(st.st_mode);
}

std::string ZEMOPackageTool::PMSGetPkgUserName(const std::string& name) {
  if (!isPathText(name))
    return noName(ZEMO_PACKAGE_BAD_USER);
  std::string const path = packagesDir + name + "/user";
  std::string user;
  int const error = readShortFile(path, user);
  if (error == ENOENT && isAbsent(path))
    return noName(ZEMO_PACKAGE_NO_USER);
  if (error != 0)
    return noName(ZEMO_PACKAGE_BAD_USER);
  if (!user.empty() && user.back() == '\n')
    user.pop_back();
  return isUserName(user) ? user : noName(ZEMO_PACKAGE_BAD_USER);
}
