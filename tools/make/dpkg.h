// What dpkg's database says about the files of packages.

#ifndef ZEMO_TOOLS_MAKE_DPKG_H
#define ZEMO_TOOLS_MAKE_DPKG_H

#include <map>
#include <set>
#include <string>
#include <vector>

namespace tool {

// One package that dpkg has installed. All paths are where the files really lie: diversions, and
// links among the directories above them, are resolved.
struct DebFiles {
  std::string name;  // with the architecture, if dpkg needs it
  std::vector<std::string> paths;
  std::set<std::string> conffiles;  // without obsolete ones, which no longer belong to it
  // What it installed, by path: MD5, in lower case. Nothing signs this database.
  std::map<std::string, std::string> digests;
};

// The files of these packages ("libc6" stands for all its architectures, "libc6:i386" for one).
// Says once for each link that a path led through where it leads. Throws Failure(STATUS_NOT_LOADED)
// if dpkg-query cannot be run or does not know them all.
std::vector<DebFiles> filesOf(const std::vector<std::string>& debs);

// Where paths lead whose directories may be links. The last component is never followed. Says once
// for each such link where it leads.
class DirectoryLinks {
 public:
  std::string resolved(const std::string& path);

 private:
  std::string resolvedDirectory(const std::string& directory);

  std::map<std::string, std::string> _known;
  std::set<std::string> _told;  // the links that have been named
};

}  // namespace tool

#endif
