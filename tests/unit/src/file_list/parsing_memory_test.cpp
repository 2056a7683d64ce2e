// Memory runs out at each allocation that reading a list makes.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <zemo/selfcheck/file_list.h>

#include <new>

#include "loading_fixture.h"
#include "support/doubles/failing_new.h"
#include "support/doubles/recorded_log.h"
#include "support/doubles/scripted_package.h"
#include "support/files.h"

namespace {

using namespace ZEMO::SELF_CHECK;
using ::testing::Contains;
using ::testing::IsEmpty;

// Too long for a string to store inline.
const std::string longName = "/a path that needs memory of its own ";

class ParsingMemoryTest : public LoadingTest {
 protected:
  // Parses `list` into a new list of the set `name`, with the n-th allocation failing, for n = 1, 2
  // ... until parsing succeeds. After each failure, bad_alloc has been thrown, nothing is logged,
  // the list is closed, and the map holds one of `stages`. Returns the number of failures.
  static long failEachAllocation(const std::string& name, const std::string& list,
                                 const std::vector<std::vector<std::string>>& stages) {
    for (long n = 1;; ++n) {
      FileList files(name, "full");
      int const descriptors = openDescriptors();
      bool thrown = false;
      failAllocation(n);
      try {
        EXPECT_TRUE(files.parseList(list)) << "allocation " << n;
      } catch (const std::bad_alloc&) {
        thrown = true;
      }
      failAllocation(0);
      EXPECT_EQ(openDescriptors(), descriptors) << "allocation " << n;
      EXPECT_THAT(recordedLog(), IsEmpty()) << "allocation " << n;
      if (!thrown) {
        EXPECT_EQ(pathsOf(files), stages.back());
        return n - 1;
      }
      EXPECT_THAT(stages, Contains(pathsOf(files))) << "allocation " << n;
    }
  }
};

TEST_F(ParsingMemoryTest, LinesBeforeTheFailureStayApplied) {
  std::string const a = longName + "a";
  std::string const b = longName + "b";
  std::string const list = makeList("x", line(b) + line(a) + line("-" + b) + line(b, longName));
  long const failures = failEachAllocation("wam", list, {{}, {b}, {a, b}, {a}, {a, b}});
  EXPECT_GT(failures, 12);
}

TEST_F(ParsingMemoryTest, ElementOfThePathThatFailsHasNoHalfMadeEntry) {
  std::string const list = makeList("x", line(longName));
  for (long n = 1;; ++n) {
    FileList files("wam", "full");
    bool thrown = false;
    failAllocation(n);
    try {
      EXPECT_TRUE(files.parseList(list));
    } catch (const std::bad_alloc&) {
      thrown = true;
    }
    failAllocation(0);
    for (const auto& element : *files.getProtectedFiles()) {
      ASSERT_NE(element.second, nullptr) << "allocation " << n;
      EXPECT_EQ(element.second->_path, longName) << "allocation " << n;
    }
    if (!thrown)
      break;
  }
}

TEST_F(ParsingMemoryTest, FailureToBindThePackageReachesTheCaller) {
  scriptedPackages()["demo"].user = "user";
  std::string const path = "/var/packages/demo/target/a path that needs memory";
  std::string const list =
      makePackageList("demo", "demo.full.a.list", line("$pkg_dir/a path that needs memory"));
  EXPECT_GT(failEachAllocation("demo", list, {{}, {path}}), 6);
}

TEST_F(ParsingMemoryTest, NothingIsLost) {
  std::string const list = makeList("x", line(longName) + line("-" + longName) + line(longName));
  for (long n = 1;; ++n) {
    long const before = liveAllocations();
    bool failed = false;
    {
      FileList files("wam", "full");
      failAllocation(n);
      try {
        (void)files.parseList(list);
      } catch (const std::bad_alloc&) {
      }
      failed = allocationHasFailed();
      failAllocation(0);
    }
    EXPECT_EQ(liveAllocations(), before) << "allocation " << n;
    if (!failed)
      break;
  }
}

}  // namespace
