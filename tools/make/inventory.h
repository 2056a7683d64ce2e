// Which files a list is to name.

#ifndef ZEMO_TOOLS_MAKE_INVENTORY_H
#define ZEMO_TOOLS_MAKE_INVENTORY_H

#include <zemo/selfcheck.h>

#include <map>
#include <set>
#include <string>
#include <vector>

#include "make/plan.h"
#include "make/problems.h"
#include "run/progress.h"

namespace tool {

struct Found {
  uint64_t bytes = 0;             // of a regular file
  bool fixed = false;             // a directory whose members are fixed
  bool config = false;            // what it contains is up to the machine's administrator
  std::set<std::string> digests;  // what packages installed here; of several, each has its own
};

// By path, in byte order.
using Inventory = std::map<std::string, Found>;

// Finds what `plan` names. Trees are walked without following links, into other file systems, too.
// The list itself and its signature are left out, and so is what vanishes meanwhile. A name that
// nothing on disk has is no problem if `base` has entries at or below it: the list will remove
// those. Throws Failure(STATUS_NOT_LOADED) if the sources of names cannot be read.
Inventory takeInventory(const MakePlan& plan,
                        const ZEMO::SELF_CHECK::FileList::ProtectedFileMap& base,
                        Progress& progress, Problems& problems);

// Throws UsageError if the list would become a member of a directory whose members are fixed.
void requireOutputOutside(const MakePlan& plan,
                          const ZEMO::SELF_CHECK::FileList::ProtectedFileMap& base);

// Directories whose members `base` fixes stay such, where they are directories still.
void keepFixed(const ZEMO::SELF_CHECK::FileList::ProtectedFileMap& base, Inventory& inventory);

}  // namespace tool

#endif
