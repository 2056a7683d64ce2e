// make_tree [--scale FILES] small|large DIRECTORY: writes a tree of files, always the same.
//
// small: 100,000 files of 0 to 8 KiB in 1,000 directories; large: 4 files of 512 MiB. --scale
// changes the number of small files, or the size of large files in MiB.

#include <sys/stat.h>

#include <algorithm>
#include <cstring>
#include <vector>

#include "measured.h"
#include "random.h"

namespace {

void makeDirectory(const std::string& path) {
  if (mkdir(path.c_str(), 0755) != 0 && errno != EEXIST)
    bench::fail("cannot create " + path + ": " + strerror(errno));
}

void writeFile(const std::string& path, uint64_t size, bench::Random& random) {
  constexpr uint64_t blockSize = 1U << 20U;
  std::vector<uint64_t> block(blockSize / sizeof(uint64_t));
  std::ofstream file(path, std::ios::binary);
  for (uint64_t written = 0; written < size; written += blockSize) {
    uint64_t const count = std::min(blockSize, size - written);
    for (uint64_t i = 0; i * sizeof(uint64_t) < count; ++i)
      block[i] = random.next();
    (void)file.write(reinterpret_cast<const char*>(block.data()),
                     static_cast<std::streamsize>(count));
  }
  file.close();
  if (!file)
    bench::fail("cannot write " + path + ": " + strerror(errno));
}

std::string numbered(const char* prefix, uint64_t number, int digits) {
  std::string text = std::to_string(number);
  text.insert(0, static_cast<std::size_t>(digits) - text.size(), '0');
  return prefix + text;
}

void makeSmall(const std::string& directory, uint64_t files) {
  constexpr uint64_t filesEach = 100;
  constexpr uint64_t largest = 8192;
  bench::Random random(1);
  std::string inside;
  for (uint64_t i = 0; i < files; ++i) {
    if (i % filesEach == 0) {
      inside = directory + numbered("/dir", i / filesEach, 5);
      makeDirectory(inside);
    }
    writeFile(inside + numbered("/file", i % filesEach, 2), random.below(largest + 1), random);
  }
}

void makeLarge(const std::string& directory, uint64_t mebibytes) {
  bench::Random random(2);
  for (uint64_t i = 0; i < 4; ++i)
    writeFile(directory + numbered("/large", i, 1), mebibytes * 1024 * 1024, random);
}

}  // namespace

int main(int argc, char** argv) {
  int next = 1;
  uint64_t scale = 0;
  if (argc > 2 && strcmp(argv[1], "--scale") == 0) {
    scale = strtoull(argv[2], nullptr, 10);
    next = 3;
  }
  if (argc != next + 2)
    bench::fail("usage: make_tree [--scale FILES] small|large DIRECTORY");
  std::string const kind = argv[next];
  std::string const directory = argv[next + 1];
  makeDirectory(directory);
  if (kind == "small")
    makeSmall(directory, scale != 0 ? scale : 100'000);
  else if (kind == "large")
    makeLarge(directory, scale != 0 ? scale : 512);
  else
    bench::fail("unknown tree " + kind);
  return 0;
}
