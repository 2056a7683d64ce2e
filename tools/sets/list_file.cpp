#include "sets/list_file.h"

#include <algorithm>
#include <boost/make_shared.hpp>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "io/exit_status.h"
#include "sets/items.h"
#include "sets/sets.h"

using namespace ZEMO::SELF_CHECK;

namespace tool {
namespace {

// While such an object exists, the library leaves placeholders unresolved.
class WithoutPackage {
 public:
  WithoutPackage() : _binding(ProtectedFile::_pkginfo) { forgetPackage(); }
  // Member by member, because PkgInfo can only be copied as a whole, and there may not be enough
  // memory for that.
  ~WithoutPackage() {
    PkgInfo& current = ProtectedFile::_pkginfo;
    current.isSet = _binding.isSet;
    current.uid = _binding.uid;
    current.gid = _binding.gid;
    current.targetDir.swap(_binding.targetDir);
  }
  WithoutPackage(const WithoutPackage&) = delete;
  WithoutPackage& operator=(const WithoutPackage&) = delete;

 private:
  PkgInfo _binding;
};

[[noreturn]] void notAList(const std::string& path, const std::string& reason) {
  throw Failure(STATUS_NOT_LOADED, inQuotes(path) + " is not a check list: " + reason);
}

ListFile listFrom(std::istream& file, const std::string& path) {
  std::string line;
  if (!std::getline(file, line) || line != listHeader)
    notAList(path, "its first line is not " + listHeader);
  ListFile list;
  if (!std::getline(file, list.label))
    notAList(path, "it has no second line");
  WithoutPackage const placeholdersStay;
  for (std::size_t number = 3; std::getline(file, line); ++number) {
    ListLine read;
    read.number = number;
    read.removal = isRemovalLine(line);
    read.complete = std::count(line.begin(), line.end(), '\t') >= 6;
    read.entry = boost::make_shared<ProtectedFile>(line);
    list.lines.push_back(std::move(read));
  }
  if (file.bad())
    throw Failure(STATUS_NOT_LOADED, withReason("cannot read list " + inQuotes(path), errno));
  return list;
}

}  // namespace

ListFile readListFile(const std::string& path) {
  std::error_code ignored;
  // Opening a FIFO would wait for its writer, and a directory opens but has no lines.
  if (std::filesystem::exists(path, ignored) && !std::filesystem::is_regular_file(path, ignored))
    notAList(path, "it is not a regular file");
  errno = 0;
  std::ifstream file(path, std::ios::binary);
  if (!file.is_open())
    throw Failure(STATUS_NOT_LOADED, withReason("cannot open list " + inQuotes(path), errno));
  return listFrom(file, path);
}

ListFile listIn(const std::string& content, const std::string& path) {
  std::istringstream file(content);
  return listFrom(file, path);
}

std::string entryLine(const ProtectedFile& entry) {
  return entry._path + '\t' + entry._size + '\t' + entry._hash + '\t' + entry._type + '\t' +
         entry._permission + '\t' + entry._owner + '\t' + entry._group;
}

std::string removalLine(const std::string& path) {
  return "-" + path + "\t-\t-\t-\t-\t-\t-";
}

}  // namespace tool
