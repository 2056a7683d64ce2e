// The comparison of a whole set with the disk.

#include <zemo/selfcheck/file_list.h>

#include <cstddef>

#include "log.h"

namespace ZEMO::SELF_CHECK {

bool FileList::check(CHECK_ITEM items) {
  if (_listFiles.empty() || _protectedFiles->empty()) {
    log::nothingToCheck();
    return false;
  }
  return checkFiles(items);
}

bool FileList::checkFiles(CHECK_ITEM items) const {
  bool intact = true;
  for (const auto& element : *_protectedFiles) {
    // The hooks get this owner, not the map's: what they do to it must not change the map.
    boost::shared_ptr<ProtectedFile> entry = element.second;
    if (!entry)  // left behind by a named-file check for a path that is not listed
      continue;
    bool changed = false;
    if (!entry->check(changed, items))
      log::checkFailed(entry->_path);
    if (!changed)
      continue;
    // A hook may add hooks, which moves the others: each is called through a copy of its own, and
    // those that are added now are called from the next entry on.
    for (std::size_t i = 0, count = _hooks.size(); i < count; ++i) {
      Hook const hook = _hooks[i];
      hook(entry, changed);
    }
    if (changed)
      intact = false;
  }
  return intact;
}

}  // namespace ZEMO::SELF_CHECK
