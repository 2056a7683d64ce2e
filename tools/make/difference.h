// The statements that a list needs so that, together with the lists before it, it describes the
// files found.

#ifndef ZEMO_TOOLS_MAKE_DIFFERENCE_H
#define ZEMO_TOOLS_MAKE_DIFFERENCE_H

#include <zemo/selfcheck.h>

#include <set>
#include <string>
#include <vector>

#include "make/describe.h"
#include "make/plan.h"

namespace tool {

struct Difference {
  std::vector<Described> entries;     // in byte order of their paths
  std::vector<std::string> removals;  // paths, in byte order
};

// Merges the base lists into `list`. Throws Failure(STATUS_NOT_LOADED) if one cannot be read.
void mergeBases(const MakePlan& plan, ZEMO::SELF_CHECK::FileList& list);

// The entries that `base` does not contain with identical columns, and the entries of `base` to
// remove. An entry is removed if it is not in `found` and is at or below a tree of the plan, or is
// a member of one of its fixed directories, or, if names come from another source, no longer exists
// on disk.
Difference differenceTo(const ZEMO::SELF_CHECK::FileList::ProtectedFileMap& base,
                        const std::vector<Described>& found, const MakePlan& plan);

// The directories above the files `found` that neither `base` nor this list states to be
// directories: nothing would show that a link has replaced one. The root directory and those above
// a package's own are left out. In byte order.
std::set<std::string> unlistedParents(const ZEMO::SELF_CHECK::FileList::ProtectedFileMap& base,
                                      const std::vector<Described>& found,
                                      const std::string& packageDirectory);

// True if nothing exists at `path` any more.
bool isGone(const std::string& path);

}  // namespace tool

#endif
