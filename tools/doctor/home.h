// Checks GnuPG and its home for all sets: key ring and gpg.conf.

#ifndef ZEMO_TOOLS_DOCTOR_HOME_H
#define ZEMO_TOOLS_DOCTOR_HOME_H

#include "doctor/findings.h"
#include "doctor/ownership.h"

namespace tool {

// Findings about the home that are not repeated for each list.
struct HomeState {
  bool runs = false;      // if false, GnuPG cannot run, or would block on an irregular file
  bool doubtful = false;  // options may decide what verifies, so no list counts as verified
  bool trusting = true;   // if false, GnuPG may fail for lack of a trust database
};

// Checks everything in the home, which must be a directory.
HomeState checkHome(Ownership& ownership, Findings& findings);

// Checks everything in the home of `root`, which must be a directory, as data: GnuPG is not run, so
// it is unknown which lists this home verifies. `ring` is this machine's key ring.
void checkHomeOf(const OtherRoot& root, const std::string& ring, Ownership& ownership,
                 Findings& findings);

}  // namespace tool

#endif
