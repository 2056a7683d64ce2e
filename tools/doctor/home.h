// GnuPG, and its home for all sets: key ring and gpg.conf.

#ifndef ZEMO_TOOLS_DOCTOR_HOME_H
#define ZEMO_TOOLS_DOCTOR_HOME_H

#include "doctor/findings.h"
#include "doctor/ownership.h"

namespace tool {

// Findings about the home that are not repeated for each list.
struct HomeState {
  bool runs = false;      // else GnuPG cannot be run, or would wait for ever on an irregular file
  bool doubtful = false;  // options may decide what verifies, so that no list counts as verified
  bool trusting = true;   // else GnuPG may fail for the lack of a trust database
};

// Looks at all of it, in the home, which must be a directory.
HomeState checkHome(Ownership& ownership, Findings& findings);

}  // namespace tool

#endif
