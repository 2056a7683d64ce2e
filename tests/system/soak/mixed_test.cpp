// All operations of a caller on a set, in random order, compared with a model of the results: for a
// second or, as a soak test, for ZEMO_SOAK_SECONDS. ZEMO_SOAK_SEED repeats a run.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <malloc.h>
#include <unistd.h>
#include <zemo/selfcheck.h>

#include <chrono>
#include <cstdlib>
#include <random>
#include <set>

#include "support/caller.h"
#include "support/path_list.h"
#include "support/result_mask.h"
#include "support/signed_set_test.h"

namespace {

using namespace ZEMO::SELF_CHECK;

constexpr uint32_t untouched = 0x5a5a5a5a;
constexpr mode_t mode = 0640;

// A file and what the library should report about it.
struct File {
  std::string path;
  std::string content;
  uint32_t mask;
};

long numberFrom(const char* variable, long otherwise) {
  const char* const value = getenv(variable);
  return value != nullptr ? std::stol(value) : otherwise;
}

size_t allocatedBytes() {
  struct mallinfo2 const info = mallinfo2();
  return info.uordblks + info.hblkhd;
}

class MixedTest : public SignedSetTest {
 protected:
  void SetUp() override {
    SignedSetTest::SetUp();
    if (IsSkipped())
      return;
    _fixed = pathOf("fixed");
    makeDirectory(_fixed);
    for (size_t i = 0; i < 20; ++i) {
      std::string const name = (i % 2 == 0 ? "f" : "fixed/f") + std::to_string(i);
      _files.push_back(
          {pathOf(name), std::string(1 + i * i * i * 20, static_cast<char>('a' + i)), 0});
      restore(_files.back());
    }
    std::vector<std::string> odd;
    std::vector<std::string> even = {entryLine(_fixed, "-", "FIXED", "d", "-", "-", "-")};
    for (size_t i = 0; i < _files.size(); ++i) {
      even.push_back(entryLine(_files[i].path, "1", "-", "-", "-", "-", "-"));  // overridden
      (i % 3 == 0 ? odd : even).push_back(entryLine(_files[i].path));
    }
    _lists = {signedList("wam.full.a.list", even), signedList("wam.full.b.list", odd)};
  }

  size_t below(size_t end) { return std::uniform_int_distribution<size_t>(0, end - 1)(_random); }

  static void restore(File& file) {
    remove(file.path);
    writeFile(file.path, file.content, mode);
    file.mask = 0;
  }

  // Changes a file, or undoes the change.
  void change() {
    File& file = _files[below(_files.size())];
    restore(file);
    switch (below(7)) {
      case 0:
        writeFile(file.path, std::string(file.content.size(), 'X'), mode);
        file.mask = 0x020;
        break;
      case 1:
        appendToFile(file.path, "more");
        file.mask = 0x021;
        break;
      case 2:
        changeMode(file.path, 0755);
        file.mask = 0x010;
        break;
      case 3:
        remove(file.path);
        file.mask = 0x040;
        break;
      case 4:
        remove(file.path);
        makeLink("/a target of another length than any content", file.path);
        file.mask = 0x029;
        break;
      case 5:
        remove(file.path);
        makeFifo(file.path);
        changeMode(file.path, mode);
        file.mask = 0x008;
        break;
      default:
        break;
    }
  }

  void changeStray() {
    std::string const stray = _fixed + "/stray";
    remove(stray);
    _stray = below(2) == 0;
    if (_stray)
      writeFile(stray, "");
  }

  void checkNamed() {
    std::vector<std::string> named;
    std::vector<uint32_t> expected;
    for (size_t count = below(30); count > 0; --count) {
      const File& file = _files[below(_files.size())];
      named.push_back(file.path);
      expected.push_back(file.mask);
    }
    named.push_back(_fixed + "/stray");
    expected.push_back(0x180);
    named.push_back(pathOf("unlisted"));
    expected.push_back(0x080);
    std::vector<SELFCHECK_RESULT> results(named.size());
    ASSERT_EQ(SelfCheckFiles(PathList(named).get(), results.data()), 0);
    ASSERT_EQ(masksOf(results), expected);
  }

  // Checks the whole set, by its own list object or by one that shares its entries.
  void checkAll() {
    std::set<std::string> expected;
    for (const File& file : _files) {
      if (file.mask != 0)
        expected.insert(file.path);
    }
    if (_stray)
      expected.insert(_fixed);
    FileList loaded("wam", "full");
    ASSERT_TRUE(loaded.loadList(below(2) == 0));
    FileList sharing("another", "name", loaded);
    std::set<std::string> found;
    auto const hook = [&found](boost::shared_ptr<ProtectedFile>& file, bool&) {
      found.insert(file->_path);
      return 0;
    };
    loaded.addHook(hook);
    sharing.addHook(hook);
    bool const intact =
        below(2) == 0 ? loaded.check(CHECK_ITEM_ALL) : sharing.checkFiles(CHECK_ITEM_ALL);
    ASSERT_EQ(intact, expected.empty());
    ASSERT_EQ(found, expected);
  }

  // A list that differs from the signed one.
  void checkForged() {
    const std::string& list = _lists[below(_lists.size())];
    std::string const content = readFile(list);
    appendToFile(list, "\n");
    SELFCHECK_RESULT result = resultFrom(untouched);
    ASSERT_EQ(SelfCheckFiles(PathList({_fixed}).get(), &result), -1);
    ASSERT_EQ(maskOf(result), untouched);
    ASSERT_FALSE(FileList("wam", "full").loadList(true));
    clearLog();
    writeFile(list, content);
  }

  void digest() {
    const File& file = _files[below(_files.size())];
    std::string found;
    if (file.mask == 0 || file.mask == 0x010) {
      ASSERT_TRUE(calculateHash(file.path, found));
      ASSERT_NE(entryLine(file.path).find("\t" + found + "\t"), std::string::npos);
    }
  }

  void step() {
    switch (below(10)) {
      case 0:
        return changeStray();
      case 1:
      case 2:
        return checkNamed();
      case 3:
        return checkAll();
      case 4:
        return checkForged();
      case 5:
        return digest();
      default:
        return change();
    }
  }

  std::string _fixed;
  std::vector<File> _files;
  std::vector<std::string> _lists;
  bool _stray = false;
  std::mt19937 _random;
};

TEST_F(MixedTest, EveryResultMatchesTheModelAndNothingLeaks) {
  auto const seed = numberFrom("ZEMO_SOAK_SEED", static_cast<long>(std::random_device()()));
  SCOPED_TRACE("ZEMO_SOAK_SEED=" + std::to_string(seed));
  _random.seed(static_cast<std::mt19937::result_type>(seed));

  auto const start = std::chrono::steady_clock::now();
  std::chrono::seconds const duration(numberFrom("ZEMO_SOAK_SECONDS", 1));
  long steps = 0;
  int descriptors = 0;
  size_t allocated = 0;
  while (steps < 100 || std::chrono::steady_clock::now() - start < duration) {
    ASSERT_NO_FATAL_FAILURE(step()) << "step " << steps;
    if (++steps == 20) {
      descriptors = openDescriptors();
      allocated = allocatedBytes();
    }
  }
  EXPECT_EQ(openDescriptors(), descriptors);
  if (!sanitized && !underValgrind()) {
    EXPECT_LT(allocatedBytes(), allocated + 64 * 1024);
  }
  (void)printf("%ld steps\n", steps);
}

}  // namespace
