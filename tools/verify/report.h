// The findings of `verify` in words.

#ifndef ZEMO_TOOLS_VERIFY_REPORT_H
#define ZEMO_TOOLS_VERIFY_REPORT_H

#include <string>

#include "verify/judgement.h"

namespace tool {

// One line with the list's name and verdict, then indented lines with the reasons. Each ends with a
// line feed, and names are escaped.
std::string reportOn(const Judgement& judgement);

// The same for a manifest; empty if there is none.
std::string reportOn(const ManifestJudgement& judgement);

}  // namespace tool

#endif
