// Items of the core library's string lists as standard strings.

#ifndef ZEMO_SELFCHECK_SRC_STRING_LIST_H
#define ZEMO_SELFCHECK_SRC_STRING_LIST_H

#include <zemo/core.h>

#include <string>

namespace ZEMO::SELF_CHECK {

// Item `index`; empty if the core library returns none although it counted one.
inline std::string itemOf(const VLIBSzList& list, int index) {
  const char* const item = VLIBSzListGet(&list, index);
  return item != nullptr ? item : "";
}

}  // namespace ZEMO::SELF_CHECK

#endif
