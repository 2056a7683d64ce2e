// The descriptors that a program started by VLIBExecl gets, and those that the caller keeps.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>
#include <zemo/core.h>

#include <algorithm>
#include <cerrno>
#include <map>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "support/caller.h"
#include "support/files.h"
#include "support/temporary_directory.h"
#include "support/witness.h"

namespace {

using Descriptors = std::map<int, std::string>;

constexpr int streamOption[] = {VLIB_EXEC_STDIN_NULL, VLIB_EXEC_STDOUT_NULL, VLIB_EXEC_STDERR_NULL};
constexpr int allStreams = VLIB_EXEC_STDIN_NULL | VLIB_EXEC_STDOUT_NULL | VLIB_EXEC_STDERR_NULL;
const Descriptors onlyNull = {{0, "/dev/null"}, {1, "/dev/null"}, {2, "/dev/null"}};

class ExecDescriptorsTest : public ::testing::Test {
 protected:
  std::string at(const std::string& name) const { return _directory / name; }

  Descriptors arrived(int options) const {
    std::string const file = at("report");
    if (execute(witness(), options | VLIB_EXEC_WAIT, file.c_str()) != 0)
      throw std::runtime_error("the program could not be run");
    return readReport(file).descriptors;
  }

  // The program's descriptors if its caller has closed those descriptors from 0 to 2 whose bits are
  // set in `closed`.
  Descriptors arrivedWithClosed(int closed, int options) const {
    std::vector<std::unique_ptr<Descriptor>> streams;
    for (int fd = 0; fd <= 2; ++fd)
      streams.push_back(std::make_unique<Descriptor>(fd, at(std::to_string(fd))));
    for (int fd = 0; fd <= 2; ++fd) {
      if ((closed & (1 << fd)) != 0)
        (void)close(fd);
    }
    return arrived(options);
  }

 private:
  TemporaryDirectory _directory;
};

int optionsOf(int nulls) {
  int options = 0;
  for (int fd = 0; fd <= 2; ++fd)
    options |= (nulls & (1 << fd)) != 0 ? streamOption[fd] : 0;
  return options;
}

TEST_F(ExecDescriptorsTest, IsolatedProgramGetsStreamsOnly) {
  inCaller([this] {
    for (int const fd : {3, 4, 17, 255, 1000})
      ASSERT_EQ(dup2(0, fd), fd);
    EXPECT_EQ(arrived(VLIB_EXEC_ISOLATE | allStreams), onlyNull);
  });
}

TEST_F(ExecDescriptorsTest, OtherProgramGetsWhatIsNotCloseOnExec) {
  inCaller([this] {
    Descriptor const first(17, at("first"));
    Descriptor const second(18, at("second"));
    ASSERT_EQ(fcntl(18, F_SETFD, FD_CLOEXEC), 0);
    Descriptors const all = arrived(0);
    EXPECT_EQ(all.count(17), 1U);
    EXPECT_EQ(all.count(18), 0U);
  });
}

TEST_F(ExecDescriptorsTest, CallerKeepsItsDescriptors) {
  inCaller([this] {
    Descriptor const kept(17, at("kept"));
    int const before = openDescriptors();
    for (int i = 0; i < 20; ++i)
      EXPECT_EQ(arrived(VLIB_EXEC_ISOLATE | allStreams), onlyNull);
    EXPECT_LT(execute("/missing", VLIB_EXEC_WAIT | VLIB_EXEC_ISOLATE | allStreams), 0);
    EXPECT_EQ(openDescriptors(), before);
    EXPECT_EQ(write(17, "text", 4), 4);
  });
  EXPECT_EQ(readFile(at("kept")), "text");
}

TEST_F(ExecDescriptorsTest, NullStreamsArriveWhateverIsClosed) {
  inCaller([this] {
    for (int closed = 0; closed < 8; ++closed) {
      EXPECT_EQ(arrivedWithClosed(closed, VLIB_EXEC_ISOLATE | allStreams), onlyNull) << closed;
      EXPECT_EQ(
          arrivedWithClosed(closed, VLIB_EXEC_ISOLATE | VLIB_EXEC_CLEAN_ENVIRONMENT | allStreams),
          onlyNull)
          << closed;
    }
  });
}

TEST_F(ExecDescriptorsTest, OpenStreamsAreNullOrInherited) {
  inCaller([this] {
    for (int closed = 0; closed < 8; ++closed) {
      for (int nulls = 0; nulls < 8; ++nulls) {
        SCOPED_TRACE("closed " + std::to_string(closed) + " nulls " + std::to_string(nulls));
        Descriptors all = arrivedWithClosed(closed, VLIB_EXEC_ISOLATE | optionsOf(nulls));
        for (int fd = 0; fd <= 2; ++fd) {
          bool const null = (nulls & (1 << fd)) != 0;
          if (null || (closed & (1 << fd)) == 0) {
            EXPECT_EQ(all[fd], null ? "/dev/null" : at(std::to_string(fd))) << fd;
          }
        }
      }
    }
  });
}

TEST_F(ExecDescriptorsTest, ClosedStreamsStayClosedUnlessTheyAreToBeNull) {
  inCaller([this] {
    for (int closed = 0; closed < 8; ++closed) {
      for (int nulls = 0; nulls < 8; ++nulls) {
        Descriptors const all = arrivedWithClosed(closed, VLIB_EXEC_ISOLATE | optionsOf(nulls));
        for (int fd = 0; fd <= 2; ++fd) {
          if ((closed & ~nulls & (1 << fd)) != 0) {
            EXPECT_EQ(all.count(fd), 0U) << "closed " << closed << " nulls " << nulls;
          }
        }
      }
    }
  });
}

TEST_F(ExecDescriptorsTest, CallerMayHaveNoDescriptorLeft) {
  if (underValgrind())
    GTEST_SKIP() << "this tool keeps descriptors of its own beyond the limit";
  inCaller([] {
    constexpr rlim_t few = 64;
    rlimit limit = {few, few};
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &limit), 0);
    while (open("/dev/null", O_RDONLY) >= 0) {
    }
    ASSERT_EQ(errno, EMFILE);
    EXPECT_EQ(execute("/bin/true", VLIB_EXEC_WAIT | VLIB_EXEC_ISOLATE | allStreams), 0);
    EXPECT_LT(execute("/bin/false", VLIB_EXEC_WAIT | VLIB_EXEC_ISOLATE | allStreams), 0);
  });
}

