// The findings of `verify` in words.

#ifndef ZEMO_TOOLS_VERIFY_REPORT_H
#define ZEMO_TOOLS_VERIFY_REPORT_H

#include <string>

#include "verify/judgement.h"

namespace tool {

// One line with the list's name and verdict, then indented lines with the reasons. Each ends with a
// line feed, and names are escaped.
std::string reportOn(const Judgement& judgement);

}  // namespace tool

#endif
