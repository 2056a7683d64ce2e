#include "file_list/paths.h"

namespace ZEMO::SELF_CHECK {

std::string listDirFor(const std::string& name) {
  if (name == systemSet)
    return systemListDir;
  return std::string(systemListDir) + "/packages/" + name;
}

bool isDirectChild(const std::string& directory, const std::string& path) {
  return path.size() > directory.size() && path.compare(0, directory.size(), directory) == 0 &&
         path.find('/', directory.size() + 1) == std::string::npos;
}

}  // namespace ZEMO::SELF_CHECK
