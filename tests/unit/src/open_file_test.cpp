#include "open_file.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/wait.h>
#include <unistd.h>
#include <zemo/selfcheck/protected_file.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <thread>

#include "protected_file/digest.h"
#include "support/doubles/scripted_files.h"
#include "support/files.h"
#include "support/temporary_directory.h"
#include "support/without_input.h"

namespace {

// The pauses and their total while every file is leased. A signal ends each at once.
int pauses = 0;
timespec pausedFor = {};

}  // namespace

int nanosleep(const timespec* pause, timespec* left) {
  static auto* const real = reinterpret_cast<decltype(&nanosleep)>(dlsym(RTLD_NEXT, "nanosleep"));
  if (!everyFileIsLeased)
    return real(pause, left);
  pausedFor.tv_nsec += pause->tv_nsec;
  pausedFor.tv_sec += pause->tv_sec + pausedFor.tv_nsec / 1'000'000'000;
  pausedFor.tv_nsec %= 1'000'000'000;
  everyFileIsLeased = pausedFor.tv_sec < 3600;  // far beyond any wait
  ++pauses;
  errno = EINTR;
  return -1;
}

int clock_gettime(clockid_t clock, timespec* now) {
  static auto* const real =
      reinterpret_cast<decltype(&clock_gettime)>(dlsym(RTLD_NEXT, "clock_gettime"));
  int const result = real(clock, now);
  now->tv_sec += pausedFor.tv_sec;
  return result;
}

namespace {

using namespace ZEMO::SELF_CHECK;

// A process that holds a lease on a file and gives it back shortly after the kernel asks for it.
class LeaseHolder {
 public:
  explicit LeaseHolder(const std::string& path) {
    int ready[2];
    if (pipe2(ready, O_CLOEXEC) != 0)
      return;
    _process = fork();
    if (_process == 0)
      hold(path, ready[1]);
    (void)close(ready[1]);
    char byte = 0;
    _holds = read(ready[0], &byte, 1) == 1;
    (void)close(ready[0]);
  }
  ~LeaseHolder() {
    (void)kill(_process, SIGKILL);
    (void)waitpid(_process, nullptr, 0);
  }
  LeaseHolder(const LeaseHolder&) = delete;
  LeaseHolder& operator=(const LeaseHolder&) = delete;

  bool holds() const { return _holds; }

 private:
  [[noreturn]] static void hold(const std::string& path, int ready) {
    sigset_t asked;
    (void)sigemptyset(&asked);
    (void)sigaddset(&asked, SIGIO);
    (void)sigprocmask(SIG_BLOCK, &asked, nullptr);
    int const file = open(path.c_str(), O_RDWR | O_CLOEXEC);
    if (file < 0 || fcntl(file, F_SETLEASE, F_WRLCK) != 0 || write(ready, "x", 1) != 1)
      _exit(1);
    int signal = 0;
    (void)sigwait(&asked, &signal);
    (void)usleep(20'000);
    (void)fcntl(file, F_SETLEASE, F_UNLCK);
    _exit(0);
  }

  pid_t _process = -1;
  bool _holds = false;
};

class OpenFileTest : public ::testing::Test {
 protected:
  void SetUp() override { writeFile(_path, "content"); }

