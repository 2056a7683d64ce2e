// Turning one line of a check list into an entry.

#include <zemo/core.h>
#include <zemo/selfcheck/protected_file.h>

#include <boost/algorithm/string/replace.hpp>
#include <memory>

#include "log.h"
#include "string_list.h"

namespace ZEMO::SELF_CHECK {
namespace {

constexpr int columnRoom = 1024;
constexpr int columnCount = 7;

struct FreeStringList {
  void operator()(VLIBSzList* list) const { VLIBSzListFree(list); }
};
using StringList = std::unique_ptr<VLIBSzList, FreeStringList>;

// Returns the columns of `line`, or null after logging if it cannot be split.
StringList split(const std::string& line) {
  StringList columns(VLIBSzListAlloc(columnRoom));
  if (!columns) {
    log::outOfMemoryForColumns();
    return nullptr;
  }
  // Splitting may move the list, so its owner releases it meanwhile.
  VLIBSzList* list = columns.release();
  int const result = VLIBStrTok(line.c_str(), "\t", &list);
  columns.reset(list);
  if (result < 0) {
    log::splittingFailed(line);
    return nullptr;
  }
  return columns;
}

void resolveId(std::string& column, uint32_t id) {
  if (column == "$pkg")
    column = std::to_string(id);
  else if (column == "$pkg_sys")
    column = "1";
}

void resolveDirectory(std::string& column, const std::string& targetDir) {
  boost::algorithm::replace_all(column, "$pkg_dir", targetDir);
}

void resolvePlaceholders(ProtectedFile& entry, const PkgInfo& package) {
  resolveId(entry._owner, package.uid);
  resolveId(entry._group, package.gid);
  resolveDirectory(entry._path, package.targetDir);
  // Only a link's hash column is a path; all others are a digest, a device or a keyword.
  if (entry._type == "l")
    resolveDirectory(entry._hash, package.targetDir);
}

}  // namespace

// NOLINTNEXTLINE(performance-unnecessary-value-param): the signature is what callers link against
ProtectedFile::ProtectedFile(std::string line) {
  StringList const columns = split(line);
  if (!columns)
    return;

  // The list's own count decides, not the splitter's result: another core library may report
  // success by a value other than the count.
  if (columns->count >= columnCount) {
    _path = itemOf(*columns, 0);
    if (!_path.empty() && _path.front() == '-')
      _path.erase(0, 1);
    _size = itemOf(*columns, 1);
    _hash = itemOf(*columns, 2);
    _type = itemOf(*columns, 3);
    _permission = itemOf(*columns, 4);
    _owner = itemOf(*columns, 5);
    _group = itemOf(*columns, 6);
  }

  if (_pkginfo.isSet)
    resolvePlaceholders(*this, _pkginfo);
}

}  // namespace ZEMO::SELF_CHECK
