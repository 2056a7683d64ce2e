// Mutual exclusion among runs that change sets.

#ifndef ZEMO_TOOLS_SETS_SET_LOCK_H
#define ZEMO_TOOLS_SETS_SET_LOCK_H

#include <memory>

#include "io/directory_lock.h"
#include "sets/set_content.h"

namespace tool {

// Keeps other runs from changing the sets in the same directories, or the key ring next to them.
// Makes the directories above the set's if they do not exist. Removes what runs that were killed
// have left. Throws Failure(STATUS_NOT_LOADED).
class SetLock {
 public:
  explicit SetLock(const SetPlace& place);

 private:
  DirectoryLock _top;
  std::unique_ptr<DirectoryLock> _own;  // of the set's directory, if that is another
};

}  // namespace tool

#endif
