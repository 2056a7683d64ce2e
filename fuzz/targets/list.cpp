// One list file. The first line of an input is a number; each later byte \x01 represents that many
// letters, so that lines can be longer than inputs and than the reader's buffer.

#include <zemo/selfcheck.h>

#include <algorithm>
#include <cstdlib>

#include "engine/agree.h"
#include "engine/memory_file.h"
#include "engine/target.h"
#include "models/list.h"
#include "support/doubles/recorded_log.h"

using namespace ZEMO::SELF_CHECK;

namespace {

constexpr std::size_t largest = std::size_t{144} * 1024;  // more than two buffers

std::string expanded(const std::string& text, std::size_t count) {
  std::string result;
  for (char const c : text) {
    if (c != '\x01')
      result += c;
    else
      result.append(std::min(count, largest - std::min(largest, result.size())), 'x');
  }
  return result;
}

void run(fuzz::Input input) {
  static fuzz::MemoryFile file;
  std::size_t const count =
      std::min<std::size_t>(strtoul(input.line().c_str(), nullptr, 10), largest);
  std::string const content = expanded(input.rest(), count);
  file.write(content);
  ProtectedFile::_pkginfo.isSet = false;
  clearLog();

  FileList list("wam", "full");
  bool const parsed = list.parseList(file.path());
  int const error = fuzz::formatErrorOf(content);
  fuzz::Entries entries;
  std::vector<LogLine> log;
  if (error == 0)
    fuzz::merge(content, {}, entries);
  else
    log.push_back(logged("file_list", error, "Format Error"));
  fuzz::agree("parseList", parsed, error == 0);
  fuzz::agree("entries", fuzz::entriesOf(list), entries);
  fuzz::agree("log", recordedLog(), log);
}

fuzz::Target const target("list", run);

}  // namespace
