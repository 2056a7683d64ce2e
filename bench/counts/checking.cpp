// Workloads that compare files with their entries.

#include <zemo/selfcheck.h>

#include <memory>
#include <random>
#include <string>
#include <vector>

#include "common/made_list.h"
#include "common/padded.h"
#include "counts/workload.h"
#include "support/files.h"

using ZEMO::SELF_CHECK::calculateHash;
using ZEMO::SELF_CHECK::CHECK_ITEM_ALL;
using ZEMO::SELF_CHECK::FileList;

namespace {

std::string directoryPath(int number) {
  return "directory" + std::to_string(number);
}

std::string filePath(int directory, int number) {
  return directoryPath(directory) + "/file" + std::to_string(number);
}

// Makes a file of `size` bytes. Returns its line, in which ids have the same length for all users.
std::string makeFile(const std::string& path, size_t size) {
  constexpr size_t digits = 10;
  writeFile(path, std::string(size, 'x'));
  struct stat const st = statusOf(path);
  std::string hash;
  calculateHash(path, hash);
  return entryLine(path, std::to_string(size), hash, "f", "644", padded(st.st_uid, digits),
                   padded(st.st_gid, digits));
}

// Makes a directory with files of at most `largest` bytes. Returns their lines and its own.
std::vector<std::string> fillDirectory(int number, bool fixed, int files, size_t largest) {
  std::string const path = directoryPath(number);
  makeDirectory(path);
  changeMode(path, 0755);
  std::vector<std::string> lines = {
      entryLine(path, "-", fixed ? "FIXED" : "-", "d", "755", "-", "-")};
  std::mt19937 random(static_cast<unsigned>(number));
  for (int i = 0; i < files; ++i)
    lines.push_back(makeFile(filePath(number, i), random() % (largest + 1)));
  return lines;
}

// The set of these lines, or null if it cannot be loaded.
std::shared_ptr<FileList> load(const std::vector<std::string>& lines) {
  writeList("list", lines);
  auto list = std::make_shared<FileList>("wam", "full");
  return list->parseList("list") && list->fillFixedDirInfo() ? list : nullptr;
}

void append(std::vector<std::string>& lines, const std::vector<std::string>& more) {
  lines.insert(lines.end(), more.begin(), more.end());
}

}  // namespace

Work checkSet() {
  constexpr int directories = 20;
  constexpr int fixedDirectories = 10;
  constexpr int filesPerDirectory = 100;
  constexpr int links = 200;
  constexpr size_t largest = 8192;
  std::vector<std::string> lines;
  for (int i = 0; i < directories; ++i)
    append(lines, fillDirectory(i, i < fixedDirectories, filesPerDirectory, largest));
  for (int i = 0; i < links; ++i) {
    std::string const path = "link" + std::to_string(i);
    makeLink(filePath(0, i), path);
    lines.push_back(entryLine(path));
  }
  return [list = load(lines)] { return list && list->checkFiles(CHECK_ITEM_ALL); };
}

Work checkNamed() {
  constexpr int directories = 50;
  constexpr int filesPerDirectory = 50;
  constexpr size_t largest = 1024;
  std::vector<std::string> lines;
  std::vector<std::string> paths;
  for (int i = 0; i < directories; ++i) {
    append(lines, fillDirectory(i, true, filesPerDirectory, largest));
    for (int j = 0; j < filesPerDirectory; ++j) {
      paths.push_back(filePath(i, j));
      // Half of the unlisted files are also in a directory with fixed members.
      paths.push_back((j % 2 == 0 ? directoryPath(i) : "elsewhere") + "/unlisted" +
                      std::to_string(i * filesPerDirectory + j));
    }
  }
  return [list = load(lines), paths] {
    std::vector<SELFCHECK_RESULT> results;
    return list && list->checkFiles(paths, results) && results.size() == paths.size();
  };
}
