// The columns of an entry line, but the path.

#ifndef ZEMO_TOOLS_DOCTOR_COLUMNS_H
#define ZEMO_TOOLS_DOCTOR_COLUMNS_H

#include <zemo/selfcheck.h>

#include <string>
#include <vector>

namespace tool {

// The faults of columns that no file can be like, or that are compared as something else than
// they say: "the owner 'www-data' is not a number". Placeholders of packages are fine.
std::vector<std::string> wrongColumns(const ZEMO::SELF_CHECK::ProtectedFile& entry);

}  // namespace tool

#endif
