// Whether a list that has been written says what it was meant to say, and whether that is so.

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

// Reads the base lists and the one at `path` through the library and compares every entry with what
// was `found`. Throws Failure(STATUS_NOT_LOADED) if that differs. Returns the list.
std::unique_ptr<ZEMO::SELF_CHECK::FileList> readBack(const std::string& path, const MakePlan& plan,
                                                     const std::vector<Described>& found,
                                                     const Difference& written);

struct Verification {
  int status = 0;              // the exit status
  std::set<std::string> gone;  // files that have vanished, which the status takes no notice of
};

// Checks the entries of the list that was read back, and those of fixed directories, against the
// disk, and says every mismatch: STATUS_CHANGED for mismatches, STATUS_UNCHECKED for what cannot be
// read any more.
Verification verifyWritten(const ZEMO::SELF_CHECK::FileList& list, const MakePlan& plan,
                           const std::vector<Described>& found, const Difference& written,
                           Progress& progress);

}  // namespace tool

#endif
