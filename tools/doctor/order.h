// Checks the file `listorder` of a set.

#ifndef ZEMO_TOOLS_DOCTOR_ORDER_H
#define ZEMO_TOOLS_DOCTOR_ORDER_H

#include "doctor/findings.h"
#include "doctor/ownership.h"
#include "doctor/set_files.h"

namespace tool {

// Finds lines that do not position any list, and lists without a position. Names of another mode's
// lists are accepted, because all modes share the file. A single list needs no `listorder`.
void checkOrder(const SetFiles& files, Ownership& ownership, Findings& findings);

}  // namespace tool

#endif
