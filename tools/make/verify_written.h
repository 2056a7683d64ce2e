// Verifies that a written list says what it should, and that this is true of the disk.

#ifndef ZEMO_TOOLS_MAKE_VERIFY_WRITTEN_H
#define ZEMO_TOOLS_MAKE_VERIFY_WRITTEN_H

#include <zemo/selfcheck.h>

#include <memory>
#include <set>
#include <string>
#include <vector>

#include "make/difference.h"
#include "make/plan.h"
#include "run/progress.h"

namespace tool {

// Reads the base lists and the list at `path` through the library and compares every entry with
// what was `found`. Throws Failure(STATUS_NOT_LOADED) if they differ. Returns the list.
std::unique_ptr<ZEMO::SELF_CHECK::FileList> readBack(const std::string& path, const MakePlan& plan,
                                                     const std::vector<Described>& found,
                                                     const Difference& written);

struct Verification {
  int status = 0;                   // the exit status
  std::set<std::string> differing;  // files with mismatches, and those that cannot be read again
  std::set<std::string> gone;       // vanished files, which do not affect the status
};

// Checks the entries of the list that was read back, and those of fixed directories, against the
// disk and prints every mismatch. The status has STATUS_CHANGED for mismatches and STATUS_UNCHECKED
// for files that can no longer be read.
Verification verifyWritten(const ZEMO::SELF_CHECK::FileList& list, const MakePlan& plan,
                           const std::vector<Described>& found, const Difference& written,
                           Progress& progress);

}  // namespace tool

#endif
