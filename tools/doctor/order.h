// The file `listorder` of a set.

#ifndef ZEMO_TOOLS_DOCTOR_ORDER_H
#define ZEMO_TOOLS_DOCTOR_ORDER_H

#include "doctor/findings.h"
#include "doctor/ownership.h"
#include "doctor/set_files.h"

namespace tool {

// Looks for lines that give no list its place, and for lists without a place. Names of another
// mode's lists are fine: all modes share the file. So is a single list without the file.
void checkOrder(const SetFiles& files, Ownership& ownership, Findings& findings);

}  // namespace tool

#endif
