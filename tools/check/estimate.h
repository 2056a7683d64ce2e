// How much a check of an entry reads, as far as that is known without looking at the file.

#ifndef ZEMO_TOOLS_CHECK_ESTIMATE_H
#define ZEMO_TOOLS_CHECK_ESTIMATE_H

#include <zemo/selfcheck.h>

#include <cstdint>

namespace tool {

// What a check of the entry reads, as far as its list tells.
uint64_t bytesOf(const ZEMO::SELF_CHECK::ProtectedFile& entry, ZEMO::SELF_CHECK::CHECK_ITEM wanted);

// Whether checking the entry takes little more than finding out that it is there.
bool isQuick(const ZEMO::SELF_CHECK::ProtectedFile& entry, ZEMO::SELF_CHECK::CHECK_ITEM wanted);

// What a check of the entry that was carried out has read.
uint64_t bytesRead(const ZEMO::SELF_CHECK::ProtectedFile& entry,
                   ZEMO::SELF_CHECK::CHECK_ITEM wanted);

}  // namespace tool

#endif