  TemporaryDirectory const _directory;
  std::string const _path = _directory / "file";
};

TEST_F(OpenFileTest, LeaseIsWaitedFor) {
  LeaseHolder const holder(_path);
  ASSERT_TRUE(holder.holds());
  int const fd = openFile(_path, 0);
  ASSERT_GE(fd, 0);
  EXPECT_TRUE(isRegularFile(fd));
  EXPECT_EQ(fcntl(fd, F_GETFD), FD_CLOEXEC);
  (void)close(fd);
}

// Names below /proc/self/fd would refer to another table.
TEST_F(OpenFileTest, LeaseIsWaitedForInAThreadWithDescriptorsOfItsOwn) {
  LeaseHolder const holder(_path);
  ASSERT_TRUE(holder.holds());
  std::string digest;
  std::thread([&] {
    ASSERT_EQ(unshare(CLONE_FILES), 0);
    ASSERT_EQ(close_range(3, ~0U, 0), 0);
    EXPECT_TRUE(calculateRegularFileHash(_path, 7, digest));
  }).join();
  EXPECT_EQ(digest, "040f06fd774092478d450774f5ba30c5da78acc8");
}

TEST_F(OpenFileTest, FileThatReplacedTheLeasedOneIsNotWaitedFor) {
  std::string const link = _directory / "link";
  LeaseHolder const holder(_path);
  ASSERT_TRUE(holder.holds());
  std::atomic<bool> done = false;
  std::thread replacing([&] {
    while (!done) {
      makeFifo(link + ".new");
      (void)rename((link + ".new").c_str(), _path.c_str());
    }
  });
  for (int i = 0; i < 200; ++i) {
    int const fd = openFile(_path, O_NOFOLLOW);
    if (fd >= 0)
      (void)close(fd);
  }
  done = true;
  replacing.join();
}

TEST_F(OpenFileTest, LeasedFileThatIsGoneIsNotWaitedFor) {
  openErrors = {EWOULDBLOCK};
  EXPECT_LT(openFile(_directory / "missing", 0), 0);
  EXPECT_TRUE(openErrors.empty());
}

TEST_F(OpenFileTest, FileThatIsNotRegularIsNotTriedAgain) {
  std::string const fifo = _directory / "fifo";
  makeFifo(fifo);
  openErrors = {EWOULDBLOCK};
  EXPECT_LT(openFile(fifo, 0), 0);
  std::string const link = _directory / "link";
  makeLink(_path, link);
  openErrors = {EWOULDBLOCK};
  EXPECT_LT(openFile(link, O_NOFOLLOW), 0);
}

TEST_F(OpenFileTest, LinkToALeasedFileIsFollowed) {
  std::string const link = _directory / "link";
  makeLink(_path, link);
  openErrors = {EWOULDBLOCK, EWOULDBLOCK};
  int const fd = openFile(link, 0);
  EXPECT_TRUE(isRegularFile(fd));
  (void)close(fd);
}

TEST_F(OpenFileTest, OtherErrorThanTheLeaseEndsTheWait) {
  openErrors = {EWOULDBLOCK, EACCES, EWOULDBLOCK};
  EXPECT_LT(openFile(_path, 0), 0);
  EXPECT_EQ(errno, EACCES);
  EXPECT_EQ(openErrors.size(), 1U);
  openErrors.clear();
}

// As on a file whose owner takes a new lease whenever the kernel has broken the last.
TEST_F(OpenFileTest, LeasesAreWaitedForUpToAMinute) {
  everyFileIsLeased = true;
  int const fd = openFile(_path, 0);
  everyFileIsLeased = false;
  EXPECT_LT(fd, 0);
  EXPECT_GE(pausedFor.tv_sec, 59);
  EXPECT_LE(pausedFor.tv_sec, 60);
  EXPECT_GT(pauses, 6000) << "most leases end soon";
  pausedFor = {};
}

// The value of errno then says nothing.
TEST_F(OpenFileTest, DescriptorZeroIsOneLikeAnyOther) {
  WithoutInput const without;
  for (int const error : {EINTR, EWOULDBLOCK}) {
    int const before = openDescriptors();
    errno = error;
    int const fd = openFile(_path, 0);
    EXPECT_EQ(fd, 0);
    EXPECT_EQ(openDescriptors(), before + 1);
    closeFile(fd);
    EXPECT_TRUE(WithoutInput::isFree());
  }
}

TEST_F(OpenFileTest, DescriptorZeroIsTakenAfterALease) {
  WithoutInput const without;
  int const before = openDescriptors();
  openErrors = {EWOULDBLOCK};
  errno = EWOULDBLOCK;
  EXPECT_EQ(openFile(_path, 0), 0);
  EXPECT_EQ(openDescriptors(), before + 1);
  closeFile(0);
}

TEST_F(OpenFileTest, ClosingDoesNotCancelTheThread) {
  int const fd = openFile(_path, 0);
  std::atomic<bool> closed = false;
  std::thread thread([&] {
    (void)pthread_cancel(pthread_self());
    closeFile(fd);
    closed = true;
    int state = 0;
    EXPECT_EQ(pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &state), 0);
    EXPECT_EQ(state, PTHREAD_CANCEL_ENABLE);
  });
  thread.join();
  EXPECT_TRUE(closed);
  EXPECT_FALSE(isRegularFile(fd));
}

TEST_F(OpenFileTest, LeasedFileIsDigested) {
  LeaseHolder const holder(_path);
  ASSERT_TRUE(holder.holds());
  std::string digest;
  EXPECT_TRUE(calculateRegularFileHash(_path, 7, digest));
  EXPECT_EQ(digest, "040f06fd774092478d450774f5ba30c5da78acc8");
}

TEST_F(OpenFileTest, WaitingLeavesNoDescriptor) {
  int const before = openDescriptors();
  {
    LeaseHolder const holder(_path);
    ASSERT_TRUE(holder.holds());
    (void)close(openFile(_path, 0));
  }
  EXPECT_EQ(openDescriptors(), before);
}

TEST_F(OpenFileTest, IsClosedOnExecution) {
  int const fd = openFile(_path, 0);
  ASSERT_GE(fd, 0);
  EXPECT_EQ(fcntl(fd, F_GETFD), FD_CLOEXEC);
  (void)close(fd);
}

// A session leader without a terminal would get one that a list names, and with it signals.
TEST_F(OpenFileTest, TerminalDoesNotBecomeTheCallersOwn) {
  (void)close(openFile(_path, 0));
  EXPECT_NE(openFlags & O_NOCTTY, 0);
  openFlags = 0;
  std::string digest;
  EXPECT_TRUE(calculateHash(_path, digest));
  EXPECT_NE(openFlags & O_NOCTTY, 0);
}

TEST_F(OpenFileTest, FifoIsNotWaitedFor) {
  std::string const fifo = _directory / "fifo";
  makeFifo(fifo);
  int const fd = openFile(fifo, 0);
  ASSERT_GE(fd, 0);
  EXPECT_FALSE(isRegularFile(fd));
  (void)close(fd);
}

TEST_F(OpenFileTest, LinkIsFollowedUnlessForbidden) {
  std::string const link = _directory / "link";
  makeLink(_path, link);
  int const fd = openFile(link, 0);
  EXPECT_GE(fd, 0);
  (void)close(fd);
  EXPECT_LT(openFile(link, O_NOFOLLOW), 0);
}

TEST_F(OpenFileTest, MissingFileIsFailure) {
  EXPECT_LT(openFile(_directory / "missing", 0), 0);
}

TEST_F(OpenFileTest, NoDescriptorIsNotARegularFile) {
  EXPECT_FALSE(isRegularFile(-1));
}

}  // namespace
