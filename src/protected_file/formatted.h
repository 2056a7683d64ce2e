// A number as text.

#ifndef ZEMO_SELFCHECK_SRC_PROTECTED_FILE_FORMATTED_H
#define ZEMO_SELFCHECK_SRC_PROTECTED_FILE_FORMATTED_H

#include <string>

namespace ZEMO::SELF_CHECK {

// What printf would print, at most 63 bytes of it. C formats and not streams, because streams
// follow the C++ locale that the process has set, which may group digits.
[[gnu::format(printf, 1, 2)]] std::string formatted(const char* format, ...);

}  // namespace ZEMO::SELF_CHECK

#endif
