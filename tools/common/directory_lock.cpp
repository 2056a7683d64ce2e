#include "common/directory_lock.h"

#include <fcntl.h>
#include <sys/file.h>

#include <cerrno>

#include "common/failure.h"

namespace tool {

DirectoryLock::DirectoryLock(const Directory& directory)
    : _locked(openat(directory.get(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {
  if (_locked.get() < 0)
    throw Failure(STATUS_NOT_LOADED, withReason("cannot open " + inQuotes(directory.path()), errno));
  while (flock(_locked.get(), LOCK_EX) != 0 && errno == EINTR) {
  }
}

}  // namespace tool
