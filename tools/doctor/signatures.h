// Checks the lists of a set and their signatures as files.

#ifndef ZEMO_TOOLS_DOCTOR_SIGNATURES_H
#define ZEMO_TOOLS_DOCTOR_SIGNATURES_H

#include "doctor/findings.h"
#include "doctor/home.h"
#include "doctor/ownership.h"
#include "doctor/set_files.h"

namespace tool {

// Examines every list and its signature, and verifies it as the library does, unless the home
// prevents GnuPG from doing so. As in every verification, GnuPG may create a trust database in its
// home. Returns true if all lists verify.
bool checkSignatures(const SetFiles& files, const HomeState& home, Ownership& ownership,
                     Findings& findings);

// Checks for every readable list that its second line does not claim to be another list.
void checkLabels(const SetFiles& files, Findings& findings);

}  // namespace tool

#endif
