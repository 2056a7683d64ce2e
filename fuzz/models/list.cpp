#include "models/list.h"

#include "engine/agree.h"
#include "engine/input.h"

namespace fuzz {
namespace {

// A line feed at the end does not begin another line.
std::vector<std::string> linesOf(const std::string& content) {
  std::vector<std::string> lines = split(content, '\n');
  if (lines.back().empty())
    lines.pop_back();
  return lines;
}

}  // namespace

int formatErrorOf(const std::string& content) {
  std::vector<std::string> const lines = linesOf(content);
  if (lines.empty() || lines[0] != "WAM_SELF_CHECK")
    return 108;
  return lines.size() < 2 ? 113 : 0;
}

void merge(const std::string& content, const Binding& binding, Entries& entries) {
  std::vector<std::string> const lines = linesOf(content);
  for (std::size_t i = 2; i < lines.size(); ++i) {
    Columns const columns = columnsOf(lines[i], binding);
    entries.erase(columns[0]);
    if (lines[i].substr(0, 1) != "-")
      entries.emplace(columns[0], columns);
  }
}

Entries entriesOf(const ZEMO::SELF_CHECK::FileList& list) {
  Entries entries;
  for (const auto& [path, entry] : *list.getProtectedFiles()) {
    agree("the key of an entry", path, entry->_path);
    entries.emplace(path, columnsOf(*entry));
  }
  return entries;
}

}  // namespace fuzz
