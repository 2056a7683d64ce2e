// Exhausted memory: every allocation of every operation fails once. The exception reaches the
// caller, and nothing leaks.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <zemo/core.h>
#include <zemo/selfcheck/file_list.h>
#include <zemo/selfcheck/self_check_files.h>

#include <algorithm>
#include <memory>
#include <new>

#include "support/doubles/failing_new.h"
#include "support/doubles/recorded_log.h"
#include "support/files.h"
#include "support/path_list.h"
#include "support/private_root.h"
#include "support/result_mask.h"
#include "support/temporary_directory.h"

// Verifies every signature. GnuPG would only cost time here, and allocates in its own process.
int VLIBExecl(const char* /*program*/, int /*options*/, ...) {
  return 0;
}

namespace {

using namespace ZEMO::SELF_CHECK;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr uint32_t pattern = 0xa5a5a5a5;

// Runs `operate` with its first, second, third ... allocation failing, each time on a new result of
// `prepare`, until it succeeds. `operate` gets that result by reference. Returns the number of
// failures.
template <class Prepare, class Operate>
long failEveryAllocation(Prepare prepare, Operate operate) {
  for (long n = 1;; ++n) {
    long const liveBefore = liveAllocations();
    int const descriptorsBefore = openDescriptors();
    bool thrown = false;
    bool injected = false;
    {
      auto subject = prepare();
      failAllocation(n);
      try {
        operate(subject);
      } catch (const std::bad_alloc&) {
        thrown = true;
      }
      injected = allocationHasFailed();
      failAllocation(0);
    }
    EXPECT_EQ(thrown, injected) << "allocation " << n;
    EXPECT_EQ(liveAllocations(), liveBefore) << "allocation " << n;
    EXPECT_EQ(openDescriptors(), descriptorsBefore) << "allocation " << n;
    if (!injected)
      return n - 1;
  }
}

// All names are too long for a string to store inline.
class AllocationTest : public PrivateRootTest {
 protected:
  void SetUp() override {
    PrivateRootTest::SetUp();
    if (IsSkipped())
      return;
    makeDirectory(_fixed);
    for (const std::string& path : {_intact, _changed, _member, _intruder})
      writeFile(path, "content");
    std::string const lines =
        entryLine(_intact) + "\n" +
        entryLine(_changed, "9", std::string(40, '0'), "d", "7", "1234567", "1234567") + "\n" +
        entryLine(_fixed, "-", "FIXED", "d", "-", "-", "-") + "\n" + entryLine(_member) + "\n-" +
        entryLine(_fixed + "/a removed entry with a long name", "-", "-", "-", "-", "-", "-") +
        "\n";
    _list = writeList("wam.full.base.list", lines);
    writeFile(_list + ".asc", "");
    writeFile(std::string(listDir) + "/listorder",
              "a name of no list at all\nwam.full.base.list\n");

    (void)loaded()->checkFiles(CHECK_ITEM_ALL);  // allocates what is kept from then on
    clearLog();
  }

  void TearDown() override { EXPECT_THAT(recordedLog(), IsEmpty()); }

  static std::unique_ptr<FileList> constructed() {
    return std::make_unique<FileList>("wam", "full");
  }

  static std::unique_ptr<FileList> loaded() {
    auto list = constructed();
    EXPECT_TRUE(list->loadList(false));
    return list;
  }

  std::vector<std::string> paths() const { return {_intact, _changed, _fixed, _intruder}; }

