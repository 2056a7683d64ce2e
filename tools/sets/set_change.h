// Showing how a set changes, and changing it.

#ifndef ZEMO_TOOLS_SETS_SET_CHANGE_H
#define ZEMO_TOOLS_SETS_SET_CHANGE_H

#include <string>

#include "sets/set_content.h"

namespace tool {

struct SetChangeOptions {
  std::string command;  // its name, for JSON
  bool dryRun = false;
  std::string format = "text";  // or "json"
};

// Writes to standard output how the set changes: each list that is not the same, and each entry, if
// the set had lists before. Then, without `dryRun`, replaces `before` by `after`, whose order is
// first made to fit its lists; a SetLock must exist. Throws Failure(STATUS_NOT_LOADED).
void changeSet(const SetPlace& place, const SetContent& before, SetContent after,
               const SetChangeOptions& options);

}  // namespace tool

#endif
