// parse_and_insert LIST: reads a list line by line, parses each line with the library, inserts its
// entry into a map of the library's type, in the list's order, and then looks for fixed directories
// once. This is the least that loading a list in any order takes: without removals, replacements
// and the members of fixed directories.

#include <zemo/selfcheck.h>

#include <boost/make_shared.hpp>
#include <utility>

#include "measured.h"

using namespace ZEMO::SELF_CHECK;

int main(int argc, char** argv) {
  if (argc != 2)
    bench::fail("usage: parse_and_insert LIST");
  bench::Stopwatch const stopwatch;
  FileList::ProtectedFileMap files;
  std::ifstream list(argv[1]);
  std::string line;
  if (!std::getline(list, line) || line != "WAM_SELF_CHECK" || !std::getline(list, line))
    bench::fail("not a check list");
  while (std::getline(list, line)) {
    auto entry = boost::make_shared<ProtectedFile>(line);
    const std::string& path = entry->_path;
    (void)files.emplace(path, std::move(entry));
  }
  std::size_t fixed = 0;
  for (const auto& [path, entry] : files)
    fixed += entry->_hash == "FIXED" ? 1 : 0;
  (void)printf("{\"seconds\": %.6f, \"entries\": %zu, \"fixed\": %zu}\n", stopwatch.seconds(),
               files.size(), fixed);
  return 0;
}
