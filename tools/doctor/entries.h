// Checks the lines of a set's lists.

#ifndef ZEMO_TOOLS_DOCTOR_ENTRIES_H
#define ZEMO_TOOLS_DOCTOR_ENTRIES_H

#include "doctor/findings.h"
#include "doctor/set_files.h"

namespace tool {

// Finds lines that the library probably understands differently than intended, and paths for which
// only the byte order of list names decides which entry counts. A list that `listorder` names may
// override an earlier one; that is intended.
void checkEntries(const SetFiles& files, Findings& findings);

}  // namespace tool

#endif
