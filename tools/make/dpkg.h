// The files of packages according to dpkg's database.

#ifndef ZEMO_TOOLS_MAKE_DPKG_H
#define ZEMO_TOOLS_MAKE_DPKG_H

#include <map>
#include <set>
#include <string>
#include <vector>

namespace tool {

// One package that dpkg has installed. All paths are the real ones: diversions and directory links
// are resolved.
struct DebFiles {
  std::string name;  // with the architecture, if dpkg needs it
  std::vector<std::string> paths;
  std::set<std::string> conffiles;  // without obsolete ones, which it no longer owns
  // MD5 of the files that it installed, by path, in lower case. This database is not signed.
  std::map<std::string, std::string> digests;
};

// The files of these packages ("libc6" means all its architectures, "libc6:i386" just one).
// Reports, once per link, where a link on a path leads. Throws Failure(STATUS_NOT_LOADED) if
// dpkg-query cannot be run or does not know a package.
std::vector<DebFiles> filesOf(const std::vector<std::string>& debs);

// Resolves paths whose directories may be links. The last component is never followed. Reports,
// once per link, where it leads.
class DirectoryLinks {
 public:
  std::string resolved(const std::string& path);

 private:
  std::string resolvedDirectory(const std::string& directory);

  std::map<std::string, std::string> _known;
  std::set<std::string> _told;  // the links that were reported
};

}  // namespace tool

#endif
