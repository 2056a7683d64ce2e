#include "diff/side.h"

#include "io/exit_status.h"
#include "sets/list_file.h"
#include "sets/merged_set.h"
#include "sets/sets.h"
#include "text/strings.h"

namespace tool {
bool namesList(const std::string& name) {
  return name.find('/') != std::string::npos || endsWith(name, ".list");
}

Side readSide(const std::string& name, const std::string& mode, bool verify) {
  Side side;
  side.name = name;
  if (namesList(name)) {
    ListFile const list = readListFile(name);
    side.label = list.label;
    // The last line for a path counts, as when the library reads the list.
    for (const ListLine& line : list.lines)
      side.statements[line.entry->_path] = {line.removal, line.entry};
    return side;
  }
  requireSetName(name);
  for (const MergedEntry& element : mergedSet(name, mode, verify).entries)
    side.statements[element.entry->_path] = {false, element.entry};
  return side;
}

}  // namespace tool
