// Many threads that check the system's own set at the same time, for a second or, as a soak, for as
// many as ZEMO_SOAK_SECONDS says. Built with the thread sanitizer it shows that there are no races.

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
constexpr size_t loadingThreads = 4;  // each with a list of its own, checking all of it

std::chrono::seconds duration() {
  const char* const seconds = getenv("ZEMO_SOAK_SECONDS");
  return std::chrono::seconds(seconds != nullptr ? std::stol(seconds) : 1);
}

using CallersThreadsTest = WholeLibraryTest;

TEST_F(CallersThreadsTest, CheckTheSameSetAtOnce) {
  auto const end = std::chrono::steady_clock::now() + duration();
  std::atomic<long> calls{0};
  std::atomic<long> others{0};  // than right ones
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
