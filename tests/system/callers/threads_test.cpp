// Many threads check the system's set at the same time, for a second or, as a soak test, for
// ZEMO_SOAK_SECONDS. Built with the thread sanitizer, this shows that there are no races.

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <thread>
#include <vector>

#include "support/caller.h"
#include "whole_library.h"

namespace {

constexpr size_t namingThreads = 16;  // each of them in SelfCheckFiles
constexpr size_t loadingThreads = 4;  // each loads its own list and checks all of it

std::chrono::seconds duration() {
  const char* const seconds = getenv("ZEMO_SOAK_SECONDS");
  return std::chrono::seconds(seconds != nullptr ? std::stol(seconds) : 1);
}

using CallersThreadsTest = WholeLibraryTest;

TEST_F(CallersThreadsTest, CheckTheSameSetAtOnce) {
  auto const end = std::chrono::steady_clock::now() + duration();
  std::atomic<long> calls{0};
  std::atomic<long> others{0};  // results that are not right
  std::vector<std::thread> threads;
  for (size_t i = 0; i < namingThreads + loadingThreads; ++i) {
    threads.emplace_back([&, i] {
      do {
        Outcome const outcome = i < namingThreads ? selfCheckFiles() : loadAndCheck(true);
        others += outcome == Outcome::right && digest() == Outcome::right ? 0 : 1;
        ++calls;
      } while (std::chrono::steady_clock::now() < end);
    });
  }
  for (std::thread& thread : threads)
    thread.join();
  EXPECT_EQ(others, 0);
  (void)printf("%ld calls\n", calls.load());
}

}  // namespace
