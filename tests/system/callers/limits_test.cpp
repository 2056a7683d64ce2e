// The whole library in callers that are short of some resource: every call returns its right
// results or fails as documented.

#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <functional>
#include <new>
#include <set>

#include "support/caller.h"
#include "support/files.h"
#include "support/signing_key.h"
#include "whole_library.h"

namespace {

using LimitsTest = WholeLibraryTest;

// The outcome of `call`; running out of memory is also a documented failure.
template <typename Call>
Outcome outcomeOf(Call call) {
  try {
    return call();
  } catch (const std::bad_alloc&) {
    return Outcome::failed;
  }
}

void limit(__rlimit_resource resource, rlim_t value) {
  rlimit limits = {};
  ASSERT_EQ(getrlimit(resource, &limits), 0);
  limits.rlim_cur = std::min(value, limits.rlim_max);
  ASSERT_EQ(setrlimit(resource, &limits), 0);
}

// The outcome of `call` in a separate process.
Outcome inProcess(const std::function<Outcome()>& call) {
  auto* const outcome = static_cast<Outcome*>(
      mmap(nullptr, sizeof(Outcome), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
  *outcome = Outcome::wrong;
  inCaller([&] { *outcome = call(); });
  Outcome const result = *outcome;
  (void)munmap(outcome, sizeof(Outcome));
  return result;
}

TEST_F(LimitsTest, AnyNumberOfDescriptors) {
  if (sanitized || underValgrind())
    GTEST_SKIP() << "this tool needs descriptors itself";
  std::set<Outcome> seen;
  for (rlim_t descriptors = 0; descriptors <= 40; ++descriptors) {
    SCOPED_TRACE(descriptors);
    Outcome const outcome = inProcess([descriptors] {
      limit(RLIMIT_NOFILE, descriptors);
      EXPECT_NE(loadAndCheck(false), Outcome::wrong);
      EXPECT_NE(digest(), Outcome::wrong);
      Outcome const found = selfCheckFiles();
      limit(RLIMIT_NOFILE, RLIM_INFINITY);
      EXPECT_EQ(loadAndCheck(false), Outcome::right);
      return found;
    });
    EXPECT_NE(outcome, Outcome::wrong);
    seen.insert(outcome);
    if (descriptors == 40) {
      EXPECT_EQ(outcome, Outcome::right);
    }
  }
  EXPECT_EQ(seen.size(), 2U);  // the lowest limits were too low
}

rlim_t addressSpace() {
  return static_cast<rlim_t>(std::stol(readFile("/proc/self/statm")) * getpagesize());
}

// Makes the kernel provide the stack that the calls need now, because later it may not.
__attribute__((noinline)) void touchStack() {
  volatile char room[512 * 1024];
  for (size_t i = 0; i < sizeof room; i += 4096)
    room[i] = 0;
}

// The test's own comparison must not run out of memory, because that would look like a failure of
// the library.
void liftMemoryLimit() {
  limit(RLIMIT_AS, RLIM_INFINITY);
}

// The outcome of `call` in a caller that may allocate this much more memory.
Outcome outcomeWithin(rlim_t bytes, Outcome (*call)()) {
  return inProcess([&] {
    touchStack();
    limit(RLIMIT_AS, addressSpace() + bytes);
    Outcome const outcome = outcomeOf(call);
    liftMemoryLimit();  // if the call did not return
    return outcome;
  });
}

// In small steps where memory runs out in the library itself, then in large steps up to the point
// where there is enough.
void sweepAddressSpace(Outcome (*call)()) {
  constexpr rlim_t kib = 1024;
  std::set<Outcome> seen;
  for (rlim_t bytes = 0; bytes < 128 * kib * kib;
       bytes += bytes < 2048 * kib ? 64 * kib : 16384 * kib) {
    Outcome const outcome = outcomeWithin(bytes, call);
    EXPECT_NE(outcome, Outcome::wrong) << bytes;
    seen.insert(outcome);
  }
  EXPECT_EQ(outcomeWithin(RLIM_INFINITY / 2, call), Outcome::right);
  EXPECT_EQ(seen.size(), 2U);
}

TEST_F(LimitsTest, AnyAmountOfMemory) {
  if (sanitized || underValgrind())
    GTEST_SKIP() << "this tool needs memory itself";
  sweepAddressSpace([] { return selfCheckFiles(liftMemoryLimit); });
}

// GnuPG has the same limit and needs more memory than the library.
TEST_F(LimitsTest, AnyAmountOfMemoryWithoutGnuPG) {
  if (sanitized || underValgrind())
    GTEST_SKIP() << "this tool needs memory itself";
  sweepAddressSpace([] { return loadAndCheck(false, liftMemoryLimit); });
}

TEST_F(LimitsTest, NoProcess) {
  bool const another = mayBecome(emptyAccount);
  inCaller([another] {
    limit(RLIMIT_NPROC, 0);
    EXPECT_NE(selfCheckFiles(), Outcome::wrong);  // root has no such limit
    if (another) {
      ASSERT_EQ(setresuid(emptyAccount, emptyAccount, emptyAccount), 0);
      EXPECT_EQ(selfCheckFiles(), Outcome::failed);
      EXPECT_EQ(loadAndCheck(true), Outcome::failed);
      EXPECT_EQ(loadAndCheck(false), Outcome::right);
    }
    EXPECT_EQ(digest(), Outcome::right);
    limit(RLIMIT_NPROC, RLIM_INFINITY);
    expectRightResults();
  });
}

// GnuPG writes a lock file where it has permission, and is killed for it.
TEST_F(LimitsTest, NoByteMayBeWritten) {
  inCaller([] {
    limit(RLIMIT_FSIZE, 0);
    EXPECT_NE(selfCheckFiles(), Outcome::wrong);
    EXPECT_EQ(loadAndCheck(false), Outcome::right);
    EXPECT_EQ(digest(), Outcome::right);
    limit(RLIMIT_FSIZE, RLIM_INFINITY);
    expectRightResults();
  });
  runShell(std::string("rm -f ") + listDir + "/.#lk*");
}

TEST_F(LimitsTest, SmallestStack) {
  if (sanitized || underValgrind())
    GTEST_SKIP() << "this tool needs more stack";
  inCaller([] {
    for (size_t const size : {size_t{64} * 1024, static_cast<size_t>(PTHREAD_STACK_MIN)}) {
      SCOPED_TRACE(size);
      pthread_attr_t attributes;
      pthread_attr_init(&attributes);
      ASSERT_EQ(pthread_attr_setstacksize(&attributes, size), 0);
      Outcome outcomes[3] = {Outcome::wrong, Outcome::wrong, Outcome::wrong};
      pthread_t thread = {};
      ASSERT_EQ(pthread_create(
                    &thread, &attributes,
                    [](void* argument) -> void* {
                      auto* const outcome = static_cast<Outcome*>(argument);
                      outcome[0] = selfCheckFiles();
                      outcome[1] = loadAndCheck(true);
                      outcome[2] = digest();
                      return nullptr;
                    },
                    outcomes),
                0);
      ASSERT_EQ(pthread_join(thread, nullptr), 0);
      pthread_attr_destroy(&attributes);
      for (Outcome const outcome : outcomes)
        EXPECT_EQ(outcome, Outcome::right);
    }
  });
}

}  // namespace
