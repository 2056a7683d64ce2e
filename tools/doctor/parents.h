// The directories above the files that a set names.

#ifndef ZEMO_TOOLS_DOCTOR_PARENTS_H
#define ZEMO_TOOLS_DOCTOR_PARENTS_H

#include <string>

#include "doctor/findings.h"
#include "sets/merged_set.h"

namespace tool {

// Looks for directories above entries that others than root, and the user and group of the package
// that is bound, can change: who can put a link in a directory's place leads a check elsewhere.
// An entry in a directory with the sticky bit stays its owner's. Directories that this caller
// cannot examine are left out.
void checkParents(const std::string& set, const MergedSet& merged, Findings& findings);

}  // namespace tool

#endif
