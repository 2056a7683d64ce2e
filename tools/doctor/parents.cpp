#include "doctor/parents.h"

#include <sys/stat.h>

#include <unordered_set>

#include "io/directory.h"

using ZEMO::SELF_CHECK::PkgInfo;
using ZEMO::SELF_CHECK::ProtectedFile;

namespace tool {
namespace {

class ParentCheck {
 public:
  explicit ParentCheck(const std::string& set) : _set(set) {}

  void look(const std::string& path) {
    for (std::size_t end = path.rfind('/'); end != std::string::npos && end != 0;
         end = path.rfind('/', end - 1)) {
      std::string const directory = path.substr(0, end);
      if (!_seen.insert(directory).second)
        return;  // and everything above it was examined as well
      judge(directory);
    }
    if (_seen.insert("/").second)
      judge("/");
  }

  void tell(Findings& findings) const {
    findings.problems(
        STATUS_UNCHECKED, _open, "let only root change them, or list nothing below them",
        "set " + inQuotes(_set) + " has no entries below directories that others can change");
  }

 private:
  void judge(const std::string& directory) {
    struct stat status = {};
    if (stat(directory.c_str(), &status) != 0 || !S_ISDIR(status.st_mode))
      return;
    const PkgInfo& package = ProtectedFile::_pkginfo;
    bool const foreign = status.st_uid != 0 && !isWithoutNumber(status.st_uid) &&
                         !(package.isSet && status.st_uid == package.uid);
    bool const sticky = (status.st_mode & S_ISVTX) != 0;
    bool const byGroup = (status.st_mode & S_IWGRP) != 0 && status.st_gid != 0 &&
                         !(package.isSet && status.st_gid == package.gid);
    bool const byOthers = (status.st_mode & S_IWOTH) != 0;
    if (!foreign && (sticky || (!byGroup && !byOthers)))
      return;
    std::string const who = foreign    ? "belongs to user " + std::to_string(status.st_uid)
                            : byOthers ? "is writable by others"
                                       : "is writable by its group";
    _open.add(inQuotes(directory) + ", above entries of set " + inQuotes(_set) + ", " + who);
  }

  std::string _set;
  std::unordered_set<std::string> _seen;
  Repeated _open;
};

}  // namespace

void checkParents(const std::string& set, const MergedSet& merged, Findings& findings) {
  ParentCheck check(set);
  for (const MergedEntry& element : merged.entries)
    check.look(element.entry->_path);
  check.tell(findings);
}

}  // namespace tool