  TemporaryDirectory _directory;
  std::string const _intact = _directory / "a file whose name is long";
  std::string const _changed = _directory / "another file whose name is long";
  std::string const _fixed = _directory / "a directory whose name is long";
  std::string const _member = _fixed + "/a member with a name that is long";
  std::string const _intruder = _fixed + "/an intruder with a name that is long";
  std::string _list;
};

TEST_F(AllocationTest, SelfCheckFilesThrowsAndLeavesTheArrayAlone) {
  PathList const list(paths());
  std::vector<SELFCHECK_RESULT> results(paths().size(), resultFrom(pattern));
  bool untouched = true;
  int returned = -1;
  long const failures = failEveryAllocation([] { return 0; },
                                            [&](int) {
                                              try {
                                                returned =
                                                    SelfCheckFiles(list.get(), results.data());
                                              } catch (const std::bad_alloc&) {
                                                for (const SELFCHECK_RESULT& result : results)
                                                  untouched &= maskOf(result) == pattern;
                                                throw;
                                              }
                                            });
  EXPECT_GT(failures, 50);
  EXPECT_TRUE(untouched);
  EXPECT_EQ(returned, 0);
  EXPECT_THAT(masksOf(results), ElementsAre(0, 0x03f, 0, 0x180));
}

TEST_F(AllocationTest, Construction) {
  std::string const name = "a package with a long name";
  std::string const mode = "a mode whose name is long, too";
  EXPECT_GT(failEveryAllocation([] { return 0; }, [&](int) { FileList const list(name, mode); }),
            3);
}

TEST_F(AllocationTest, ConstructionFromAnotherList) {
  EXPECT_GT(failEveryAllocation(loaded, [](auto& source) { FileList("wam", "full", *source); }), 4);
}

TEST_F(AllocationTest, Loading) {
  bool success = false;
  EXPECT_GT(failEveryAllocation(constructed, [&](auto& list) { success = list->loadList(true); }),
            30);
  EXPECT_TRUE(success);
}

TEST_F(AllocationTest, LoadingAgainAfterFailedLoading) {
  bool allSucceeded = true;
  (void)failEveryAllocation(constructed, [&](auto& list) {
    try {
      (void)list->loadList(true);
    } catch (const std::bad_alloc&) {
      allSucceeded &= list->loadList(true) && list->getProtectedFiles()->size() == 4;
      throw;
    }
  });
  EXPECT_TRUE(allSucceeded);
}

// A line's entry is allocated before the entry that it replaces or removes is released.
TEST_F(AllocationTest, ParsingOverALoadedList) {
  bool success = false;
  EXPECT_GT(failEveryAllocation(loaded, [&](auto& list) { success = list->parseList(_list); }), 20);
  EXPECT_TRUE(success);
}

TEST_F(AllocationTest, VerifyingSignatures) {
  bool success = false;
  EXPECT_GT(failEveryAllocation(loaded, [&](auto& list) { success = list->checkSign(); }), 0);
  EXPECT_TRUE(success);
}

TEST_F(AllocationTest, CollectingFixedDirectories) {
  bool success = false;
  EXPECT_GT(failEveryAllocation(loaded, [&](auto& list) { success = list->fillFixedDirInfo(); }),
            1);
  EXPECT_TRUE(success);
}

TEST_F(AllocationTest, CheckingTheWholeSet) {
  bool intact = true;
  EXPECT_GT(failEveryAllocation(loaded, [&](auto& list) { intact = list->check(CHECK_ITEM_ALL); }),
            20);
  EXPECT_FALSE(intact);
}

TEST_F(AllocationTest, CheckingNamedFiles) {
  auto const prepare = [this] { return std::make_pair(loaded(), paths()); };
  bool success = false;
  EXPECT_GT(failEveryAllocation(prepare,
                                [&](auto& subject) {
                                  std::vector<SELFCHECK_RESULT> results;
                                  success = subject.first->checkFiles(subject.second, results);
                                }),
            20);
  EXPECT_TRUE(success);
}

TEST_F(AllocationTest, AddingAHook) {
  auto const prepare = [] {
    std::string const text = "something that is too big to be held in a function object";
    auto hook = [text](boost::shared_ptr<ProtectedFile>&, bool&) {
      return static_cast<int>(text.size());
    };
    return std::make_pair(constructed(), FileList::Hook(hook));
  };
  EXPECT_GT(
      failEveryAllocation(prepare, [](auto& subject) { subject.first->addHook(subject.second); }),
      1);
}

TEST_F(AllocationTest, FindingLists) {
  std::string const listPattern = std::string(listDir) + "/wam.full.*.list";
  size_t found = 0;
  EXPECT_GT(failEveryAllocation([] { return 0; },
                                [&](int) { found = glob(listDir, listPattern).size(); }),
            5);
  EXPECT_EQ(found, 1U);
}

TEST_F(AllocationTest, DescribingAList) {
  auto const prepare = [] { return FileList("a package with a long name", "full"); };
  EXPECT_GT(failEveryAllocation(prepare, [](auto& list) { (void)list.toString(); }), 0);
}

}  // namespace
