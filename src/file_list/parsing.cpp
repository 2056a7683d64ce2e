// Reading lists and merging them into the set's map.

#include <zemo/selfcheck/file_list.h>

#include <boost/make_shared.hpp>
#include <utility>

#include "file_list/line_reader.h"
#include "file_list/paths.h"
#include "log.h"

namespace ZEMO::SELF_CHECK {
namespace {

constexpr char header[] = "WAM_SELF_CHECK";

// Applies the lines of a list to a map. Lists are usually sorted: each entry then belongs right
// after the one before, and no search is needed.
class Merge {
 public:
  explicit Merge(FileList::ProtectedFileMap& files) : _files(files), _place(files.end()) {}

  void put(boost::shared_ptr<ProtectedFile> entry) {
    const std::string& path = entry->_path;
    if (belongsHere(path))
      (void)_files.emplace_hint(_place, path, std::move(entry));
    else
      _place = std::next(_files.insert_or_assign(path, std::move(entry)).first);
  }

  void remove(const std::string& path) {
    (void)_files.erase(path);
    _place = _files.end();
  }

 private:
  bool belongsHere(const std::string& path) const {
    return (_place == _files.begin() || std::prev(_place)->first < path) &&
           (_place == _files.end() || path < _place->first);
  }

  FileList::ProtectedFileMap& _files;
  FileList::ProtectedFileMap::iterator _place;  // the next entry probably belongs before this one
};

}  // namespace

bool FileList::parseList(const std::string& list) {
  LineReader reader(list);
  if (!reader.isOpen()) {
    log::openListFailed(list);
    return false;
  }
  std::string line;
  if (!reader.next(line) || line != header) {
    log::badHeader();
    return false;
  }
  if (!reader.next(line)) {  // the second line is free text, but must exist
    log::noSecondLine();
    return false;
  }
  if (_name != systemSet && !ProtectedFile::setPkg(_name))
    return false;

  Merge merge(*_protectedFiles);
  while (reader.next(line)) {
    // A removal line is also parsed as an entry: its path is known only once placeholders are
    // resolved.
    auto entry = boost::make_shared<ProtectedFile>(line);
    if (!line.empty() && line.front() == '-')
      merge.remove(entry->_path);
    else
      merge.put(std::move(entry));
  }
  return true;
}

bool FileList::parseList() {
  for (const std::string& list : _listFiles) {
    if (!parseList(list)) {
      log::parseListFailed(list);
      return false;
    }
  }
  return true;
}

}  // namespace ZEMO::SELF_CHECK
