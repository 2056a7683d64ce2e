#include "gnupg/fingerprint.h"

#include "io/exit_status.h"

namespace tool {

std::string fingerprintFrom(const std::string& text) {
  std::string digits;
  for (char const c : text) {
    if (c == ' ')
      continue;
    bool const small = c >= 'a' && c <= 'f';
    if (!small && (c < '0' || c > '9') && (c < 'A' || c > 'F'))
      throw UsageError(inQuotes(text) +
                       " is not a fingerprint: it may contain only hexadecimal digits and spaces");
    digits += small ? static_cast<char>(c - 'a' + 'A') : c;
  }
  if (digits.size() != 40 && digits.size() != 64)
    throw UsageError(inQuotes(text) + " is not a full fingerprint: it has " +
                     std::to_string(digits.size()) + " hexadecimal digits instead of 40 or 64");
  return digits;
}

}  // namespace tool