TEST_F(ExecDescriptorsTest, CallerWithoutDescriptorLeftNeedNotIsolate) {
  if (underValgrind())
    GTEST_SKIP() << "this tool keeps descriptors of its own beyond the limit";
  inCaller([] {
    constexpr rlim_t few = 64;
    rlimit limit = {few, few};
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &limit), 0);
    while (open("/dev/null", O_RDONLY | O_CLOEXEC) >= 0) {
    }
    EXPECT_EQ(execute("/bin/true", VLIB_EXEC_WAIT | allStreams), 0);
    EXPECT_EQ(execute("/bin/true", VLIB_EXEC_WAIT | VLIB_EXEC_STDERR_NULL), 0);
    EXPECT_EQ(execute("/bin/true", VLIB_EXEC_WAIT), 0);
  });
}

TEST_F(ExecDescriptorsTest, IsolationWorksWhereClosingARangeIsRefused) {
  inCaller([this] {
    for (int const fd : {3, 4, 17, 255})
      ASSERT_EQ(dup2(0, fd), fd);
    refuseSystemCall(SYS_close_range, ENOSYS);
    EXPECT_EQ(arrived(VLIB_EXEC_ISOLATE | allStreams), onlyNull);
  });
}

TEST_F(ExecDescriptorsTest, IsolationReachesWhatALargeLimitAllows) {
  if (underValgrind())
    GTEST_SKIP() << "this tool keeps descriptors of its own beyond the limit";
  constexpr rlim_t many = 70'000;
  rlimit before = {};
  ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &before), 0);
  rlimit const large = {many, std::max(many, before.rlim_max)};
  if (setrlimit(RLIMIT_NOFILE, &large) != 0)
    GTEST_SKIP() << "needs a larger limit of descriptors";
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &before), 0);
  inCaller([&large] {
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &large), 0);
    ASSERT_EQ(dup2(0, many - 1), static_cast<int>(many - 1));
    refuseSystemCall(SYS_close_range, ENOSYS);
    constexpr char isClosed[] = "[ ! -e /proc/$$/fd/69999 ]";
    EXPECT_LT(shell(allStreams, isClosed), 0);
    EXPECT_EQ(shell(VLIB_EXEC_ISOLATE | allStreams, isClosed), 0);
  });
}

