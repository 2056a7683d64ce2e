// The directories whose members are fixed.

#ifndef ZEMO_TOOLS_DOCTOR_FIXED_DIRECTORIES_H
#define ZEMO_TOOLS_DOCTOR_FIXED_DIRECTORIES_H

#include <string>

#include "doctor/findings.h"
#include "sets/merged_set.h"

namespace tool {

// Looks for FIXED entries that are no directories, by their type or on disk, and for names that
// such a directory may hold though no entry lies in it: the library takes every path that goes on
// behind the directory's without a slash for a member, too.
void checkFixedDirectories(const std::string& set, const MergedSet& merged, Findings& findings);

}  // namespace tool

#endif
