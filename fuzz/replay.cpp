// Runs a target on existing inputs: does not fuzz, and does not need clang.
//
//   fuzz_replay TARGET FILE-OR-DIRECTORY...

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <vector>

#include "engine/target.h"

namespace {

std::vector<std::filesystem::path> filesAt(const std::filesystem::path& path) {
  if (!std::filesystem::is_directory(path))
    return {path};
  std::vector<std::filesystem::path> files;
  for (const auto& member : std::filesystem::recursive_directory_iterator(path)) {
    if (member.is_regular_file())
      files.push_back(member.path());
  }
  return files;
}

std::string contentOf(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file.is_open())
    throw std::runtime_error("cannot open " + path.string());
  return {std::istreambuf_iterator<char>(file), {}};
}

}  // namespace

// NOLINTNEXTLINE(bugprone-exception-escape): an exception must end the program
int main(int argc, char** argv) {
  std::vector<std::string> const words(argv + 1, argv + argc);
  auto const target = words.empty() ? fuzz::targets().end() : fuzz::targets().find(words[0]);
  if (target == fuzz::targets().end() || words.size() < 2) {
    std::cerr << "usage: fuzz_replay TARGET FILE-OR-DIRECTORY...; the targets are:";
    for (const auto& [name, run] : fuzz::targets())
      std::cerr << " " << name;
    std::cerr << "\n";
    return 2;
  }
  std::size_t count = 0;
  std::size_t skipped = 0;
  for (std::size_t i = 1; i < words.size(); ++i) {
    for (const std::filesystem::path& file : filesAt(words[i])) {
      std::cerr << file.string() << std::endl;  // first, because the input may end the process
      std::string const content = contentOf(file);
      ++count;
      try {
        target->second(fuzz::Input(content));
      } catch (const fuzz::NoPrivateRoot&) {
        ++skipped;
      }
    }
  }
  std::cerr << words[0] << ": " << count << " inputs\n";
  if (skipped > 0) {
    std::cerr << "[  SKIPPED ] fuzz_replay " << words[0] << ", " << skipped
              << " of them (needs a private root)\n";
    return getenv("ZEMO_ALL") != nullptr ? 1 : 0;
  }
  return count > 0 ? 0 : 1;
}
