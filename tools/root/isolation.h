// Separating this process's view of the file system from the machine's.

#ifndef ZEMO_TOOLS_ROOT_ISOLATION_H
#define ZEMO_TOOLS_ROOT_ISOLATION_H

#include <string>

namespace tool {

// Moves this process, which must not have started a thread, into a mount namespace of its own. Its
// mounts are not seen elsewhere and disappear with the process. Without the rights for
// that, it also gets a user namespace, in which only its own user and group have numbers.
//
// Returns true if users and groups have the same numbers as before. Throws
// Failure(STATUS_NOT_LOADED) if the machine forbids it.
bool isolateMounts();

// Numbers that the kernel shows as the owner and the group of every file whose owner and group have
// no number in this process's user namespace. Empty if all have one.
struct UnclearIds {
  std::string owner;
  std::string group;
};
UnclearIds unclearIds();

}  // namespace tool

#endif
