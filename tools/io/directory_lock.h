// One at a time, among the runs of this program.

#ifndef ZEMO_TOOLS_IO_DIRECTORY_LOCK_H
#define ZEMO_TOOLS_IO_DIRECTORY_LOCK_H

#include <chrono>
#include <memory>

#include "io/descriptors.h"
#include "io/directory.h"
#include "io/temporary_path.h"

namespace tool {

// While one lives, others for the same directory wait in their constructor. Other programs take no
// notice. It is the lock of a file in the directory that its owner alone can open, so that nobody
// else can hold it; the file goes with it. On a file system without locks it does nothing.
class DirectoryLock {
 public:
  // Says after a second that it waits. Throws Failure(STATUS_NOT_LOADED) if the file cannot be
  // made, or the lock is not free after `patience`.
  explicit DirectoryLock(Directory directory,
                         std::chrono::milliseconds patience = std::chrono::minutes(1));

 private:
  bool isTaken();

  Directory _directory;
  Descriptor _file;
  std::unique_ptr<TemporaryPath> _guard;  // goes first: the file is ours until it is closed
};

}  // namespace tool

#endif
