// Common parts of the measuring programs: time, memory, arguments.

#ifndef ZEMO_BENCH_PROGRAMS_MEASURED_H
#define ZEMO_BENCH_PROGRAMS_MEASURED_H

#include <malloc.h>
#include <sys/resource.h>

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

namespace bench {

class Stopwatch {
 public:
  double seconds() const {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - _start).count();
  }

 private:
  std::chrono::steady_clock::time_point _start = std::chrono::steady_clock::now();
};

// The peak memory of this process, in KiB.
inline long peakKib() {
  rusage usage = {};
  (void)getrusage(RUSAGE_SELF, &usage);
  return usage.ru_maxrss;
}

// The field of /proc/self/status with this name, in KiB: VmRSS, the memory in use, or VmHWM, its
// peak.
inline long memoryKib(const std::string& name) {
  std::ifstream status("/proc/self/status");
  for (std::string word; status >> word;) {
    if (long value = 0; word == name + ":" && status >> value)
      return value;
  }
  return 0;
}

// Lets VmHWM start again from the memory in use now.
inline void forgetPeak() {
  std::ofstream("/proc/self/clear_refs") << "5";
}

// The bytes allocated with malloc, including its own overhead.
inline std::size_t allocatedBytes() {
  struct mallinfo2 const info = mallinfo2();
  return info.uordblks + info.hblkhd;
}

[[noreturn]] inline void fail(const std::string& reason) {
  (void)fprintf(stderr, "%s\n", reason.c_str());
  exit(1);
}

// The texts in the file `path`, each ended by `end`.
inline std::vector<std::string> readAll(const std::string& path, char end) {
  std::ifstream file(path, std::ios::binary);
  if (!file)
    fail("cannot open " + path);
  std::vector<std::string> texts;
  for (std::string text; std::getline(file, text, end);)
    texts.push_back(text);
  return texts;
}

}  // namespace bench

#endif
