// Reading lists and merging them into the set's map.

#include <zemo/selfcheck/file_list.h>

#include <boost/make_shared.hpp>
#include <utility>

#include "file_list/line_reader.h"
#include "file_list/loading.h"
#include "file_list/paths.h"
#include "log.h"

namespace ZEMO::SELF_CHECK {
namespace {

constexpr char header[] = "WAM_SELF_CHECK";

// Merges lines into a map. Lists are usually sorted: each entry then belongs right after the one
// before, and no search is needed.
class Merge : public Lines {
 public:
  explicit Merge(FileList::ProtectedFileMap& files) : _files(files), _place(files.end()) {}

  void add(const std::string& line) override {
    // A removal line is also parsed as an entry: its path is known only once placeholders are
    // resolved.
    auto entry = boost::make_shared<ProtectedFile>(line);
    if (isRemoval(line))
      remove(entry->_path);
    else
      put(std::move(entry));
  }

 private:
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

  bool belongsHere(const std::string& path) const {
    return (_place == _files.begin() || std::prev(_place)->first < path) &&
           (_place == _files.end() || path < _place->first);
  }

  FileList::ProtectedFileMap& _files;
  FileList::ProtectedFileMap::iterator _place;  // the next entry probably belongs before this one
};

}  // namespace

bool readList(const std::string& list, const std::string& set, Lines& lines) {
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
  if (set != systemSet && !ProtectedFile::setPkg(set))
    return false;
  while (reader.next(line))
    lines.add(line);
  return true;
}

bool readLists(const std::vector<std::string>& lists, const std::string& set, Lines& lines) {
  for (const std::string& list : lists) {
    if (!readList(list, set, lines)) {
      log::parseListFailed(list);
      return false;
    }
  }
  return true;
}

bool FileList::parseList(const std::string& list) {
  Merge merge(*_protectedFiles);
  return readList(list, _name, merge);
}

bool FileList::parseList() {
  Merge merge(*_protectedFiles);
  return readLists(_listFiles, _name, merge);
}

}  // namespace ZEMO::SELF_CHECK
