// Mutual exclusion among runs of this program.

#ifndef ZEMO_TOOLS_IO_DIRECTORY_LOCK_H
#define ZEMO_TOOLS_IO_DIRECTORY_LOCK_H

#include <chrono>
#include <functional>
#include <memory>

#include "io/descriptors.h"
#include "io/directory.h"
#include "io/exit_status.h"
#include "io/temporary_path.h"

namespace tool {

// Another run has put another directory in the place of one that was to be locked.
struct DirectoryReplaced : Failure {
  using Failure::Failure;
};

// While a DirectoryLock exists, constructors of others for the same directory wait. Other programs
// are not affected. It locks a file in the directory that only its owner can open, so that no other
// user can hold the lock; the destructor removes the file. On a file system without locks it has no
// effect.
class DirectoryLock {
 public:
  // Prints a message after waiting for a second. Throws Failure(STATUS_NOT_LOADED) if the file
  // cannot be made, or if the lock is not free after `patience`, and DirectoryReplaced if the
  // directory's path leads elsewhere by then.
  explicit DirectoryLock(Directory directory,
                         std::chrono::milliseconds patience = std::chrono::minutes(1));

  const Directory& directory() const { return _directory; }

 private:
  bool isTaken();

  Directory _directory;
  Descriptor _file;
  std::unique_ptr<TemporaryPath> _guard;  // destroyed first: the file is ours until it is closed
};

// Locks the directory that `open` returns, and opens it again if another run has replaced it.
DirectoryLock lockOn(const std::function<Directory()>& open);

}  // namespace tool

#endif
