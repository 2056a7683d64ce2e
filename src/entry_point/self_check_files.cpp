// The C entry point, for callers that do not use the classes.

#include <zemo/selfcheck/file_list.h>
#include <zemo/selfcheck/self_check_files.h>

#include <algorithm>

#include "file_list/named_files.h"
#include "file_list/paths.h"
#include "log.h"
#include "string_list.h"

namespace {

constexpr char mode[] = "full";

std::vector<std::string> itemsOf(const VLIBSzList& list) {
  std::vector<std::string> items;
  items.reserve(static_cast<size_t>(std::max(list.count, 0)));
  for (int32_t i = 0; i < list.count; ++i)
    items.push_back(ZEMO::SELF_CHECK::itemOf(list, i));
  return items;
}

}  // namespace

// Only std::bad_alloc can be thrown here, and it is meant to reach the caller. A catch-all handler
// would also catch, and break, the cancellation of the calling thread.
int SelfCheckFiles(VLIBSzList* paths, SELFCHECK_RESULT* results) {
  namespace log = ZEMO::SELF_CHECK::log;

  ZEMO::SELF_CHECK::FileList list(ZEMO::SELF_CHECK::systemSet, mode);
  if (paths == nullptr || results == nullptr) {
    log::nullArgument();
    return -1;
  }
  std::vector<std::string> const items = itemsOf(*paths);
  if (!loadNamed(list, mode, items)) {
    log::loadFailed();
    return -1;
  }
  std::vector<SELFCHECK_RESULT> found;
  if (!list.checkFiles(items, found)) {
    log::selfCheckFailed();
    return -1;
  }
  std::copy(found.begin(), found.end(), results);
  return 0;
}
