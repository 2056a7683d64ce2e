// The lists of a set and their signatures, as files.

#ifndef ZEMO_TOOLS_DOCTOR_SIGNATURES_H
#define ZEMO_TOOLS_DOCTOR_SIGNATURES_H

#include "doctor/findings.h"
#include "doctor/home.h"
#include "doctor/ownership.h"
#include "doctor/set_files.h"

namespace tool {

// Looks at every list and its signature, and verifies it as the library does, unless the home keeps
// GnuPG from that. GnuPG may make a trust database in its home then, as at every verification.
// Returns whether all verify.
bool checkSignatures(const SetFiles& files, const HomeState& home, Ownership& ownership,
                     Findings& findings);

// Looks at the second line of every list that could be read, whether it says that it is another.
void checkLabels(const SetFiles& files, Findings& findings);

}  // namespace tool

#endif
