#include "gnupg/home_files.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>

#include "io/regular_file.h"

namespace tool {
namespace {

void addExisting(const std::vector<std::string>& candidates, std::vector<std::string>& paths) {
  for (const std::string& path : candidates) {
    struct stat status = {};
    if (lstat(path.c_str(), &status) == 0 || (errno != ENOENT && errno != ENOTDIR))
      paths.push_back(path);
  }
}

}  // namespace

std::vector<std::string> otherConfigurationsIn(const std::string& home) {
  std::vector<std::string> paths;
  std::error_code error;  // an unreadable home fails later anyway
  std::filesystem::directory_iterator const end;
  for (std::filesystem::directory_iterator member(home, error); !error && member != end;
       member.increment(error)) {
    std::string const name = member->path().filename();
    if (name.compare(0, 9, "gpg.conf-") == 0)
      paths.push_back(std::string(home).append("/").append(name));
  }
  std::sort(paths.begin(), paths.end());
  return paths;
}

std::vector<std::string> optionFilesOf(const std::string& home) {
  std::vector<std::string> paths = otherConfigurationsIn(home);
  addExisting(
      {home + "/gpg.conf", home + "/common.conf", "/etc/gnupg/gpg.conf", "/etc/gnupg/common.conf"},
      paths);
  return paths;
}

std::vector<std::string> gnupgFilesOf(const std::string& home) {
  std::vector<std::string> paths = optionFilesOf(home);
  addExisting({home + "/pubring.kbx", home + "/pubring.gpg", home + "/trustdb.gpg"}, paths);
  return paths;
}

std::string irregularToVerify(const std::string& list) {
  std::vector<std::string> paths = gnupgFilesOf(gnupgHome);
  paths.insert(paths.begin(), {list, list + ".asc"});
  for (const std::string& path : paths) {
    std::string reason = irregular(path);
    if (!reason.empty())
      return reason;
  }
  return "";
}

}  // namespace tool
