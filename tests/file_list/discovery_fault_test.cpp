// Discovery when the C library's search, or reading the order, fails half-way.

#include <dlfcn.h>
#include <glob.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "file_list/discovery_fixture.h"

namespace {

int searchResult = 0;        // what a search returns instead of success
int goodReads = -1;          // reads that succeed before one fails; -1: all
std::size_t mostBytes = 64;  // that one read gives

template <typename Function>
Function* next(const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

}  // namespace

// The library's calls come here, because this program is searched before libc is.

extern "C" int glob64(const char* pattern, int flags, int (*onError)(const char*, int),
                      glob64_t* found) noexcept {
  using Glob = int(const char*, int, int (*)(const char*, int), glob64_t*);
  static auto* const real = next<Glob>("glob64");
  int const result = real(pattern, flags, onError, found);
  return searchResult != 0 ? searchResult : result;
}

extern "C" ssize_t read(int fd, void* buffer, std::size_t size) {
  static auto* const real = next<ssize_t(int, void*, std::size_t)>("read");
  if (goodReads < 0)
    return real(fd, buffer, size);
  if (goodReads-- > 0)
    return real(fd, buffer, std::min(size, mostBytes));
  goodReads = 0;
  errno = EIO;
  return -1;
}

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class DiscoveryFaultTest : public DiscoveryTest {
 protected:
  void TearDown() override {
    searchResult = 0;
    goodReads = -1;
  }
};

TEST_F(DiscoveryFaultTest, WhatASearchHasFoundIsUsedWhateverItReturns) {
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
  goodReads = 1;
  mostBytes = twoLines;
  EXPECT_THAT(found(), ElementsAre("b", "c", "a"));
  goodReads = 1;
  mostBytes = twoLines - 1;  // without the second line feed: what is cut short names nothing
  EXPECT_THAT(found(), ElementsAre("a", "b", "c"));
}

TEST_F(DiscoveryFaultTest, OrderThatCannotBeReadAtAllNamesNothing) {
  makeLists({"a", "b"});
  writeOrder(list("b") + "\n" + list("a") + "\n");
  goodReads = 0;
  EXPECT_THAT(found(), ElementsAre("a", "b"));
}

}  // namespace
