// How much a check of an entry reads, as far as this is known without examining the file.

#ifndef ZEMO_TOOLS_CHECK_ESTIMATE_H
#define ZEMO_TOOLS_CHECK_ESTIMATE_H

#include <zemo/selfcheck.h>

#include <cstdint>

namespace tool {

// The number of bytes that a check of the entry reads, as far as its list says.
uint64_t bytesOf(const ZEMO::SELF_CHECK::ProtectedFile& entry, ZEMO::SELF_CHECK::CHECK_ITEM wanted);

// True if checking the entry takes little more than a test whether the file exists.
bool isQuick(const ZEMO::SELF_CHECK::ProtectedFile& entry, ZEMO::SELF_CHECK::CHECK_ITEM wanted);

// The number of bytes that a completed check of the entry has read.
uint64_t bytesRead(const ZEMO::SELF_CHECK::ProtectedFile& entry,
                   ZEMO::SELF_CHECK::CHECK_ITEM wanted);

}  // namespace tool

#endif
