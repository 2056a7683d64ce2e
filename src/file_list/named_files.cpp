#include "file_list/named_files.h"

#include <algorithm>
#include <boost/make_shared.hpp>
#include <string_view>
#include <unordered_set>
#include <utility>

#include "file_list/loading.h"
#include "file_list/paths.h"
#include "log.h"

namespace ZEMO::SELF_CHECK {
namespace {

// Keeps the entries of named paths, directories with fixed members, and the names of members.
class NamedEntries : public Lines {
 public:
  NamedEntries(FileList::ProtectedFileMap& files, const std::vector<std::string>& paths)
      : _files(files), _paths(paths.begin(), paths.end()) {
    for (std::string_view const path : _paths)
      _lengths.push_back(path.size());
    std::sort(_lengths.begin(), _lengths.end());
    _lengths.erase(std::unique(_lengths.begin(), _lengths.end()), _lengths.end());
  }

  void add(const std::string& line) override {
    auto entry = boost::make_shared<ProtectedFile>(line);
    const std::string& path = entry->_path;
    if (!isRemoval(line) && (_paths.count(path) != 0 || entry->_hash == fixedMark)) {
      _files[path] = std::move(entry);
    } else if (!isRemoval(line) && mayBeMember(path)) {
      if (!_anyMember)
        _anyMember = entry;
      _files[path] = _anyMember;
    } else {
      (void)_files.erase(path);  // also a directory to which an earlier line gave fixed members
    }
  }

 private:
  // Whether `path` is a direct child of a named path, which may turn out to be a directory with
  // fixed members.
  bool mayBeMember(const std::string& path) const {
    std::size_t const slash = path.rfind('/');
    auto length =
        std::lower_bound(_lengths.begin(), _lengths.end(), slash == std::string::npos ? 0 : slash);
    for (; length != _lengths.end() && *length < path.size(); ++length) {
      if (_paths.count(std::string_view(path).substr(0, *length)) != 0)
        return true;
    }
    return false;
  }

  FileList::ProtectedFileMap& _files;
  std::unordered_set<std::string_view> _paths;
  std::vector<std::size_t> _lengths;            // of the paths, ascending, each once
  boost::shared_ptr<ProtectedFile> _anyMember;  // takes the place of all whose names alone count
};

}  // namespace

bool loadNamed(FileList& set, const std::string& mode, const std::vector<std::string>& paths) {
  std::string const pattern = listPattern(systemListDir, systemSet, mode);
  std::vector<std::string> const lists = ::glob(systemListDir, pattern);
  if (lists.empty())
    return false;
  if (!verifyLists(set, lists)) {
    log::setNotVerified(pattern);
    return false;
  }
  NamedEntries entries(*set.getProtectedFiles(), paths);
  return readLists(lists, systemSet, entries) && set.fillFixedDirInfo();
}

}  // namespace ZEMO::SELF_CHECK
