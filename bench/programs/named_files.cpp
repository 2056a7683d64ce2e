// named_files COUNT PATHS_FILE [--resident-mib M]: calls SelfCheckFiles for the first COUNT paths,
// in a process that uses M MiB of memory. PATHS_FILE contains paths, each ended by a zero byte.
// Also prints how much more memory of its own the process used at the call's peak than before.

#include <zemo/core.h>
#include <zemo/selfcheck.h>

#include <cstring>

#include "measured.h"

namespace {

// Only these are read: memory that is free again before the call would hide what the call needs.
std::vector<std::string> firstPaths(const char* path, std::size_t count) {
  std::ifstream file(path, std::ios::binary);
  std::vector<std::string> paths(count);
  for (std::string& each : paths) {
    if (!std::getline(file, each, '\0'))
      bench::fail("the file has fewer paths than COUNT");
  }
  return paths;
}

// The peak memory without pages of files, such as the code of libraries, which processes share.
long ownPeakKib() {
  return bench::memoryKib("VmHWM") - bench::memoryKib("RssFile");
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3 && !(argc == 5 && strcmp(argv[3], "--resident-mib") == 0))
    bench::fail("usage: named_files COUNT PATHS_FILE [--resident-mib M]");
  std::size_t const count = strtoul(argv[1], nullptr, 10);
  std::vector<char> const resident(argc == 5 ? strtoul(argv[4], nullptr, 10) << 20 : 0, 1);
  std::vector<std::string> const paths = firstPaths(argv[2], count);
  VLIBSzList* list = VLIBSzListAlloc(static_cast<int>(count));
  for (std::size_t i = 0; i < count; ++i) {
    if (VLIBSzListPush(&list, paths[i].c_str()) < 0)
      bench::fail("out of memory");
  }
  std::vector<SELFCHECK_RESULT> results(count);

  bench::forgetPeak();
  long const before = ownPeakKib();
  bench::Stopwatch const stopwatch;
  int const result = SelfCheckFiles(list, results.data());
  double const seconds = stopwatch.seconds();
  long const extra = ownPeakKib() - before;
  VLIBSzListFree(list);
  if (result != 0)
    bench::fail("SelfCheckFiles failed");
  uint32_t flags = 0;
  for (const SELFCHECK_RESULT& each : results) {
    uint32_t word = 0;
    memcpy(&word, &each, sizeof word);
    flags |= word;
  }
  (void)printf("{\"seconds\": %.6f, \"flags\": %u, \"resident_bytes\": %zu, \"extra_kib\": %ld}\n",
               seconds, flags, resident.size(), extra);
  return 0;
}
