// Fingerprints of keys as users type them.

#ifndef ZEMO_TOOLS_GNUPG_FINGERPRINT_H
#define ZEMO_TOOLS_GNUPG_FINGERPRINT_H

#include <string>

namespace tool {

// The full fingerprint `text` as GnuPG writes it: 40 or 64 hexadecimal digits, upper case. Blanks
// anywhere in `text` are ignored. Throws UsageError for anything else, such as a key id, because
// others can make a key with the same id.
std::string fingerprintFrom(const std::string& text);

}  // namespace tool

#endif
