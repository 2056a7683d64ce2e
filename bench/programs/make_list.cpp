// make_list ENTRIES FIXED_DIRECTORIES [--shuffled]: writes a check list to standard output, always
// the same: directories of a hundred regular files, the first ones with fixed members.

#include <cinttypes>
#include <cstring>
#include <utility>

#include "measured.h"
#include "random.h"

namespace {

std::vector<std::string> sortedLines(uint64_t entries, uint64_t fixedDirectories) {
  constexpr uint64_t linesEach = 100;  // a directory and its files
  bench::Random random(3);
  std::vector<std::string> lines;
  lines.reserve(entries);
  char line[256];
  for (uint64_t i = 0; i < entries; ++i) {
    uint64_t const directory = i / linesEach;
    if (i % linesEach == 0)
      (void)snprintf(line, sizeof line,
                     "/usr/share/benchmark/directory-%06" PRIu64 "\t-\t%s\td\t755\t0\t0", directory,
                     directory < fixedDirectories ? "FIXED" : "-");
    else
      (void)snprintf(line, sizeof line,
                     "/usr/share/benchmark/directory-%06" PRIu64 "/member-%02" PRIu64 "\t%" PRIu64
                     "\t%016" PRIx64 "%016" PRIx64 "%08" PRIx64 "\tf\t644\t0\t0",
                     directory, i % linesEach, random.below(1'000'000), random.next(),
                     random.next(), random.next() & 0xffffffff);
    lines.emplace_back(line);
  }
  return lines;
}

void shuffle(std::vector<std::string>& lines) {
  bench::Random random(4);
  for (std::size_t i = lines.size(); i > 1; --i)
    std::swap(lines[i - 1], lines[random.below(i)]);
}

}  // namespace

int main(int argc, char** argv) {
  bool const shuffled = argc == 4 && strcmp(argv[3], "--shuffled") == 0;
  if (argc != 3 && !shuffled)
    bench::fail("usage: make_list ENTRIES FIXED_DIRECTORIES [--shuffled]");
  std::vector<std::string> lines =
      sortedLines(strtoull(argv[1], nullptr, 10), strtoull(argv[2], nullptr, 10));
  if (shuffled)
    shuffle(lines);
  (void)puts("WAM_SELF_CHECK\nwritten by make_list");
  for (const std::string& line : lines)
    (void)puts(line.c_str());
  if (fflush(stdout) != 0)
    bench::fail("cannot write the list");
  return 0;
}
