// load_list LIST: parses one list with the library and prepares its fixed directories.

#include <zemo/selfcheck.h>

#include "measured.h"

int main(int argc, char** argv) {
  if (argc != 2)
    bench::fail("usage: load_list LIST");
  ZEMO::SELF_CHECK::FileList list("wam", "full");
  std::size_t const before = bench::allocatedBytes();
  bench::Stopwatch const stopwatch;
  if (!list.parseList(argv[1]) || !list.fillFixedDirInfo())
    bench::fail("the list cannot be loaded");
  double const seconds = stopwatch.seconds();
  std::size_t const entries = list.getProtectedFiles()->size();
  (void)printf(
      "{\"seconds\": %.6f, \"entries\": %zu, \"bytes_per_entry\": %.1f}\n", seconds, entries,
      static_cast<double>(bench::allocatedBytes() - before) / static_cast<double>(entries));
  return 0;
}
