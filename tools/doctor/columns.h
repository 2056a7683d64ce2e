// The columns of an entry line except the path.

#ifndef ZEMO_TOOLS_DOCTOR_COLUMNS_H
#define ZEMO_TOOLS_DOCTOR_COLUMNS_H

#include <zemo/selfcheck.h>

#include <string>
#include <vector>

namespace tool {

// The faults of columns that no file can match, or that are compared as something other than what
// they say, such as "the owner 'www-data' is not a number". Package placeholders are accepted.
std::vector<std::string> wrongColumns(const ZEMO::SELF_CHECK::ProtectedFile& entry);

}  // namespace tool

#endif
