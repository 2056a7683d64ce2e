#include "common/made_list.h"

#include <random>
#include <utility>

#include "common/padded.h"
#include "support/files.h"

namespace {

// Its numbers are fixed by the standard, unlike those of distributions and std::shuffle.
using Random = std::mt19937;

// Paths sort in the order of their numbers.
std::string directoryPath(unsigned number) {
  return "/usr/share/directory" + padded(number, 5);
}

std::string digest(Random& random) {
  std::string text(40, '0');
  for (char& digit : text)
    digit = "0123456789abcdef"[random() % 16];
  return text;
}

}  // namespace

std::vector<std::string> madeLines(unsigned count, unsigned fixedDirectories) {
  constexpr unsigned sizes = 1000000;
  Random random;  // NOLINT(cert-msc32-c,cert-msc51-cpp): the same numbers each time
  std::vector<std::string> lines;
  lines.reserve(count);
  for (unsigned i = 0; i < count; ++i) {
    unsigned const directory = i / entriesPerDirectory;
    unsigned const file = i % entriesPerDirectory;
    std::string const path = directoryPath(directory);
    if (file == 0)
      lines.push_back(
          entryLine(path, "-", directory < fixedDirectories ? "FIXED" : "-", "d", "755", "0", "0"));
    else
      lines.push_back(entryLine(path + "/file" + padded(file, 2) + ".so",
                                std::to_string(random() % sizes), digest(random), "f", "755", "0",
                                "0"));
  }
  return lines;
}

std::vector<std::string> unlistedPaths(unsigned count) {
  constexpr unsigned directories = 100;
  std::vector<std::string> paths;
  paths.reserve(count);
  for (unsigned i = 0; i < count; ++i)
    paths.push_back(directoryPath(i % directories) + "/unlisted" + std::to_string(i));
  return paths;
}

void shuffle(std::vector<std::string>& lines) {
  Random random;  // NOLINT(cert-msc32-c,cert-msc51-cpp): the same order each time
  for (size_t i = lines.size(); i > 1; --i)
    std::swap(lines[i - 1], lines[random() % i]);
}

void writeList(const std::string& path, const std::vector<std::string>& lines) {
  std::string text = "WAM_SELF_CHECK\nmade for a benchmark\n";
  for (const std::string& line : lines)
    text += line + '\n';
  writeFile(path, text);
}
