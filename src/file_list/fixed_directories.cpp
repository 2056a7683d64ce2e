// Which names a directory with fixed members may hold.

#include <zemo/selfcheck/file_list.h>

#include <string_view>

#include "file_list/paths.h"

namespace ZEMO::SELF_CHECK {
namespace {

using Map = FileList::ProtectedFileMap;

constexpr std::string_view fixedMark = "FIXED";

// Stores the last component of every direct child of the directory in `files`, in map order. In a
// sorted map everything that begins with the directory's path stands right behind it, and so does
// everything below one of its subdirectories, which is skipped as a whole.
void findMembers(const Map& files, Map::const_iterator directory,
                 std::vector<std::string_view>& names) {
  names.clear();
  const std::string& parent = directory->first;
  for (auto file = std::next(directory); file != files.end();) {
    const std::string& path = file->first;
    if (isDirectChild(parent, path)) {
      // A named-file check has left elements without an entry behind: those paths are not listed.
      if (file->second)
        names.push_back(
            std::string_view(path).substr(path.rfind('/') + 1));  // all if there is none
      ++file;
    } else if (path.compare(0, parent.size(), parent) == 0) {
      // The first path that does not begin with "<subdirectory>/" is at or behind the one that has
      // the character after '/' in its place.
      std::string behind = path.substr(0, path.find('/', parent.size() + 1) + 1);
      ++behind.back();
      file = files.lower_bound(behind);
    } else {
      break;
    }
  }
}

}  // namespace

bool FileList::fillFixedDirInfo() {
  const Map& files = *_protectedFiles;
  for (const auto& [path, entry] : files) {
    if (entry && entry->_hash == fixedMark)
      _fixedDirs.push_back(path);
  }
  std::vector<std::string_view> names;
  // Also those of an earlier pass: their names are appended once more, which allows nothing new.
  for (const std::string& path : _fixedDirs) {
    auto const directory = files.find(path);
    if (directory == files.end() || !directory->second)
      continue;
    findMembers(files, directory, names);
    std::vector<std::string>& members = directory->second->_fixedEntries;
    members.reserve(members.size() + names.size());
    members.insert(members.end(), names.begin(), names.end());
  }
  return true;
}

}  // namespace ZEMO::SELF_CHECK
