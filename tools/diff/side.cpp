#include "diff/side.h"

#include <filesystem>

#include "io/exit_status.h"
#include "root/package.h"
#include "sets/list_file.h"
#include "sets/merged_set.h"
#include "sets/sets.h"
#include "text/strings.h"

namespace tool {
namespace {

void readList(const std::string& path, Side& side) {
  ListFile const list = readListFile(path);
  side.label = list.label;
  // The last line for a path counts, as when the library reads the list.
  for (const ListLine& line : list.lines)
    side.statements[line.entry->_path] = {line.removal, line.entry};
}

bool isDirectory(const std::string& path) {
  std::error_code ignored;  // readListFile() reports it
  return std::filesystem::is_directory(path, ignored);
}

std::string withoutSlashes(const std::string& path) {
  std::size_t const last = path.find_last_not_of('/');
  return last == std::string::npos ? "/" : path.substr(0, last + 1);
}

}  // namespace

bool namesPath(const std::string& name) {
  return name.find('/') != std::string::npos || endsWith(name, ".list");
}

Side readSide(const std::string& name, const std::string& mode, bool verify,
              const OtherRoot* root) {
  Side side;
  side.name = name;
  if (namesPath(name) && !isDirectory(name)) {
    readList(name, side);
    return side;
  }
  if (root != nullptr)
    side.root = root->tree().name();
  MergedSet const merged =
      namesPath(name) ? mergedDirectory(withoutSlashes(name), mode, verify)
                      : mergedSetOf(root == nullptr ? nullptr : &root->tree(), name, mode, verify);
  for (const MergedEntry& element : merged.entries)
    side.statements[element.entry->_path] = {false, element.entry};
  return side;
}

}  // namespace tool
