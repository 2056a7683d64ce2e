// The lines of a set's lists.

#ifndef ZEMO_TOOLS_DOCTOR_ENTRIES_H
#define ZEMO_TOOLS_DOCTOR_ENTRIES_H

#include "doctor/findings.h"
#include "doctor/set_files.h"

namespace tool {

// Looks for lines that the library takes for something else than what was meant, and for paths of
// which only the byte order of list names decides what holds. That a list which `listorder` names
// overrides an earlier one is meant.
void checkEntries(const SetFiles& files, Findings& findings);

}  // namespace tool

#endif
