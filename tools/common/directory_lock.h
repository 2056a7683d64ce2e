// One at a time, among the runs of this program.

#ifndef ZEMO_TOOLS_COMMON_DIRECTORY_LOCK_H
#define ZEMO_TOOLS_COMMON_DIRECTORY_LOCK_H

#include "common/descriptors.h"
#include "common/directory.h"

namespace tool {

// While one lives, others for the same directory wait in their constructor. Other programs take no
// notice. On a file system without locks it does nothing.
class DirectoryLock {
 public:
  // Throws Failure(STATUS_NOT_LOADED) if the directory cannot be opened.
  explicit DirectoryLock(const Directory& directory);

 private:
  Descriptor _locked;
};

}  // namespace tool

#endif
