// Workloads that read lists.

#include <zemo/selfcheck.h>

#include <memory>
#include <string>
#include <vector>

#include "common/made_list.h"
#include "counts/workload.h"

using ZEMO::SELF_CHECK::FileList;
using ZEMO::SELF_CHECK::ProtectedFile;

namespace {

const char* const listFile = "list";

}  // namespace

Work makeEntries() {
  constexpr unsigned lineCount = 20000;
  return [lines = madeLines(lineCount)] {
    bool complete = true;
    for (const std::string& line : lines)
      complete = ProtectedFile(line)._group == "0" && complete;
    return complete;
  };
}

Work loadList() {
  constexpr unsigned lineCount = 50000;
  writeList(listFile, madeLines(lineCount, lineCount / entriesPerDirectory));
  return [list = std::make_shared<FileList>("wam", "full")] {
    return list->parseList(listFile) && list->fillFixedDirInfo();
  };
}

Work parseShuffled() {
  constexpr unsigned lineCount = 20000;
  std::vector<std::string> lines = madeLines(lineCount);
  shuffle(lines);
  writeList(listFile, lines);
  return [list = std::make_shared<FileList>("wam", "full")] { return list->parseList(listFile); };
}
