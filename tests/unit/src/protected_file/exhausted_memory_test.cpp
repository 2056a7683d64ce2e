// Every allocation of the library fails once: first an operation's first allocation, then its
// second, and so on, until the operation succeeds.

#include <gtest/gtest.h>
#include <pwd.h>
#include <zemo/selfcheck/protected_file.h>

#include <new>

#include "support/doubles/failing_new.h"
#include "support/doubles/recorded_log.h"
#include "support/doubles/scripted_package.h"
#include "support/errors_of.h"
#include "support/files.h"
#include "support/restored_binding.h"
#include "support/temporary_directory.h"

extern "C" passwd* getpwnam(const char*) {
  static passwd account = {};
  account.pw_uid = 1030;
  account.pw_gid = 100;
  return &account;
}

namespace {

using namespace ZEMO::SELF_CHECK;

class ExhaustedMemoryTest : public ::testing::Test {
 protected:
  // Memory checkers replace all other allocation functions.
  void SetUp() override {
    long const before = liveAllocations();
    void* const memory = operator new(1);
    bool const counted = liveAllocations() == before + 1;
    operator delete(memory);
    if (!counted)
      GTEST_SKIP() << "the program's allocation functions are not in use";
  }

  // Runs `operation` with the first, second ... allocation failing and `afterFault` after each
  // failure. Returns the number of failures.
  template <typename Operation, typename AfterFault>
  static long failEachAllocation(Operation operation, AfterFault afterFault) {
    for (long n = 0;; ++n) {
      long const before = liveAllocations();
      failAllocation(n + 1);
      try {
        operation();
        failAllocation(0);
        return n;
      } catch (const std::bad_alloc&) {
        failAllocation(0);
      }
      afterFault(liveAllocations() - before, n);
    }
  }

  std::string in(const std::string& name) const { return _directory / name; }

 private:
  TemporaryDirectory _directory;
  RestoredBinding _binding;
};

TEST_F(ExhaustedMemoryTest, DestructionFreesEveryError) {
  std::string const path = in("a file whose path is too long for a string to hold it in itself");
  writeFile(path, "content");
  long const before = liveAllocations();
  {
    ProtectedFile entry(entryLine(path, "8", "wrong", "d", "600", "-", "-"));
    bool changed = false;
    EXPECT_TRUE(entry.check(changed, CHECK_ITEM_ALL));
    EXPECT_EQ(entry._errors.size(), 4U);
    EXPECT_GT(liveAllocations(), before + 8);
  }
  EXPECT_EQ(liveAllocations(), before);
}

TEST_F(ExhaustedMemoryTest, ConstructionThrowsAndLosesNothing) {
  ProtectedFile::_pkginfo.isSet = true;
  ProtectedFile::_pkginfo.targetDir = "/var/packages/a-package-with-a-long-name/target";
  std::string const text = "$pkg_dir/text/that/is/too/long/for/a/string/to/hold/it/in/itself";
  std::string const line = entryLine(text, text, text, "l", text, "$pkg", text);
  long const faults =
      failEachAllocation([&line] { ProtectedFile const entry(line); },
                         [](long lost, long n) { EXPECT_EQ(lost, 0) << "allocation " << n; });
  EXPECT_GT(faults, 5);
}

TEST_F(ExhaustedMemoryTest, CheckThrowsAndRecordsWholeErrorsOnly) {
  std::string const path = in("a file whose path is too long for a string to hold it in itself");
  writeFile(path, "content");
  std::string const line = entryLine(path, "8", std::string(40, '0'), "d", "600", "-", "-");
  std::vector<std::string> expected;
  long const outside = liveAllocations();
  {
    ProtectedFile entry(line);
    bool changed = false;
    EXPECT_TRUE(entry.check(changed, CHECK_ITEM_ALL));
    expected = errorsOf(entry);
  }
  ASSERT_EQ(expected.size(), 4U);

  long n = 0;
  for (bool succeeded = false; !succeeded; ++n) {
    ProtectedFile entry(line);
    bool changed = false;
    try {
      failAllocation(n + 1);
      succeeded = entry.check(changed, CHECK_ITEM_ALL);
    } catch (const std::bad_alloc&) {
    }
    failAllocation(0);
    std::vector<std::string> const found = errorsOf(entry);
    ASSERT_LE(found.size(), expected.size());
    EXPECT_TRUE(std::equal(found.begin(), found.end(), expected.begin())) << n;
    EXPECT_EQ(changed, !found.empty()) << n;
  }
  EXPECT_GT(n, 12);
  expected = {};
  expected.shrink_to_fit();
  EXPECT_EQ(liveAllocations(), outside);
}

TEST_F(ExhaustedMemoryTest, DirectoryCheckThrowsAndLosesNothing) {
  for (int i = 0; i < 5; ++i)
    writeFile(in("a member whose name is too long for a string " + std::to_string(i)), "");
  std::string const path = in(".");
  struct stat const st = statusOf(path);
  std::string const line = entryLine(path, "-", "FIXED", "-", "-", "-", "-");
  int const descriptors = openDescriptors();
  auto const checkOnce = [&line, &st] {
    ProtectedFile entry(line);
    bool changed = false;
    EXPECT_FALSE(entry.checkHash(st, changed));
  };
  long const faults = failEachAllocation(
      checkOnce, [](long lost, long n) { EXPECT_EQ(lost, 0) << "allocation " << n; });
  EXPECT_GT(faults, 20);
  EXPECT_EQ(openDescriptors(), descriptors);
}

TEST_F(ExhaustedMemoryTest, DigestThrowsAndLeavesTheDigestAndNoDescriptor) {
  std::string const path = in("a file whose path is too long for a string to hold it in itself");
  writeFile(path, "content");
  std::string digest;
  int const descriptors = openDescriptors();
  long const faults =
      failEachAllocation([&path, &digest] { calculateHash(path, digest); },
                         [&digest](long, long n) { EXPECT_EQ(digest, "") << "allocation " << n; });
  EXPECT_GT(faults, 1);
  EXPECT_EQ(digest.size(), 40U);
  EXPECT_EQ(openDescriptors(), descriptors);
}

TEST_F(ExhaustedMemoryTest, BindingThrowsAndKeepsAnEarlierBindingUsable) {
  std::string const package = "a package with a name that is too long for a string";
  scriptedPackages()[package].user = "a user with a name that is too long for a string";
  ProtectedFile::_pkginfo.isSet = true;
  ProtectedFile::_pkginfo.uid = 7;
  ProtectedFile::_pkginfo.gid = 8;
  ProtectedFile::_pkginfo.targetDir = "/earlier";
  long const faults = failEachAllocation([&package] { ProtectedFile::setPkg(package); },
                                         [](long, long n) {
                                           const PkgInfo& info = ProtectedFile::_pkginfo;
                                           EXPECT_EQ(info.uid, 7U) << "allocation " << n;
                                           EXPECT_EQ(info.gid, 8U) << "allocation " << n;
                                           EXPECT_EQ(info.targetDir, "/earlier") << n;
                                         });
  EXPECT_GT(faults, 2);
  EXPECT_EQ(ProtectedFile::_pkginfo.uid, 1030U);
  EXPECT_EQ(ProtectedFile::_pkginfo.targetDir, "/var/packages/" + package + "/target");
}

}  // namespace
