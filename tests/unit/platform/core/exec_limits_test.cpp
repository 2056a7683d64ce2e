// VLIBExecl in callers that are large, or that are short of a resource.

#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>
#include <zemo/core.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <sstream>
#include <string>

#include "support/caller.h"
#include "support/files.h"
#include "support/temporary_directory.h"
#include "support/witness.h"

namespace {

constexpr int isolate = VLIB_EXEC_WAIT | VLIB_EXEC_ISOLATE | VLIB_EXEC_STDIN_NULL |
                        VLIB_EXEC_STDOUT_NULL | VLIB_EXEC_STDERR_NULL;

std::chrono::microseconds timeOfOneCall() {
  using std::chrono::steady_clock;
  auto shortest = std::chrono::microseconds::max();
  for (int i = 0; i < 20; ++i) {
    auto const start = steady_clock::now();
    EXPECT_EQ(execute("/bin/true", isolate), 0);
    shortest = std::min(shortest, std::chrono::duration_cast<std::chrono::microseconds>(
                                      steady_clock::now() - start));
  }
  return shortest;
}

size_t mappings() {
  std::string const maps = readFile("/proc/self/maps");
  return static_cast<size_t>(std::count(maps.begin(), maps.end(), '\n'));
}

// The number of pages in this process's address space.
long addressSpace() {
  return std::stol(readFile("/proc/self/statm"));
}

TEST(ExecLimits, LargeCallerPaysNoMoreThanASmallOne) {
  if (sanitized || underValgrind())
    GTEST_SKIP() << "this tool's own memory would be measured";
  inCaller([] {
    constexpr size_t size = size_t{1} << 30;
    auto const small = timeOfOneCall();
    void* const memory =
        mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    ASSERT_NE(memory, MAP_FAILED);
    (void)madvise(memory, size, MADV_NOHUGEPAGE);  // small pages cost a copy the most
    memset(memory, 1, size);
    auto const large = timeOfOneCall();
    EXPECT_LT(large.count(), 10 * small.count());
  });
}

TEST(ExecLimits, NoMemoryStaysMapped) {
  if (sanitized || underValgrind())
    GTEST_SKIP() << "this tool maps memory of its own";
  inCaller([] {
    auto const runAll = [] {
      for (int i = 0; i < 20; ++i) {
        EXPECT_EQ(execute("/bin/true", isolate), 0);
        EXPECT_LT(execute("/missing", isolate), 0);
        EXPECT_LT(execute("/missing", 0), 0);
      }
    };
    runAll();
    size_t const mapped = mappings();
    long const pages = addressSpace();
    runAll();
    EXPECT_EQ(mappings(), mapped);
    EXPECT_LT(addressSpace(), pages + 60 * 32);  // 60 calls that lost 128 KiB each
  });
}

TEST(ExecLimits, ThreadMayHaveASmallStack) {
  if (sanitized || underValgrind())
    GTEST_SKIP() << "this tool needs more stack";
  inCaller([] {
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    ASSERT_EQ(pthread_attr_setstacksize(&attributes, 64 * 1024), 0);
    int results[3] = {-100, -100, -100};
    pthread_t thread = {};
    ASSERT_EQ(pthread_create(
                  &thread, &attributes,
                  [](void* argument) -> void* {
                    auto* const result = static_cast<int*>(argument);
                    result[0] = execute("/bin/true", isolate);
                    result[1] = execute("/bin/false", isolate);
                    result[2] = execute("/bin/true", isolate & ~VLIB_EXEC_WAIT);
                    return nullptr;
                  },
                  results),
              0);
    ASSERT_EQ(pthread_join(thread, nullptr), 0);
    EXPECT_EQ(results[0], 0);
    EXPECT_LT(results[1], 0);
    EXPECT_EQ(results[2], 0);
    pthread_attr_destroy(&attributes);
  });
}

// The caller is suspended while the program runs, so the program can examine its memory.
TEST(ExecLimits, EachProcessHasAGuardBelowItsStack) {
  TemporaryDirectory const directory;
  std::string const maps = directory / "maps";
  ASSERT_EQ(
      shell(isolate, "cat /proc/$0/maps >\"$1\"", std::to_string(getpid()).c_str(), maps.c_str()),
      0);
  std::istringstream lines(readFile(maps));
  lines >> std::hex;
  std::string found;  // the permissions and KiB of all mappings
  unsigned long start = 0;
  unsigned long end = 0;
  char dash = 0;
  std::string permissions;
  for (std::string rest; lines >> start >> dash >> end >> permissions && std::getline(lines, rest);)
    found += permissions + " " + std::to_string((end - start) / 1024) + "\n";
  EXPECT_NE(found.find("---p 4\nrw-p 60\n---p 4\nrw-p "), std::string::npos) << found;
}

void expectExhausted(int options) {
  VLIBErrSet(VLIB_ERR_NONE);
  EXPECT_LT(execute("/bin/true", options), 0);
  EXPECT_EQ(VLIBErrGet(), VLIB_ERR_OUT_OF_MEMORY);
}

TEST(ExecLimits, ExhaustedMemoryIsFailure) {
  if (sanitized || underValgrind())
    GTEST_SKIP() << "this tool needs memory itself";
  inCaller([] {
    rlimit limit = {};
    ASSERT_EQ(getrlimit(RLIMIT_AS, &limit), 0);
    limit.rlim_cur = static_cast<rlim_t>(addressSpace() * getpagesize());
    ASSERT_EQ(setrlimit(RLIMIT_AS, &limit), 0);
    VLIBErrSet(VLIB_ERR_NONE);
    int const result = execute("/bin/true", isolate);
    int const code = VLIBErrGet();
    limit.rlim_cur = limit.rlim_max;
    ASSERT_EQ(setrlimit(RLIMIT_AS, &limit), 0);
    EXPECT_LT(result, 0);
    EXPECT_EQ(code, VLIB_ERR_OUT_OF_MEMORY);
    EXPECT_EQ(execute("/bin/true", isolate), 0);
  });
}

TEST(ExecLimits, ExhaustedProcessesAreFailure) {
  if (underValgrind())
    GTEST_SKIP() << "this tool has no system call filters";
  inCaller([] {
    int const before = openDescriptors();
    size_t const mapped = mappings();
    refuseSystemCall(SYS_clone, EAGAIN);
    expectExhausted(isolate);
    expectExhausted(0);
    EXPECT_EQ(openDescriptors(), before);
    if (!sanitized) {
      EXPECT_EQ(mappings(), mapped);
    }
  });
}

// The intermediate process can be created, but not the program's process.
TEST(ExecLimits, RefusedSecondProcessIsFailure) {
  if (underValgrind())
    GTEST_SKIP() << "this tool has no system call filters";
  inCaller([] {
    constexpr unsigned int exitSignal = 0xff;
    refuseSystemCall(SYS_clone, EAGAIN, 0, exitSignal, SIGCHLD);
    expectExhausted(isolate);
    expectExhausted(0);
  });
}

TEST(ExecLimits, ProgramThatCannotBeWaitedForIsFailure) {
  if (underValgrind())
    GTEST_SKIP() << "this tool has no system call filters";
  inCaller([] {
    refuseSystemCall(SYS_wait4, ECHILD, 2, ~0U, WUNTRACED);
    EXPECT_LT(execute("/bin/true", isolate), 0);
    EXPECT_EQ(VLIBErrGet(), VLIB_ERR_PROGRAM_FAILED);
    EXPECT_EQ(execute("/bin/true", isolate & ~VLIB_EXEC_WAIT), 0);
  });
}

constexpr uid_t emptyAccount = 64321;

// True if this process can switch to that account, which is impossible in a user namespace with a
// single account.
bool mayChangeAccount() {
  std::istringstream map(readFile("/proc/self/uid_map"));
  unsigned long first = 0;
  unsigned long outside = 0;
  unsigned long size = 0;
  map >> first >> outside >> size;
  return getuid() == 0 && size > emptyAccount;
}

// The caller may create one more process, and its child none.
TEST(ExecLimits, ExhaustedProcessesInTheMiddleAreFailure) {
  if (underValgrind() || !mayChangeAccount())
    GTEST_SKIP() << "needs an account that has no process yet";
  inCaller([] {
    rlimit const limit = {2, 2};
    ASSERT_EQ(setrlimit(RLIMIT_NPROC, &limit), 0);
    ASSERT_EQ(setresuid(emptyAccount, emptyAccount, emptyAccount), 0);
    expectExhausted(isolate);
    expectExhausted(0);
  });
}

}  // namespace
