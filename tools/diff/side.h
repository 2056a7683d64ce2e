// One of the two sides that `diff` compares.

#ifndef ZEMO_TOOLS_DIFF_SIDE_H
#define ZEMO_TOOLS_DIFF_SIDE_H

#include <string>

#include "root/other_root.h"
#include "sets/differences.h"

namespace tool {

// True if `name` is a path of a list or of a directory of lists, not a set: it contains a slash or
// ends in ".list".
bool namesPath(const std::string& name);

// Reads a list, leaving its placeholders unresolved, merges the lists in a directory, likewise, or
// merges a set, resolving its placeholders. With `root`, which is in place, it must be a set.
// Throws Failure(STATUS_NOT_LOADED) if that fails.
Side readSide(const std::string& name, const std::string& mode, bool verify,
              const OtherRoot* root = nullptr);

}  // namespace tool

#endif
