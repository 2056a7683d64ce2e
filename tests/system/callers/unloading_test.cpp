// A caller that loads the library when it needs it and unloads it afterwards.

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <malloc.h>
#include <zemo/core.h>
#include <zemo/selfcheck/self_check_files.h>

#include <algorithm>
#include <string>
#include <thread>

#include "shared_set.h"
#include "support/caller.h"
#include "support/files.h"
#include "support/result_mask.h"

namespace {

// The library, and the core library that it needs.
class Loaded {
 public:
  Loaded() : _handle(dlopen(ZEMO_SELF_CHECK_LIBRARY, RTLD_NOW | RTLD_LOCAL)) {
    if (_handle == nullptr)
      throw std::runtime_error(dlerror());
  }
  ~Loaded() { (void)dlclose(_handle); }
  Loaded(const Loaded&) = delete;
  Loaded& operator=(const Loaded&) = delete;

  template <typename Function>
  Function* function(const char* name) const {
    void* const address = dlsym(_handle, name);
    if (address == nullptr)
      throw std::runtime_error(dlerror());
    return reinterpret_cast<Function*>(address);
  }

 private:
  void* _handle;
};

bool isMapped() {
  return readFile("/proc/self/maps").find("libzemo") != std::string::npos;
}

size_t mappings() {
  std::string const maps = readFile("/proc/self/maps");
  return static_cast<size_t>(std::count(maps.begin(), maps.end(), '\n'));
}

size_t allocatedBytes() {
  struct mallinfo2 const info = mallinfo2();
  return info.uordblks + info.hblkhd;
}

class UnloadingTest : public SharedSetTest {
 protected:
  static void useLibrary(bool withGnuPG) {
    Loaded const library;
    std::string found;
    std::string const path = pathOf("intact");
    auto* const hash = library.function<bool(std::string, std::string&)>(
        "_ZN4ZEMO10SELF_CHECK13calculateHashENSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEE"
        "RS6_");
    ASSERT_TRUE(hash(path, found));
    ASSERT_EQ(found, intactDigest);
    if (!withGnuPG)
      return;
    VLIBSzList* list = library.function<decltype(VLIBSzListAlloc)>("VLIBSzListAlloc")(1);
    for (const std::string& named : paths())
      ASSERT_GT(library.function<decltype(VLIBSzListPush)>("VLIBSzListPush")(&list, named.c_str()),
                0);
    std::vector<SELFCHECK_RESULT> results(paths().size());
    ASSERT_EQ(library.function<decltype(SelfCheckFiles)>("SelfCheckFiles")(list, results.data()),
              0);
    ASSERT_EQ(masksOf(results), masks());
    library.function<decltype(VLIBSzListFree)>("VLIBSzListFree")(list);
  }
};

TEST_F(UnloadingTest, LeavesNothingAfterAThousandLoads) {
#ifdef ZEMO_COVERAGE
  GTEST_SKIP() << "the coverage runtime keeps memory for each load";
#endif
  if (sanitized || underValgrind())
    GTEST_SKIP() << "this tool reports memory that libcrypto keeps for the library as lost";
  // In a separate thread, because memory that a thread has freed and keeps for reuse counts as
  // allocated until the thread ends.
  auto const use = [](int rounds) {
    std::thread([rounds] {
      for (int i = 0; i < rounds && !HasFatalFailure(); ++i)
        useLibrary(i % 100 == 0);
    }).join();
  };
  use(10);
  EXPECT_FALSE(isMapped());
  int const descriptors = openDescriptors();
  size_t const mapped = mappings();
  size_t const allocated = allocatedBytes();
  use(1000);
  EXPECT_EQ(openDescriptors(), descriptors);
  EXPECT_LE(mappings(), mapped);
  EXPECT_LE(allocatedBytes(), allocated);
}

}  // namespace