TEST_F(ExecDescriptorsTest, NoNullDeviceIsFailureWhereOneIsNeeded) {
  if (underValgrind())
    GTEST_SKIP() << "this tool has no system call filters";
  inCaller([] {
    refuseSystemCall(SYS_openat, EACCES, 2, ~0U, O_RDWR);
    EXPECT_LT(execute("/bin/true", VLIB_EXEC_WAIT | allStreams), 0);
    EXPECT_EQ(VLIBErrGet(), VLIB_ERR_PROGRAM_FAILED);
    EXPECT_LT(execute("/bin/true", VLIB_EXEC_STDERR_NULL), 0);
    EXPECT_EQ(execute("/bin/true", VLIB_EXEC_WAIT), 0);
  });
}

TEST_F(ExecDescriptorsTest, StreamThatCannotBecomeNullIsFailure) {
  if (underValgrind())
    GTEST_SKIP() << "this tool has no system call filters";
  inCaller([] {
    refuseSystemCall(SYS_dup2, EBUSY);
    EXPECT_LT(execute("/bin/true", VLIB_EXEC_WAIT | allStreams), 0);
    EXPECT_EQ(VLIBErrGet(), VLIB_ERR_PROGRAM_FAILED);
  });
}

// A sandbox may refuse to close it. The null device then opens with another number, which must not
// stay open.
TEST_F(ExecDescriptorsTest, StreamThatCannotBeClosedBecomesNull) {
  if (underValgrind())
    GTEST_SKIP() << "this tool has no system call filters";
  inCaller([this] {
    Descriptor const in(0, at("in"));
    refuseSystemCall(SYS_close, EPERM, 0, ~0U, 0);
    EXPECT_EQ(arrived(VLIB_EXEC_ISOLATE | allStreams), onlyNull);
    Descriptors const all = arrived(VLIB_EXEC_ISOLATE | VLIB_EXEC_STDIN_NULL);
    EXPECT_EQ(all.at(0), "/dev/null");
    EXPECT_EQ(all.rbegin()->first, 2);
  });
}

// Lowering the limit leaves descriptors beyond it open.
TEST_F(ExecDescriptorsTest, IsolationReachesDescriptorsBeyondALoweredLimit) {
  if (underValgrind())
    GTEST_SKIP() << "this tool keeps descriptors of its own beyond the limit";
  for (bool const refused : {false, true}) {
    inCaller([this, refused] {
      ASSERT_EQ(dup2(0, 255), 255);
      rlimit limit = {64, 64};
      ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &limit), 0);
      if (refused)
        refuseSystemCall(SYS_close_range, ENOSYS);
      EXPECT_EQ(arrived(VLIB_EXEC_ISOLATE | allStreams), onlyNull) << "refused: " << refused;
    });
  }
}

// As with any other way to run a program, a descriptor that the caller marked close-on-exec and
// then closed is closed everywhere. Otherwise, a reader that waits for the end of a pipe would wait
// for the program.
TEST_F(ExecDescriptorsTest, PipeThatTheCallerClosesMeanwhileEnds) {
  if (underValgrind())
    GTEST_SKIP() << "this tool runs no other thread during the call";
  inCaller([this] {
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
    ASSERT_EQ(dup2(ends[1], 0), 0);
    bool ended = false;
    std::thread closer([&] {
      EXPECT_TRUE(appears(at("started")));
      (void)close(ends[1]);
      (void)close(0);
      pollfd reading = {ends[0], POLLIN, 0};
      ended = poll(&reading, 1, 2000) == 1 && (reading.revents & POLLHUP) != 0;
      writeFile(at("go"), "");
    });
    std::string const here = at("");
    EXPECT_EQ(shell(VLIB_EXEC_ISOLATE | allStreams,
                    R"(cd "$0" && : >started && for i in $(seq 600); do
                         [ -e go ] && exit 0; sleep 0.1; done; exit 1)",
                    here.c_str()),
              0);
    closer.join();
    EXPECT_TRUE(ended);
  });
}

}  // namespace
