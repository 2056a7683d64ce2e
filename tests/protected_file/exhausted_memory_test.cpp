// Every allocation of the library fails once: the first of an operation, then the second, and so
// on, until the operation succeeds.

#include <gtest/gtest.h>
#include <pwd.h>
#include <zemo/selfcheck/protected_file.h>

#include <cstdlib>
#include <new>

#include "package_double/scripted_package.h"
#include "protected_file/errors_of.h"
#include "protected_file/restored_binding.h"
#include "support/files.h"
#include "support/recorded_log.h"
#include "support/temporary_directory.h"

namespace {

long allocated = 0;               // blocks that were not given back
long allocationsUntilFault = -1;  // -1: none fails

}  // namespace

// Not inlined: the compiler would take malloc and free for a mismatch of new and delete.
[[gnu::noinline]] void* operator new(size_t size) {
  if (allocationsUntilFault == 0)
    throw std::bad_alloc();
  if (allocationsUntilFault > 0)
    --allocationsUntilFault;
  void* const memory = malloc(size);
  if (memory == nullptr)
    throw std::bad_alloc();
  ++allocated;
  return memory;
}

[[gnu::noinline]] void operator delete(void* memory) noexcept {
  if (memory != nullptr)
    --allocated;
  free(memory);
}

void operator delete(void* memory, size_t) noexcept {
  operator delete(memory);
}

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
  // Memory checkers put their own allocation functions in the place of all others.
  void SetUp() override {
    long const before = allocated;
    void* const memory = operator new(1);
    bool const counted = allocated == before + 1;
    operator delete(memory);
    if (!counted)
      GTEST_SKIP() << "the program's allocation functions are not in use";
  }

  // Runs `operation` with the first, the second ... allocation failing, `afterFault` after each
  // time, and returns how many there were.
  template <typename Operation, typename AfterFault>
  static long failEachAllocation(Operation operation, AfterFault afterFault) {
    for (long n = 0;; ++n) {
      long const before = allocated;
      try {
        allocationsUntilFault = n;
        operation();
        allocationsUntilFault = -1;
        return n;
      } catch (const std::bad_alloc&) {
        allocationsUntilFault = -1;
      }
      afterFault(allocated - before, n);
    }
  }

  std::string in(const std::string& name) const { return _directory / name; }

 private:
  TemporaryDirectory _directory;
  RestoredBinding _binding;
};

TEST_F(ExhaustedMemoryTest, DestructionGivesEveryErrorBack) {
  std::string const path = in("a file whose path is too long for a string to hold it in itself");
  writeFile(path, "content");
  long const before = allocated;
  {
    ProtectedFile entry(entryLine(path, "8", "wrong", "d", "600", "-", "-"));
    bool changed = false;
    EXPECT_TRUE(entry.check(changed, CHECK_ITEM_ALL));
    EXPECT_EQ(entry._errors.size(), 4U);
    EXPECT_GT(allocated, before + 8);
  }
  EXPECT_EQ(allocated, before);
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
  long const outside = allocated;
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
      allocationsUntilFault = n;
      succeeded = entry.check(changed, CHECK_ITEM_ALL);
    } catch (const std::bad_alloc&) {
    }
    allocationsUntilFault = -1;
    std::vector<std::string> const found = errorsOf(entry);
    ASSERT_LE(found.size(), expected.size());
    EXPECT_TRUE(std::equal(found.begin(), found.end(), expected.begin())) << n;
    EXPECT_EQ(changed, !found.empty()) << n;
  }
  EXPECT_GT(n, 12);
  expected = {};
  expected.shrink_to_fit();
  EXPECT_EQ(allocated, outside);
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
