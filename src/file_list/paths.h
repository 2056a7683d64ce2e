// Where a set's lists live, and which paths lie in a directory.

#ifndef ZEMO_SELFCHECK_SRC_FILE_LIST_PATHS_H
#define ZEMO_SELFCHECK_SRC_FILE_LIST_PATHS_H

#include <string>

namespace ZEMO::SELF_CHECK {

// The set of the operating system itself; every other set belongs to the package of its name.
inline constexpr char systemSet[] = "wam";

// The operating system's lists, and the key ring that verifies the lists of all sets.
inline constexpr char systemListDir[] = "/usr/zemo/selfcheck";

// The directory of a set's lists. The name of a package's set becomes part of it unchanged.
inline std::string listDirFor(const std::string& name) {
  if (name == systemSet)
    return systemListDir;
  return std::string(systemListDir) + "/packages/" + name;
}

// True when `path` is longer than `directory`, begins with it, and has no '/' from the second
// character behind it on. What that first character is does not matter: /a/bc counts as a child of
// /a/b. Lists are made with this in mind, so the test must not become stricter.
inline bool isDirectChild(const std::string& directory, const std::string& path) {
  return path.size() > directory.size() && path.compare(0, directory.size(), directory) == 0 &&
         path.find('/', directory.size() + 1) == std::string::npos;
}

}  // namespace ZEMO::SELF_CHECK

#endif
