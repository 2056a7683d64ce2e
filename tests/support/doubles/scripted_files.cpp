#include "support/doubles/scripted_files.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>

ScriptedReads scriptedReads;
int openFlags = 0;
std::vector<int> openErrors;
bool everyFileIsLeased = false;

ssize_t read(int fd, void* buffer, std::size_t size) {
  static auto* const real =
      reinterpret_cast<ssize_t (*)(int, void*, std::size_t)>(dlsym(RTLD_NEXT, "read"));
  ScriptedReads& now = scriptedReads;
  if ((now.goodCalls == 0 || now.goodBytes == 0) && now.failingCalls != 0) {
    if (now.failingCalls > 0)
      --now.failingCalls;
    errno = now.error;
    return -1;
  }
  if (now.goodCalls > 0)
    --now.goodCalls;
  size = std::min(size, now.mostBytes);
  if (now.goodBytes < 0)
    return real(fd, buffer, size);
  ssize_t const count = real(fd, buffer, std::min(size, static_cast<std::size_t>(now.goodBytes)));
  now.goodBytes -= std::max<ssize_t>(count, 0);
  return count;
}

int open(const char* path, int flags, ...) {
  // Only existing files are opened, so the mode of a new file does not matter.
  static auto* const real =
      reinterpret_cast<int (*)(const char*, int, ...)>(dlsym(RTLD_NEXT, "open64"));
  openFlags = flags;
  if (everyFileIsLeased) {
    errno = EWOULDBLOCK;
    return -1;
  }
  if (!openErrors.empty()) {
    errno = openErrors.front();
    openErrors.erase(openErrors.begin());
    return -1;
  }
  return real(path, flags, 0600);
}

// Fortification replaces an open without a mode with this.
extern "C" int checkedOpen(const char* path, int flags) __asm__("__open64_2");
int checkedOpen(const char* path, int flags) {
  return open(path, flags);
}
