// Which names a directory with fixed members may hold.

#include <zemo/selfcheck/file_list.h>

#include <string_view>

#include "file_list/paths.h"

namespace ZEMO::SELF_CHECK {
namespace {

using Map = FileList::ProtectedFileMap;

constexpr std::string_view fixedMark = "FIXED";

// Appends the last component of every direct child of `directory` in `files`, in map order. In a
// sorted map everything that begins with the directory's path stands right behind it, and so does
// everything below one of its subdirectories, which is skipped as a whole.
void appendMembers(const Map& files, const std::string& directory,
                   std::vector<std::string>& names) {
  auto file = files.upper_bound(directory);
  while (file != files.end() && file->first.compare(0, directory.size(), directory) == 0) {
    const std::string& path = file->first;
    if (!isDirectChild(directory, path)) {
      // The first path that does not begin with "<subdirectory>/" is at or behind the one that has
      // the character after '/' in its place.
      std::string behind = path.substr(0, path.find('/', directory.size() + 1) + 1);
      ++behind.back();
      file = files.lower_bound(behind);
      continue;
    }
    // A named-file check has left elements without an entry behind: those paths are not listed.
    if (file->second)
      names.push_back(path.substr(path.rfind('/') + 1));  // all of it if there is no '/'
    ++file;
  }
}

}  // namespace

bool FileList::fillFixedDirInfo() {
  const Map& files = *_protectedFiles;
  for (const auto& [path, entry] : files) {
    if (entry && entry->_hash == fixedMark)
      _fixedDirs.push_back(path);
  }
  // Also those of an earlier pass: their names are appended once more, which allows nothing new.
  for (const std::string& directory : _fixedDirs) {
    auto const file = files.find(directory);
    if (file != files.end() && file->second)
      appendMembers(files, directory, file->second->_fixedEntries);
  }
  return true;
}

}  // namespace ZEMO::SELF_CHECK
