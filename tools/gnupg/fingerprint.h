// Fingerprints of keys, as people type them.

#ifndef ZEMO_TOOLS_GNUPG_FINGERPRINT_H
#define ZEMO_TOOLS_GNUPG_FINGERPRINT_H

#include <string>

namespace tool {

// The full fingerprint `text` as GnuPG writes it: 40 or 64 hexadecimal digits, upper case. Blanks
// anywhere in `text` do not count. Throws UsageError for all else, such as a key id, of which
// others can make one as well.
std::string fingerprintFrom(const std::string& text);

}  // namespace tool

#endif
