#include "check/part.h"

#include <zemo/core.h>

#include <algorithm>
#include <boost/make_shared.hpp>
#include <fstream>
#include <utility>

#include "gnupg/signature_check.h"
#include "io/exit_status.h"
#include "io/regular_file.h"
#include "sets/list_file.h"
#include "sets/sets.h"

using namespace ZEMO::SELF_CHECK;

namespace tool {
namespace {

// Opens a regular file for reading; others could block. The result may be unusable.
std::ifstream opened(const std::string& path) {
  return irregular(path).empty() ? std::ifstream(path, std::ios::binary) : std::ifstream();
}

// The library logs that it cannot open this file.
bool isOrderUnreadable() {
  std::string const path = systemDirectory + "/listorder";
  return VLIBFileExist(path.c_str()) != 0 && !opened(path).is_open();
}

class Part {
 public:
  Part(FileList::ProtectedFileMap& files, const std::vector<std::string>& directories)
      : _files(files), _directories(directories) {}

  // Merges a list. Returns false if it cannot be read or is not a check list.
  bool take(const std::string& list) {
    std::ifstream file = opened(list);
    std::string line;
    if (!std::getline(file, line) || line != listHeader || !std::getline(file, line))
      return false;
    while (std::getline(file, line))
      apply(line);
    return !file.bad();
  }

  // True if the whole set certainly has entries.
  bool hasEntries() const { return !_files.empty(); }

 private:
  void apply(const std::string& line) {
    bool const removal = isRemovalLine(line);
    bool const first = _witness.empty() && !removal;
    if (!first && !concerns(line, removal ? 1 : 0))
      return;
    auto entry = boost::make_shared<ProtectedFile>(line);
    const std::string& path = entry->_path;
    if (first)
      _witness = path;
    // Lines with too few columns have another path than they begin with.
    if (!concerns(path, 0))
      return;
    if (removal)
      (void)_files.erase(path);
    else
      (void)_files.insert_or_assign(_files.end(), path, std::move(entry));  // usually sorted
  }

  // True if the path, which begins at `start`, is the witness or begins with a directory. This
  // includes the path /a/bc for /a/b, because the library takes it for a member of a directory
  // /a/b.
  bool concerns(const std::string& line, std::size_t start) const {
    auto const begins = [&](const std::string& path) {
      return line.compare(start, path.size(), path) == 0;
    };
    std::size_t const end = start + _witness.size();
    return std::any_of(_directories.begin(), _directories.end(), begins) ||
           (!_witness.empty() && begins(_witness) && (end == line.size() || line[end] == '\t'));
  }

  FileList::ProtectedFileMap& _files;
  const std::vector<std::string>& _directories;
  std::string _witness;  // the path of an entry that is kept to show that the set has entries
};

bool takesAll(FileList& files, const std::string& mode, const std::vector<std::string>& directories,
              bool verify) {
  if (isOrderUnreadable())
    return false;
  std::vector<std::string> const lists = listsOf(systemSet, mode);
  auto const verifies = [](const std::string& list) { return checkSignature(list).accepted; };
  if (verify && !std::all_of(lists.begin(), lists.end(), verifies))
    return false;
  Part part(*files.getProtectedFiles(), directories);
  return std::all_of(lists.begin(), lists.end(),
                     [&](const std::string& list) { return part.take(list); }) &&
         part.hasEntries();
}

}  // namespace

bool loadPart(FileList& files, const std::string& mode, const std::vector<std::string>& directories,
              bool verify) {
  bool taken = false;
  try {
    taken = takesAll(files, mode, directories, verify);
  } catch (const Failure&) {  // GnuPG could not be run
  }
  if (!taken)
    files.getProtectedFiles()->clear();
  return taken && files.fillFixedDirInfo();
}

}  // namespace tool
