#include "support/private_root.h"

#include <linux/magic.h>
#include <sys/stat.h>
#include <sys/statfs.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>

#include "support/files.h"

namespace {

void empty(const std::string& directory) {
  for (const auto& member : std::filesystem::directory_iterator(directory))
    ::remove(member.path());  // std::remove does not remove a directory with members
}

dev_t deviceOf(const char* path) {
  struct stat status = {};
  return lstat(path, &status) == 0 ? status.st_dev : 0;
}

// The same proof as in scripts/private-root --verify.
bool proved() {
  struct stat marker = {};
  struct statfs root = {};
  return lstat("/.zemo-private-root", &marker) == 0 && S_ISREG(marker.st_mode) &&
         statfs("/", &root) == 0 && root.f_type == TMPFS_MAGIC && marker.st_dev == deviceOf("/") &&
         marker.st_dev == deviceOf(PrivateRootTest::listDir) &&
         marker.st_dev == deviceOf(PrivateRootTest::packagesDir) &&
         marker.st_dev == deviceOf(PrivateRootTest::stateDir);
}

}  // namespace

bool inPrivateRoot() {
  const char* const where = getenv("ZEMO_PRIVATE_ROOT");
  if (where == nullptr || std::string(where) != "yes")
    return false;
  if (proved())
    return true;
  (void)fputs("ZEMO_PRIVATE_ROOT is \"yes\", but this is not a private root; unset it\n", stderr);
  std::_Exit(1);
}

void PrivateRootTest::SetUp() {
  if (!inPrivateRoot())
    GTEST_SKIP() << "needs a private root";
  empty(listDir);
  empty(packagesDir);
  empty(stateDir);
}

std::string PrivateRootTest::writeList(const std::string& name, const std::string& lines) {
  return writeList(listDir, name, lines);
}

std::string PrivateRootTest::writeList(const std::string& directory, const std::string& name,
                                       const std::string& lines) {
  makeDirectory(directory);
  std::string path = directory + "/" + name;
  writeFile(path, "WAM_SELF_CHECK\nfree text\n" + lines);
  return path;
}
