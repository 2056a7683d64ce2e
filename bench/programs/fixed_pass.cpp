// fixed_pass LIST: only collects the members of fixed directories.

#include <zemo/selfcheck.h>

#include "measured.h"

int main(int argc, char** argv) {
  if (argc != 2)
    bench::fail("usage: fixed_pass LIST");
  ZEMO::SELF_CHECK::FileList list("wam", "full");
  if (!list.parseList(argv[1]))
    bench::fail("the list cannot be read");
  bench::Stopwatch const stopwatch;
  (void)list.fillFixedDirInfo();
  double const seconds = stopwatch.seconds();
  std::size_t names = 0;
  for (const auto& element : *list.getProtectedFiles())
    names += element.second->_fixedEntries.size();
  (void)printf("{\"seconds\": %.6f, \"names\": %zu}\n", seconds, names);
  return 0;
}
