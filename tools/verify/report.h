// What `verify` finds, in words.

#ifndef ZEMO_TOOLS_VERIFY_REPORT_H
#define ZEMO_TOOLS_VERIFY_REPORT_H

#include <string>

#include "verify/judgement.h"

namespace tool {

// One line that names the list and says how it stands, and indented ones that say why; each ends
// with a line feed, and names are escaped.
std::string reportOn(const Judgement& judgement);

}  // namespace tool

#endif
