#include "engine/scratch.h"

#include <filesystem>
#include <fstream>
#include <stdexcept>

#include "support/temporary_directory.h"

namespace fuzz {

const std::string& scratch() {
  static TemporaryDirectory const directory;
  return directory.path();
}

void makeEmpty(const std::string& directory) {
  std::filesystem::create_directories(directory);
  for (const auto& member : std::filesystem::directory_iterator(directory))
    std::filesystem::remove_all(member.path());
}

void writeFile(const std::string& path, const std::string& content) {
  std::ofstream file(path, std::ios::binary | std::ios::trunc);
  file << content;
  file.close();
  if (!file.good())
    throw std::runtime_error("cannot write " + path);
}

}  // namespace fuzz
