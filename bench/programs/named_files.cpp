// named_files COUNT PATHS_FILE [--resident-mib M]: calls SelfCheckFiles for the first COUNT paths,
// in a process that uses M MiB of memory. PATHS_FILE contains paths, each ended by a zero byte.

#include <zemo/core.h>
#include <zemo/selfcheck.h>

#include <cstring>

#include "measured.h"

int main(int argc, char** argv) {
  if (argc != 3 && !(argc == 5 && strcmp(argv[3], "--resident-mib") == 0))
    bench::fail("usage: named_files COUNT PATHS_FILE [--resident-mib M]");
  std::size_t const count = strtoul(argv[1], nullptr, 10);
  std::vector<char> const resident(argc == 5 ? strtoul(argv[4], nullptr, 10) << 20 : 0, 1);
  std::vector<std::string> const paths = bench::readAll(argv[2], '\0');
  if (paths.size() < count)
    bench::fail("the file has fewer paths than COUNT");
  VLIBSzList* list = VLIBSzListAlloc(static_cast<int>(count));
  for (std::size_t i = 0; i < count; ++i) {
    if (VLIBSzListPush(&list, paths[i].c_str()) < 0)
      bench::fail("out of memory");
  }
  std::vector<SELFCHECK_RESULT> results(count);

  bench::Stopwatch const stopwatch;
  int const result = SelfCheckFiles(list, results.data());
  double const seconds = stopwatch.seconds();
  VLIBSzListFree(list);
  if (result != 0)
    bench::fail("SelfCheckFiles failed");
  uint32_t flags = 0;
  for (const SELFCHECK_RESULT& each : results) {
    uint32_t word = 0;
    memcpy(&word, &each, sizeof word);
    flags |= word;
  }
  (void)printf("{\"seconds\": %.6f, \"flags\": %u, \"resident_bytes\": %zu}\n", seconds, flags,
               resident.size());
  return 0;
}
