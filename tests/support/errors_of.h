// The findings of an entry's checks, as text.

#ifndef ZEMO_TESTS_SUPPORT_ERRORS_OF_H
#define ZEMO_TESTS_SUPPORT_ERRORS_OF_H

#include <zemo/selfcheck/protected_file.h>

#include <string>
#include <vector>

// One line per record, oldest first: the path, the kind, the expected and the actual text.
inline std::vector<std::string> errorsOf(const ZEMO::SELF_CHECK::ProtectedFile& entry) {
  std::vector<std::string> lines;
  for (ZEMO::SELF_CHECK::CheckError* const error : entry._errors)
    lines.push_back(error->toString());
  return lines;
}

#endif
