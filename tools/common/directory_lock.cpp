#include "common/directory_lock.h"

#include <fcntl.h>
#include <sys/file.h>

#include <cerrno>

#include "common/failure.h"

namespace tool {

DirectoryLock::DirectoryLock(const std::string& directory)
    : _directory(open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {
  if (_directory.get() < 0)
    throw Failure(STATUS_NOT_LOADED, withReason("cannot open " + inQuotes(directory), errno));
  while (flock(_directory.get(), LOCK_EX) != 0 && errno == EINTR) {
  }
}

}  // namespace tool
