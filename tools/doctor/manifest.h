// Checks that a set is the one that its manifest describes.

#ifndef ZEMO_TOOLS_DOCTOR_MANIFEST_H
#define ZEMO_TOOLS_DOCTOR_MANIFEST_H

#include "doctor/findings.h"
#include "doctor/home.h"
#include "doctor/ownership.h"
#include "doctor/set_files.h"

namespace tool {

// A set needs no manifest unless one was accepted before, which must not be newer. One that exists
// must verify and fit, and GnuPG must have no objection to its signature. It is not examined if the
// home prevents GnuPG from verifying.
void checkManifest(const SetFiles& files, const HomeState& home, Ownership& ownership,
                   Findings& findings);

}  // namespace tool

#endif
