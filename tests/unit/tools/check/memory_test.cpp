// A check in which memory runs out for one entry.

#include "check/set_check.h"
#include "support/doubles/failing_new.h"
#include "support/files.h"
#include "support/private_root.h"

using namespace ZEMO::SELF_CHECK;
using namespace tool;

namespace {

// Among all texts in the test, only columns of this length need such large allocations.
constexpr std::size_t large = 1000000;

class CountingReport : public CheckReport {
 public:
  void unchecked(const std::string& /*set*/, const std::string& path,
                 const std::vector<std::string>& log, const std::string& reason) override {
    paths.push_back(path);
    logs.push_back(log);
    reasons.push_back(reason);
  }

  std::vector<std::string> paths;
  std::vector<std::vector<std::string>> logs;
  std::vector<std::string> reasons;
};

class CheckMemoryTest : public PrivateRootTest {};

}  // namespace

// The last of the large allocations, which fails, is for the expected column in the record of a
// mismatch.
TEST_F(CheckMemoryTest, AnEntryWithoutMemoryIsReportedAndTheOthersAreChecked) {
  std::string const column(large, '7');
  writeList("wam.full.base.list", entryLine("/", "-", "-", "d", "-", "-", "-") + "\n" +
                                      entryLine("/etc", "-", "-", "d", column, "-", "-") + "\n" +
                                      entryLine("/usr", "-", "-", "d", "-", "-", "-") + "\n");
  int toldOf = 0;
  int notLoaded = 0;
  bool whole = false;
  for (long n = 1; !whole; ++n) {
    ASSERT_LT(n, 1000);
    auto options = std::make_shared<CheckOptions>();
    options->plan = {{"wam"}, "full", CHECK_ITEM_ALL};
    options->jobs = 2;
    options->verify = false;
    CountingReport report;
    Counters counters;
    Progress progress(false);
    failLargeAllocation(n, large);
    (void)checkSets(options, report, counters, progress);
    failLargeAllocation(0, large);

    EXPECT_FALSE(counters.partial);
    EXPECT_EQ(counters.sets + counters.notLoaded, 1U) << n;
    notLoaded += static_cast<int>(counters.notLoaded);
    if (counters.unchecked > 0) {
      ++toldOf;
      EXPECT_EQ(counters.checked, 2U);
      EXPECT_EQ(report.paths, std::vector<std::string>{"/etc"});
      EXPECT_EQ(report.logs.at(0), std::vector<std::string>{"out of memory"});
    }
    whole = counters.changed == 1;
    EXPECT_EQ(whole, counters.checked == 3) << n;
  }
  EXPECT_GT(notLoaded, 0);
  EXPECT_GT(toldOf, 0);
}
