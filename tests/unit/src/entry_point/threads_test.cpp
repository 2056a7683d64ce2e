// Operations that several threads may run at once. Built with the thread sanitizer, this program
// also shows that the library has no data races there.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <zemo/core.h>
#include <zemo/selfcheck/file_list.h>
#include <zemo/selfcheck/self_check_files.h>

#include <boost/make_shared.hpp>
#include <future>
#include <thread>

#include "support/path_list.h"
#include "support/result_mask.h"
#include "support/signed_set_test.h"

namespace {

using namespace ZEMO::SELF_CHECK;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr size_t threadCount = 6;

// Runs `work(i)` on thread i, starting all threads together, and returns when all have ended.
template <class Work>
void onThreads(Work work) {
  std::promise<void> start;
  std::shared_future<void> const started = start.get_future().share();
  std::vector<std::thread> threads;
  for (size_t i = 0; i < threadCount; ++i) {
    threads.emplace_back([&work, started, i] {
      started.wait();
      work(i);
    });
  }
  start.set_value();
  for (std::thread& thread : threads)
    thread.join();
}

using ThreadsTest = SignedSetTest;

TEST_F(ThreadsTest, SelfCheckFilesGivesEachThreadItsOwnResults) {
  std::string const changed = file("changed");
  std::string const intact = file("intact");
  signedList("wam.full.a.list", {entryLine(changed), entryLine(intact)});
  signedList("wam.full.b.list", {entryLine(changed, "0", "-", "-", "-", "-", "-")});

  std::vector<int> returned(threadCount, -2);
  std::vector<std::vector<SELFCHECK_RESULT>> results(threadCount, std::vector<SELFCHECK_RESULT>(3));
  onThreads([&](size_t i) {
    PathList const paths({changed, pathOf("unlisted"), intact});
    for (int round = 0; round < 3; ++round)
      returned[i] = SelfCheckFiles(paths.get(), results[i].data());
  });
  EXPECT_THAT(returned, Each(0));
  for (const std::vector<SELFCHECK_RESULT>& found : results)
    EXPECT_THAT(masksOf(found), ElementsAre(0x001, 0x080, 0));
  EXPECT_THAT(recordedLog(), IsEmpty());
}

// Some calls also fail: the verification of the set's only list ends differently from call to call.
TEST_F(ThreadsTest, SelfCheckFilesFailsOnOneThreadAndNotOnTheOthers) {
  std::string const path = file("f");
  signedList("wam.full.base.list", {entryLine(path)});

  std::vector<int> returned(threadCount, -2);
  onThreads([&](size_t i) {
    PathList const paths({path});
    SELFCHECK_RESULT result = {};
    returned[i] = SelfCheckFiles(i == 0 ? nullptr : paths.get(), &result);
  });
  EXPECT_EQ(returned[0], -1);
  EXPECT_EQ(std::count(returned.begin(), returned.end(), 0), threadCount - 1);
  EXPECT_THAT(recordedLog(), ElementsAre(logged("util", 24, "Selfcheck check sanity failed")));
}

// Programs that other threads run must not inherit the descriptors of one thread's reading.
TEST_F(ThreadsTest, VerifyingAndReadingGoOnAtOnce) {
  std::string const path = file("f", std::string(1 << 20, 'x'));
  signedList("wam.full.base.list", {entryLine(path)});

  std::vector<char> success(threadCount, 0);
  onThreads([&](size_t i) {
    FileList list("wam", "full");
    bool changed = false;
    success[i] = list.loadList(i % 2 == 0) &&
                 list.getProtectedFiles()->at(path)->check(changed, CHECK_ITEM_ALL) && !changed;
  });
  EXPECT_THAT(success, Each(1));
}

TEST_F(ThreadsTest, DifferentEntriesAreCheckedInParallel) {
  std::vector<std::string> lines;
  for (size_t i = 0; i < threadCount; ++i)
    lines.push_back(entryLine(file("f" + std::to_string(i)), "0", "-", "-", "-", "-", "-"));
  signedList("wam.full.base.list", lines);
  FileList list("wam", "full");
  ASSERT_TRUE(list.loadList(false));
  auto const files = list.getProtectedFiles();

  std::vector<size_t> records(threadCount);
  onThreads([&](size_t i) {
    ProtectedFile& entry = *files->at(pathOf("f" + std::to_string(i)));
    bool changed = false;
    for (int round = 0; round < 100; ++round)
      (void)entry.check(changed, CHECK_ITEM_ALL);
    records[i] = entry._errors.size();
  });
  EXPECT_THAT(records, Each(100));
}

TEST_F(ThreadsTest, EntriesOfOneFileAreCheckedInParallel) {
  std::string const path = file("f", std::string(100000, 'x'));
  std::string const line = entryLine(path);
  std::vector<char> intact(threadCount, 0);
  onThreads([&](size_t i) {
    ProtectedFile entry(line);
    bool changed = false;
    intact[i] = entry.check(changed, CHECK_ITEM_ALL) && !changed;
  });
  EXPECT_THAT(intact, Each(1));
}

// Each thread's first use of the digest could repeat a one-time setup.
TEST_F(ThreadsTest, DigestsAreComputedInParallel) {
  std::string const path = file("empty", "");
  std::vector<std::string> digests(threadCount);
  onThreads([&](size_t i) { (void)calculateHash(path, digests[i]); });
  EXPECT_THAT(digests, Each("da39a3ee5e6b4b0d3255bfef95601890afd80709"));
}

TEST_F(ThreadsTest, ListsOfTheirOwnAreCheckedInParallel) {
  std::string const intact = file("intact");
  std::string const changed = file("changed");
  signedList("wam.full.base.list",
             {entryLine(intact), entryLine(changed, "0", "-", "-", "-", "-", "-")});
  std::vector<std::vector<SELFCHECK_RESULT>> results(threadCount);
  onThreads([&](size_t i) {
    FileList list("wam", "full");
    if (list.loadList(false) && !list.check(CHECK_ITEM_ALL))
      (void)list.checkFiles({intact, changed, "unlisted"}, results[i]);
  });
  for (const std::vector<SELFCHECK_RESULT>& found : results)
    EXPECT_THAT(masksOf(found), ElementsAre(0, 0x001, 0x080));
}

}  // namespace
