#include "support/private_root.h"

#include <cstdlib>
#include <filesystem>

#include "support/files.h"

namespace {

void empty(const std::string& directory) {
  for (const auto& member : std::filesystem::directory_iterator(directory))
    ::remove(member.path());  // not the standard library's, which removes no full directory
}

}  // namespace

void PrivateRootTest::SetUp() {
  const char* const where = getenv("ZEMO_PRIVATE_ROOT");
  if (where == nullptr || std::string(where) != "yes")
    GTEST_SKIP() << "needs a private root";
  empty(listDir);
  empty(packagesDir);
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
