// Workers when memory for threads runs out.

#include <gtest/gtest.h>

#include "run/workers.h"
#include "support/doubles/failing_new.h"

using tool::Workers;

TEST(WorkersMemory, FewerThreadsDoItAll) {
  bool failed = true;
  for (long n = 1; failed; ++n) {
    std::vector<std::atomic<int>> times(50);
    Workers::Work const work = [&](std::size_t i) { ++times[i]; };
    try {
      failAllocation(n);
      Workers workers(times.size(), 4, work);
      failed = allocationHasFailed();
      failAllocation(0);
      while (!workers.allDone())
        workers.wait();
      for (const auto& time : times)
        EXPECT_EQ(time, 1) << n;
    } catch (const std::bad_alloc&) {  // before the first thread
      failAllocation(0);
      for (const auto& time : times)
        EXPECT_EQ(time, 0) << n;
    }
    ASSERT_LT(n, 100);
  }
}
