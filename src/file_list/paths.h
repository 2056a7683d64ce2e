// The directories of lists, and the test for direct children of a directory.

#ifndef ZEMO_SELFCHECK_SRC_FILE_LIST_PATHS_H
#define ZEMO_SELFCHECK_SRC_FILE_LIST_PATHS_H

#include <string>

namespace ZEMO::SELF_CHECK {

// The operating system's own set; every other set belongs to the package of the same name.
inline constexpr char systemSet[] = "wam";

// Holds the operating system's lists and the key ring that verifies the lists of all sets.
inline constexpr char systemListDir[] = "/usr/zemo/selfcheck";

// The directory of a set's lists. The name of a package's set is used in it unchanged.
inline std::string listDirFor(const std::string& name) {
  if (name == systemSet)
    return systemListDir;
  return std::string(systemListDir) + "/packages/" + name;
}

// True if `path` is longer than `directory`, begins with it, and has no '/' after the first
// character that follows it. That first character may be anything: /a/bc counts as a child of /a/b.
// Existing lists rely on this, so the test must not become stricter.
inline bool isDirectChild(const std::string& directory, const std::string& path) {
  return path.size() > directory.size() && path.compare(0, directory.size(), directory) == 0 &&
         path.find('/', directory.size() + 1) == std::string::npos;
}

}  // namespace ZEMO::SELF_CHECK

#endif
