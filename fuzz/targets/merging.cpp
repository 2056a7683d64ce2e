// Several lists, of the system and of packages, read one after the other. The first line of an
// input names the set; form feeds separate the lists, which lack their first line.

#include <zemo/selfcheck.h>

#include "engine/agree.h"
#include "engine/memory_file.h"
#include "engine/target.h"
#include "models/list.h"
#include "models/package.h"
#include "support/doubles/recorded_log.h"

using namespace ZEMO::SELF_CHECK;

namespace {

LogLine notBound(int number, const std::string& package) {
  return logged("protected_file", number,
                number == 113 ? "package [%s] is not installed."
                              : "Failed to get package user for package [%s]",
                fuzz::beforeNul(package));
}

void run(fuzz::Input input) {
  static fuzz::MemoryFile file;
  fuzz::installPackages();
  ProtectedFile::_pkginfo = PkgInfo();
  std::string const set = input.line();
  FileList list(set, "full");
  fuzz::Binding binding;
  fuzz::Entries entries;
  while (!input.atEnd()) {
    std::string const content = "WAM_SELF_CHECK\n" + input.upTo('\f');
    file.write(content);
    clearLog();
    bool const parsed = list.parseList(file.path());

    std::vector<LogLine> log;
    if (int const error = fuzz::formatErrorOf(content))
      log.push_back(logged("file_list", error, "Format Error"));
    else if (int const number = set == "wam" ? 0 : fuzz::bind(set, binding))
      log.push_back(notBound(number, set));
    else
      fuzz::merge(content, binding, entries);
    fuzz::agree("parseList", parsed, log.empty());
    fuzz::agree("entries", fuzz::entriesOf(list), entries);
    fuzz::agree("log", recordedLog(), log);
  }
}

fuzz::Target const target("merging", run);

}  // namespace
