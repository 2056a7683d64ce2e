// bare_insert LIST: puts entries that are made already into a map, in the list's order. What cannot
// be saved when lines come in no order are these searches.

#include <zemo/selfcheck.h>

#include <boost/make_shared.hpp>

#include "measured.h"

using namespace ZEMO::SELF_CHECK;

int main(int argc, char** argv) {
  if (argc != 2)
    bench::fail("usage: bare_insert LIST");
  std::vector<std::string> lines = bench::readAll(argv[1], '\n');
  std::vector<boost::shared_ptr<ProtectedFile>> entries;
  for (std::size_t i = 2; i < lines.size(); ++i)
    entries.push_back(boost::make_shared<ProtectedFile>(lines[i]));

  FileList::ProtectedFileMap files;
  bench::Stopwatch const stopwatch;
  for (auto& entry : entries)
    files[entry->_path] = std::move(entry);
  (void)printf("{\"seconds\": %.6f, \"entries\": %zu}\n", stopwatch.seconds(), files.size());
  return 0;
}
