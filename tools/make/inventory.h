// Finds the files that a list must contain.

#ifndef ZEMO_TOOLS_MAKE_INVENTORY_H
#define ZEMO_TOOLS_MAKE_INVENTORY_H

#include <zemo/selfcheck.h>

#include <map>
#include <set>
#include <string>
#include <vector>

#include "make/dpkg.h"
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

// Names that come from elsewhere than the arguments.
struct Sources {
  std::vector<std::string> names;  // absolute paths
  std::vector<DebFiles> debs;
};

// Reads the file of --from on this machine, and the dpkg database of `root`, or of this machine if
// that is null. Throws Failure(STATUS_NOT_LOADED), and UsageError for a relative name if there is
// another root.
Sources readSources(const MakePlan& plan, const Tree* root);

// Finds the files that `plan` and `sources` name. Trees are walked without following links, and
// into other file systems unless the plan forbids it. The list itself, its signature and files that
// vanish meanwhile are left out. A name without a file on disk is not a problem if `base` has
// entries at or below it: the list will remove them.
Inventory takeInventory(const MakePlan& plan, Sources sources,
                        const ZEMO::SELF_CHECK::FileList::ProtectedFileMap& base,
                        Progress& progress, Problems& problems);

// Throws UsageError if the list would become a member of a directory with fixed members.
void requireOutputOutside(const MakePlan& plan,
                          const ZEMO::SELF_CHECK::FileList::ProtectedFileMap& base);

// Keeps directories with fixed members in `base` fixed, as long as they are still directories.
void keepFixed(const ZEMO::SELF_CHECK::FileList::ProtectedFileMap& base, Inventory& inventory);

}  // namespace tool

#endif
