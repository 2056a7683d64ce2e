// Whether a list that has been written says what it was meant to say, and whether that is so.

#ifndef ZEMO_TOOLS_MAKE_PROOF_H
#define ZEMO_TOOLS_MAKE_PROOF_H

#include <string>
#include <vector>

#include "common/progress.h"
#include "make/difference.h"
#include "make/plan.h"

namespace tool {

// Reads the base lists and the one at `path` through the library and compares every entry with what
// was `found`. Throws Failure(STATUS_NOT_LOADED) if that differs. Then checks the list's entries,
// and those of fixed directories, against the disk, says every mismatch, and returns the exit
// status: STATUS_CHANGED for mismatches, STATUS_UNCHECKED for what cannot be read any more.
int provenStatus(const std::string& path, const MakePlan& plan, const std::vector<Described>& found,
                 const Difference& written, Progress& progress);

}  // namespace tool

#endif
