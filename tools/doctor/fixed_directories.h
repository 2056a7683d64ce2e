// Checks the directories with fixed members.

#ifndef ZEMO_TOOLS_DOCTOR_FIXED_DIRECTORIES_H
#define ZEMO_TOOLS_DOCTOR_FIXED_DIRECTORIES_H

#include <string>

#include "doctor/findings.h"
#include "sets/merged_set.h"

namespace tool {

// Finds FIXED entries that are not directories, by their type or on disk, and names that such a
// directory may contain although no entry is in it: the library also treats every path that
// continues the directory's path without a slash as a member.
void checkFixedDirectories(const std::string& set, const MergedSet& merged, Findings& findings);

}  // namespace tool

#endif
