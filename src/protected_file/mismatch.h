// What the attribute and the content comparison share.

#ifndef ZEMO_SELFCHECK_SRC_PROTECTED_FILE_MISMATCH_H
#define ZEMO_SELFCHECK_SRC_PROTECTED_FILE_MISMATCH_H

#include <zemo/selfcheck/protected_file.h>

#include <string>

namespace ZEMO::SELF_CHECK {

// A column that reads "-" is not compared; any other text is, the empty one included.
inline bool isChecked(const std::string& column) {
  return column != "-";
}

// Appends a record to the entry's errors and sets `changed`.
void recordMismatch(ProtectedFile& entry, bool& changed, CHECK_ERROR kind, std::string expected,
                    std::string actual);

}  // namespace ZEMO::SELF_CHECK

#endif
