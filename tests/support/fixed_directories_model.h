// A model that decides which paths are in a directory with fixed members.

#ifndef ZEMO_TESTS_SUPPORT_FIXED_DIRECTORIES_MODEL_H
#define ZEMO_TESTS_SUPPORT_FIXED_DIRECTORIES_MODEL_H

#include <string>

namespace fuzz {

inline bool liesIn(const std::string& directory, const std::string& path) {
  if (path.size() <= directory.size() || path.substr(0, directory.size()) != directory)
    return false;
  for (std::size_t i = directory.size() + 1; i < path.size(); ++i) {
    if (path[i] == '/')
      return false;
  }
  return true;
}

inline std::string lastComponent(const std::string& path) {
  std::string name;
  for (char const c : path) {
    if (c == '/')
      name.clear();
    else
      name += c;
  }
  return name;
}

}  // namespace fuzz

#endif
