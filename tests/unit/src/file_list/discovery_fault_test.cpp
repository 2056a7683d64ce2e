// Discovery when the C library's search, or reading the order, fails halfway.

#include <dlfcn.h>
#include <glob.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "discovery_fixture.h"
#include "support/doubles/scripted_files.h"

namespace {

int searchResult = 0;  // a search's result, instead of success

template <typename Function>
Function* next(const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

}  // namespace

// The library's calls come here, because this program is searched before libc.

extern "C" int glob64(const char* pattern, int flags, int (*onError)(const char*, int),
                      glob64_t* found) noexcept {
  using Glob = int(const char*, int, int (*)(const char*, int), glob64_t*);
  static auto* const real = next<Glob>("glob64");
  int const result = real(pattern, flags, onError, found);
  return searchResult != 0 ? searchResult : result;
}

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class DiscoveryFaultTest : public DiscoveryTest {
 protected:
  void TearDown() override {
    searchResult = 0;
    scriptedReads = {};
  }
};

TEST_F(DiscoveryFaultTest, ListsFoundBySearchAreUsedWhateverItReturns) {
  makeLists({"b", "a"});
  for (int const result : {GLOB_NOSPACE, GLOB_ABORTED, GLOB_NOMATCH, -1}) {
    searchResult = result;
    EXPECT_THAT(found(), ElementsAre("a", "b")) << result;
  }
  EXPECT_THAT(recordedLog(), IsEmpty());
}

TEST_F(DiscoveryFaultTest, LinesBeforeAReadErrorCount) {
  makeLists({"a", "b", "c"});
  writeOrder(list("c") + "\n" + list("a") + "\n" + list("b") + "\n");
  std::size_t const twoLines = list("c").size() + 1 + list("a").size() + 1;
  scriptedReads.goodCalls = 1;
  scriptedReads.mostBytes = twoLines;
  EXPECT_THAT(found(), ElementsAre("b", "c", "a"));
  scriptedReads.goodCalls = 1;
  scriptedReads.mostBytes =
      twoLines - 1;  // without the second line feed: an incomplete line names nothing
  EXPECT_THAT(found(), ElementsAre("a", "b", "c"));
}

TEST_F(DiscoveryFaultTest, OrderThatCannotBeReadAtAllNamesNothing) {
  makeLists({"a", "b"});
  writeOrder(list("b") + "\n" + list("a") + "\n");
  scriptedReads.goodCalls = 0;
  EXPECT_THAT(found(), ElementsAre("a", "b"));
}

}  // namespace
