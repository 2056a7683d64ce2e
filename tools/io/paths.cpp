#include "io/paths.h"

namespace tool {

std::string joined(const std::string& directory, const std::string& name) {
  return directory == "/" ? "/" + name : directory + "/" + name;
}

std::string directoryOf(const std::string& path) {
  std::size_t const slash = path.rfind('/');
  if (slash == std::string::npos)
    return ".";
  return slash == 0 ? "/" : path.substr(0, slash);
}

std::string fileName(const std::string& path) {
  return path.substr(path.rfind('/') + 1);
}

bool isAtOrBelow(const std::string& directory, const std::string& path) {
  if (directory == "/")
    return !path.empty() && path.front() == '/';
  return path.compare(0, directory.size(), directory) == 0 &&
         (path.size() == directory.size() || path[directory.size()] == '/');
}

}  // namespace tool
