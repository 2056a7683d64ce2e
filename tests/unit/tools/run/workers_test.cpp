#include "run/workers.h"

#include <gtest/gtest.h>

#include <sched.h>
#include <sys/resource.h>

#include <new>
#include <set>
#include <stdexcept>

using tool::Workers;

TEST(Workers, DoEachItemOnce) {
  for (unsigned const threads : {1U, 2U, 8U}) {
    std::vector<std::atomic<int>> times(1000);
    Workers workers(times.size(), threads, [&](std::size_t i) { ++times[i]; });
    while (!workers.allDone())
      workers.wait();
    EXPECT_TRUE(workers.allDone());
    for (std::size_t i = 0; i < times.size(); ++i) {
      EXPECT_EQ(times[i], 1);
      EXPECT_TRUE(workers.done(i));
    }
  }
}

TEST(Workers, NothingToDoIsDone) {
  Workers workers(0, 4, [](std::size_t) { FAIL(); });
  EXPECT_TRUE(workers.allDone());
  workers.wait();
  while (!workers.allDone())
    workers.wait();
}

TEST(Workers, NoMoreThreadsThanItems) {
  std::mutex mutex;
  std::set<std::thread::id> seen;
  Workers workers(2, 100, [&](std::size_t) {
    std::lock_guard<std::mutex> const lock(mutex);
    seen.insert(std::this_thread::get_id());
  });
  while (!workers.allDone())
    workers.wait();
  EXPECT_LE(seen.size(), 2U);
  EXPECT_EQ(seen.count(std::this_thread::get_id()), 0U);
}

// The first item ends only when all others have been done by the other thread.
TEST(Workers, NothingWaitsBehindASlowItem) {
  for (std::size_t const slow : {0, 5, 999}) {
    std::vector<std::atomic<int>> times(1000);
    std::atomic<std::size_t> others{0};
    Workers workers(
        times.size(), 2,
        [&](std::size_t i) {
          ++times[i];
          if (i != slow)
            ++others;
          while (i == slow && others < times.size() - 1)
            std::this_thread::yield();
        },
        [slow](std::size_t i) { return i != slow; });
    auto const end = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (!workers.allDone() && std::chrono::steady_clock::now() < end)
      workers.wait();
    EXPECT_TRUE(workers.allDone()) << slow;
    others = times.size();  // lets it end in any case
    for (const std::atomic<int>& count : times)
      EXPECT_LE(count, 1);
  }
}

TEST(Workers, ItemsAreTakenOneByOneByDefault) {
  std::atomic<std::size_t> others{0};
  Workers workers(1000, 2, [&](std::size_t i) {
    if (i != 0)
      ++others;
    while (i == 0 && others < 999)
      std::this_thread::yield();
  });
  auto const end = std::chrono::steady_clock::now() + std::chrono::seconds(60);
  while (!workers.allDone() && std::chrono::steady_clock::now() < end)
    workers.wait();
  EXPECT_TRUE(workers.allDone());
  others = 1000;
}

TEST(Workers, WaitDoesNotWaitForALongItem) {
  std::atomic<bool> go{false};
  Workers workers(1, 1, [&](std::size_t) {
    while (!go)
      std::this_thread::yield();
  });
  workers.wait();
  EXPECT_FALSE(workers.done(0));
  EXPECT_FALSE(workers.allDone());
  go = true;
  while (!workers.allDone())
    workers.wait();
}

TEST(Workers, AnItemsExceptionComesOutOfWaiting) {
  Workers workers(100, 2, [](std::size_t i) {
    if (i == 10)
      throw std::runtime_error("ten");
  });
  EXPECT_THROW(
      {
        while (!workers.allDone())
          workers.wait();
      },
      std::runtime_error);
  EXPECT_FALSE(workers.done(10));
  EXPECT_FALSE(workers.allDone());
}

TEST(Workers, DestructionStartsNoFurtherItem) {
  std::atomic<int> done{0};
  std::atomic<bool> go{false};
  {
    Workers workers(1000, 1, [&](std::size_t) {
      ++done;
      while (!go)
        std::this_thread::yield();
    });
    while (done == 0)
      std::this_thread::yield();
    std::thread release([&] {
      std::this_thread::sleep_for(std::chrono::milliseconds(50));
      go = true;
    });
    release.detach();
  }
  EXPECT_EQ(done, 1);
}

TEST(Workers, ProcessorsAreThoseOfThisProcess) {
  cpu_set_t before;
  ASSERT_EQ(sched_getaffinity(0, sizeof before, &before), 0);
  EXPECT_EQ(tool::processors(), static_cast<unsigned>(CPU_COUNT(&before)));
  cpu_set_t one;
  CPU_ZERO(&one);
  for (int i = 0; i < CPU_SETSIZE && CPU_COUNT(&one) == 0; ++i) {
    if (CPU_ISSET(i, &before))
      CPU_SET(i, &one);
  }
  ASSERT_EQ(sched_setaffinity(0, sizeof one, &one), 0);
  EXPECT_EQ(tool::processors(), 1U);
  ASSERT_EQ(sched_setaffinity(0, sizeof before, &before), 0);
}

// Otherwise, work for another root could be done in this machine's.
TEST(Workers, ThreadThatCannotBeginDoesNothing) {
  std::atomic<int> times{0};
  Workers workers(
      10, 2, [&](std::size_t) { ++times; }, nullptr,
      [] { throw std::runtime_error("cannot begin"); });
  EXPECT_THROW(while (!workers.allDone()) workers.wait(), std::runtime_error);
  EXPECT_EQ(times, 0);
}

TEST(Workers, EveryThreadBeginsBeforeItsFirstItem) {
  static thread_local bool begun = false;
  std::atomic<int> unbegun{0};
  Workers workers(
      100, 3, [&](std::size_t) { unbegun += begun ? 0 : 1; }, nullptr, [] { begun = true; });
  while (!workers.allDone())
    workers.wait();
  EXPECT_EQ(unbegun, 0);
}
