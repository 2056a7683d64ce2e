#include "io/directory_lock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <thread>

#include "io/exit_status.h"
#include "io/paths.h"

namespace tool {
namespace {

const char* const lockName = ".zemo-lock";

[[noreturn]] void replaced(const std::string& path) {
  throw DirectoryReplaced(STATUS_NOT_LOADED, "another run has replaced " + inQuotes(path) +
                                                 " meanwhile; nothing was done: try again");
}

}  // namespace

// The holder of the lock removes the file before it releases the lock. So the lock counts only
// while the name still leads to the file.
bool DirectoryLock::isTaken() {
  HeldSignals const untilNoted;
  Descriptor file(openat(_directory.get(), lockName,
                         O_RDWR | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC, 0600));
  if (file.get() < 0)
    return false;
  struct stat opened = {};
  struct stat named = {};
  if (flock(file.get(), LOCK_EX | LOCK_NB) != 0 && (errno == EWOULDBLOCK || errno == EINTR)) {
    errno = EWOULDBLOCK;
    return false;
  }
  if (fstat(file.get(), &opened) != 0 ||
      fstatat(_directory.get(), lockName, &named, AT_SYMLINK_NOFOLLOW) != 0 ||
      opened.st_dev != named.st_dev || opened.st_ino != named.st_ino) {
    errno = EWOULDBLOCK;
    return false;
  }
  _file = std::move(file);
  _guard = std::make_unique<TemporaryPath>(joined(_directory.path(), lockName));
  return true;
}

DirectoryLock::DirectoryLock(Directory directory, std::chrono::milliseconds patience)
    : _directory(std::move(directory)) {
  constexpr auto pause = std::chrono::milliseconds(10);
  constexpr auto silence = std::chrono::seconds(1);
  std::string const path = joined(_directory.path(), lockName);
  if (_directory.get() < 0)
    throw Failure(STATUS_NOT_LOADED,
                  withReason("cannot open " + inQuotes(_directory.path()), _directory.error()));
  auto const start = std::chrono::steady_clock::now();
  bool told = false;
  while (!isTaken()) {
    int const error = errno;
    if (error == ENOENT)  // nothing can be made in a directory that was removed
      replaced(_directory.path());
    // In a directory that several users can write to, another user's file cannot be opened.
    bool const isHeld =
        error == EWOULDBLOCK ||
        (error == EACCES && faccessat(_directory.get(), ".", W_OK | X_OK, AT_EACCESS) == 0);
    if (!isHeld)
      throw Failure(STATUS_NOT_LOADED,
                    withReason("cannot write to " + inQuotes(_directory.path()), error));
    auto const waited = std::chrono::steady_clock::now() - start;
    if (waited >= patience)
      throw Failure(STATUS_NOT_LOADED,
                    "another run holds the lock " + inQuotes(path) +
                        "; nothing was done (remove the file if no other run exists)");
    if (waited >= silence && !told)
      say("waiting for another run, which holds the lock " + inQuotes(path));
    told = told || waited >= silence;
    std::this_thread::sleep_for(pause);
  }
  // The holder may have put another directory in this one's place.
  struct stat opened = {};
  struct stat named = {};
  if (fstat(_directory.get(), &opened) != 0 || stat(_directory.path().c_str(), &named) != 0 ||
      opened.st_dev != named.st_dev || opened.st_ino != named.st_ino) {
    _guard->keep();  // its path leads into the other directory
    (void)unlinkat(_directory.get(), lockName, 0);
    replaced(_directory.path());
  }
}

DirectoryLock lockOn(const std::function<Directory()>& open) {
  constexpr int attempts = 20;
  for (int left = attempts - 1; left > 0; --left) {
    try {
      return DirectoryLock(open());
    } catch (const DirectoryReplaced&) {  // the new one has a lock of its own
    }
  }
  return DirectoryLock(open());
}

}  // namespace tool
