// What a list has to say so that it and the lists before it together state what was found.

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

// The entries that are not in `base` with the very same columns; and, of those in `base` that are
// not in `found`, the ones to remove: what lies at or below a tree of the plan or is a member of
// one of its fixed directories, and, if there are names from elsewhere, what is gone from the disk.
Difference differenceTo(const ZEMO::SELF_CHECK::FileList::ProtectedFileMap& base,
                        const std::vector<Described>& found, const MakePlan& plan);

// The directories above the files that were `found` that neither `base` nor this list states to be
// directories, but the root directory and those above a package's own: nothing tells when a link
// takes the place of one. In byte order.
std::set<std::string> unlistedParents(const ZEMO::SELF_CHECK::FileList::ProtectedFileMap& base,
                                      const std::vector<Described>& found,
                                      const std::string& packageDirectory);

// Nothing is at `path` any more.
bool isGone(const std::string& path);

}  // namespace tool

#endif
