// The files of packages according to dpkg's database.

#ifndef ZEMO_TOOLS_MAKE_DPKG_H
#define ZEMO_TOOLS_MAKE_DPKG_H

#include <map>
#include <set>
#include <string>
#include <vector>

#include "root/tree.h"

namespace tool {

// One package that dpkg has installed. Diversions are resolved.
struct DebFiles {
  std::string name;  // with the architecture, if dpkg needs it
  std::vector<std::string> paths;
  std::set<std::string> conffiles;  // without obsolete ones, which it no longer owns
  // MD5 of the files that it installed, by path, in lower case. This database is not signed.
  std::map<std::string, std::string> digests;
};

// The files of these packages ("libc6" means all its architectures, "libc6:i386" just one) or, with
// `all`, of all installed packages, according to the database of `root`, or of this machine if that
// is null. Throws Failure(STATUS_NOT_LOADED) if dpkg-query cannot be run or does not know a
// package.
std::vector<DebFiles> filesOf(const std::vector<std::string>& debs, bool all, const Tree* root);

// Replaces all paths by the real ones: directories on them that are links are resolved, and each
// such link is reported once.
void resolveLinks(std::vector<DebFiles>& debs);

}  // namespace tool

#endif
