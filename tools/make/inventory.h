// Finds the files that a list must contain.

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
  bool config = false;            // its content is up to the administrator
  std::set<std::string> digests;  // of the content that packages installed; one for each package
};

// By path, in byte order.
using Inventory = std::map<std::string, Found>;

// Finds the files that `plan` names. Trees are walked without following links, but into other file
// systems. The list itself, its signature and files that vanish meanwhile are left out. A name
// without a file on disk is not a problem if `base` has entries at or below it: the list will
// remove them. Throws Failure(STATUS_NOT_LOADED) if the sources of names cannot be read.
Inventory takeInventory(const MakePlan& plan,
                        const ZEMO::SELF_CHECK::FileList::ProtectedFileMap& base,
                        Progress& progress, Problems& problems);

// Throws UsageError if the list would become a member of a directory with fixed members.
void requireOutputOutside(const MakePlan& plan,
                          const ZEMO::SELF_CHECK::FileList::ProtectedFileMap& base);

// Keeps directories with fixed members in `base` fixed, as long as they are still directories.
void keepFixed(const ZEMO::SELF_CHECK::FileList::ProtectedFileMap& base, Inventory& inventory);

}  // namespace tool

#endif
