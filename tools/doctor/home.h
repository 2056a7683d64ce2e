// GnuPG, and its home for all sets: key ring and gpg.conf.

#ifndef ZEMO_TOOLS_DOCTOR_HOME_H
#define ZEMO_TOOLS_DOCTOR_HOME_H

#include <string>

#include "doctor/findings.h"
#include "doctor/ownership.h"

namespace tool {

// Looks at all of it, in the home, which must be a directory. Returns false when GnuPG cannot be
// run, or would wait for ever on a file that is no regular one.
bool checkHome(Ownership& ownership, Findings& findings);

// The command that adds this line to the home's gpg.conf.
std::string mendByLine(const std::string& line);

}  // namespace tool

#endif
