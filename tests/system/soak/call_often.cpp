// call_often COUNT WORD PATH [WORD PATH]...: calls SelfCheckFiles COUNT times for these paths and
// requires these result words, in hexadecimal. Prints the resources that the process used after the
// first tenth of the calls and at the end, as JSON.

#include <malloc.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>

#include "support/path_list.h"
#include "support/result_mask.h"

namespace {

long linesOf(const char* file) {
  std::ifstream content(file);
  long count = 0;
  for (std::string line; std::getline(content, line);)
    ++count;
  return count;
}

// The resources that this process uses.
struct Held {
  size_t allocated = 0;
  long residentKib = 0;
  long mappings = 0;
  long descriptors = 0;
};

Held held() {
  Held now;
  long pages = 0;
  std::ifstream("/proc/self/statm") >> pages >> now.residentKib;
  now.residentKib *= getpagesize() / 1024;
  now.mappings = linesOf("/proc/self/maps");
  auto const open = std::filesystem::directory_iterator("/proc/self/fd");
  now.descriptors = static_cast<long>(std::distance(begin(open), end(open)));
  struct mallinfo2 const memory = mallinfo2();
  now.allocated = memory.uordblks + memory.hblkhd;
  return now;
}

void say(const char* when, const Held& what) {
  (void)printf(
      "\"%s\": {\"allocated\": %zu, \"resident_kib\": %ld, \"mappings\": %ld, "
      "\"descriptors\": %ld}, ",
      when, what.allocated, what.residentKib, what.mappings, what.descriptors);
}

}  // namespace

// NOLINTNEXTLINE(bugprone-exception-escape): an exception shall end it
int main(int argc, char** argv) {
  long const count = std::stol(argv[1]);
  std::vector<uint32_t> expected;
  std::vector<std::string> names;
  for (int i = 2; i + 1 < argc; i += 2) {
    expected.push_back(static_cast<uint32_t>(std::stoul(argv[i], nullptr, 16)));
    names.emplace_back(argv[i + 1]);
  }
  PathList const paths(names);
  std::vector<SELFCHECK_RESULT> results(names.size());
  Held early;
  auto const start = std::chrono::steady_clock::now();
  for (long i = 0; i < count; ++i) {
    if (i == count / 10)
      early = held();
    if (SelfCheckFiles(paths.get(), results.data()) != 0 || masksOf(results) != expected) {
      (void)fprintf(stderr, "call %ld returned a wrong result\n", i);
      return 1;
    }
  }
  std::chrono::duration<double> const duration = std::chrono::steady_clock::now() - start;
  Held const late = held();
  (void)printf("{");
  say("early", early);
  say("late", late);
  (void)printf("\"seconds\": %f}\n", duration.count());
  return 0;
}
