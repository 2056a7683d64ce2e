// Checks the directories above the files that a set names.

#ifndef ZEMO_TOOLS_DOCTOR_PARENTS_H
#define ZEMO_TOOLS_DOCTOR_PARENTS_H

#include <string>

#include "doctor/findings.h"
#include "sets/merged_set.h"

namespace tool {

// Finds directories above entries that users other than root, and the user and group of the bound
// package, can change: such a user could replace a directory with a link that leads a check
// elsewhere. In a directory with the sticky bit, only an entry's owner can replace it. Directories
// that this caller cannot examine are left out.
void checkParents(const std::string& set, const MergedSet& merged, Findings& findings);

}  // namespace tool

#endif
