// The names that a directory with fixed members may contain.

#include <zemo/selfcheck/file_list.h>

#include <string_view>

#include "file_list/loading.h"
#include "file_list/paths.h"

namespace ZEMO::SELF_CHECK {
namespace {

using Map = FileList::ProtectedFileMap;

// Appends the last component of every direct child of the directory in `files`, in map order, to
// the names in its entry. In a sorted map, all paths that begin with the directory's path come
// right after it. The paths below a subdirectory are also contiguous and are skipped as a whole.
void addMembers(const Map& files, Map::const_iterator directory,
                std::vector<std::string_view>& names) {
  names.clear();
  const std::string& parent = directory->first;
  for (auto file = std::next(directory); file != files.end();) {
    const std::string& path = file->first;
    if (isDirectChild(parent, path)) {
      // A named-file check may have added elements without an entry; their paths are not listed.
      if (file->second)
        names.push_back(
            std::string_view(path).substr(path.rfind('/') + 1));  // the whole path without a '/'
      ++file;
    } else if (path.compare(0, parent.size(), parent) == 0) {
      // The first path that does not begin with "<subdirectory>/" is at or after the path with the
      // next character in place of that '/'.
      std::string behind = path.substr(0, path.find('/', parent.size() + 1) + 1);
      ++behind.back();
      file = files.lower_bound(behind);
    } else {
      break;
    }
  }
  std::vector<std::string>& members = directory->second->_fixedEntries;
  members.reserve(members.size() + names.size());
  members.insert(members.end(), names.begin(), names.end());
}

}  // namespace

bool FileList::fillFixedDirInfo() {
  const Map& files = *_protectedFiles;
  std::vector<std::string_view> names;
  // The names of directories of an earlier pass are appended again, which allows nothing new.
  for (const std::string& path : _fixedDirs) {
    auto const directory = files.find(path);
    if (directory != files.end() && directory->second)
      addMembers(files, directory, names);
  }
  // Members are read right after their directory is found: the search then finds them in the
  // processor's cache.
  for (auto file = files.begin(); file != files.end(); ++file) {
    if (file->second && file->second->_hash == fixedMark) {
      _fixedDirs.push_back(file->first);
      addMembers(files, file, names);
    }
  }
  return true;
}

}  // namespace ZEMO::SELF_CHECK
