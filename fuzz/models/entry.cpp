#include "models/entry.h"

#include "engine/input.h"

namespace fuzz {
namespace {

std::string withId(const std::string& column, uint32_t id) {
  return column == "$pkg" ? std::to_string(id) : column == "$pkg_sys" ? "1" : column;
}

std::string withDirectory(const std::string& text, const std::string& directory) {
  std::string const mark = "$pkg_dir";
  std::string result;
  for (std::size_t i = 0; i < text.size();) {
    if (text.substr(i, mark.size()) == mark) {
      result += directory;
      i += mark.size();
    } else {
      result += text[i++];
    }
  }
  return result;
}

}  // namespace

Columns columnsOf(const std::string& line, const Binding& binding) {
  std::vector<std::string> const pieces = split(beforeNul(line), '\t');
  Columns columns;
  if (pieces.size() < columns.size())
    return columns;
  for (std::size_t i = 0; i < columns.size(); ++i)
    columns[i] = pieces[i];
  if (columns[0].substr(0, 1) == "-")
    columns[0] = columns[0].substr(1);
  if (!binding.isSet)
    return columns;
  columns[0] = withDirectory(columns[0], binding.directory);
  if (columns[3] == "l")
    columns[2] = withDirectory(columns[2], binding.directory);
  columns[5] = withId(columns[5], binding.uid);
  columns[6] = withId(columns[6], binding.gid);
  return columns;
}

Columns columnsOf(const ZEMO::SELF_CHECK::ProtectedFile& entry) {
  return {entry._path,       entry._size,  entry._hash, entry._type,
          entry._permission, entry._owner, entry._group};
}

}  // namespace fuzz
