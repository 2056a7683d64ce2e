// Mutual exclusion among runs of this program.

#ifndef ZEMO_TOOLS_IO_DIRECTORY_LOCK_H
#define ZEMO_TOOLS_IO_DIRECTORY_LOCK_H

#include <chrono>
#include <memory>

#include "io/descriptors.h"
#include "io/directory.h"
#include "io/temporary_path.h"

namespace tool {

// While a DirectoryLock exists, constructors of others for the same directory wait. Other programs
// are not affected. It locks a file in the directory that only its owner can open, so that no other
// user can hold the lock; the destructor removes the file. On a file system without locks it has no
// effect.
class DirectoryLock {
 public:
  // Prints a message after waiting for a second. Throws Failure(STATUS_NOT_LOADED) if the file
  // cannot be made, if the lock is not free after `patience`, or if the directory's path leads
  // elsewhere by then.
  explicit DirectoryLock(Directory directory,
                         std::chrono::milliseconds patience = std::chrono::minutes(1));

 private:
  bool isTaken();

  Directory _directory;
  Descriptor _file;
  std::unique_ptr<TemporaryPath> _guard;  // destroyed first: the file is ours until it is closed
};

}  // namespace tool

#endif
