// Comparing a whole set with the disk, and named files with their entries, which gives one word of
// flags per file.

#include <zemo/selfcheck/file_list.h>

#include <algorithm>
#include <cstddef>

#include "file_list/paths.h"
#include "log.h"

namespace ZEMO::SELF_CHECK {
namespace {

static_assert(sizeof(SELFCHECK_RESULT) == sizeof(uint32_t), "callers share arrays of it");

// The flags follow the order of CHECK_ITEM, not the numbers of CHECK_ERROR.
void setFlag(SELFCHECK_RESULT& result, CHECK_ERROR kind) {
  switch (kind) {
    case CHECK_ERROR_SIZE:
      result.sizeError = 1;
      break;
    case CHECK_ERROR_HASH:
      result.hashError = 1;
      break;
    case CHECK_ERROR_TYPE:
      result.typeError = 1;
      break;
    case CHECK_ERROR_PERMISSION:
      result.permissionError = 1;
      break;
    case CHECK_ERROR_OWNER:
      result.ownerError = 1;
      break;
    case CHECK_ERROR_GROUP:
      result.groupError = 1;
      break;
    case CHECK_ERROR_NOT_EXIST:
      result.notExist = 1;
      break;
    case CHECK_ERROR_UNKNOWN_FILE:  // concerns a member, not the named path
      break;
  }
}

// Includes the records of earlier checks, because an entry keeps them.
SELFCHECK_RESULT resultOf(const ProtectedFile& entry) {
  SELFCHECK_RESULT result = {};
  for (const CheckError* error : entry._errors)
    setFlag(result, error->_error);
  return result;
}

SELFCHECK_RESULT resultOfUnlisted(const std::string& path,
                                  const std::vector<std::string>& fixedDirs) {
  SELFCHECK_RESULT result = {};
  result.notListed = 1;
  result.inFixedDir =
      std::any_of(fixedDirs.begin(), fixedDirs.end(),
                  [&path](const std::string& directory) { return isDirectChild(directory, path); })
          ? 1
          : 0;
  return result;
}

}  // namespace

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
    // The hooks get this pointer, not the map's, so that they cannot change the map through it.
    boost::shared_ptr<ProtectedFile> entry = element.second;
    if (!entry)  // created by a named-file check for an unlisted path
      continue;
    bool changed = false;
    if (!entry->check(changed, items))
      log::checkFailed(entry->_path);
    if (!changed)
      continue;
    // A hook may add hooks, which moves the others, so call a copy of each. Hooks added now are
    // called from the next entry on.
    for (std::size_t i = 0, count = _hooks.size(); i < count; ++i) {
      Hook const hook = _hooks[i];
      hook(entry, changed);
    }
    if (changed)
      intact = false;
  }
  return intact;
}

// NOLINTNEXTLINE(performance-unnecessary-value-param): the signature is what callers link against
bool FileList::checkFiles(std::vector<std::string> paths, std::vector<SELFCHECK_RESULT>& results) {
  bool allChecked = true;
  for (const std::string& path : paths) {
    // An unlisted path gets an element without an entry, which callers can see in the map.
    boost::shared_ptr<ProtectedFile> const entry = (*_protectedFiles)[path];
    if (!entry) {
      results.push_back(resultOfUnlisted(path, _fixedDirs));
      continue;
    }
    bool changed = false;
    if (!entry->check(changed, CHECK_ITEM_ALL)) {
      log::namedCheckFailed(entry->_path);
      allChecked = false;
      continue;
    }
    results.push_back(changed ? resultOf(*entry) : SELFCHECK_RESULT{});
  }
  return allChecked;
}

}  // namespace ZEMO::SELF_CHECK
