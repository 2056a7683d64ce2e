#include "support/caller.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>
#include <thread>

#if defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
const bool sanitized = true;
#else
const bool sanitized = false;
#endif
#elif defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
const bool sanitized = true;
#else
const bool sanitized = false;
#endif

namespace {

using std::chrono::steady_clock;

constexpr std::chrono::seconds tooLong{60};
constexpr std::chrono::milliseconds interval{5};
constexpr int savedDescriptors = 500;  // above those that tests examine

int failures() {
  return ::testing::UnitTest::GetInstance()->current_test_info()->result()->total_part_count();
}

[[noreturn]] void runChild(const std::function<void()>& body) {
  (void)setpgid(0, 0);
  int const before = failures();
  try {
    body();
  } catch (const std::exception& error) {
    ADD_FAILURE() << error.what();
  }
  (void)fflush(stdout);
  int const status = failures() > before ? 1 : 0;
#ifdef ZEMO_COVERAGE
  exit(status);  // the coverage counters are written at exit
#else
  _exit(status);
#endif
}

int statusOfChild(const std::function<void()>& body) {
  (void)fflush(stdout);  // or the child would write it again
  pid_t const child = fork();
  if (child < 0)
    throw std::runtime_error("cannot fork");
  if (child == 0)
    runChild(body);
  (void)setpgid(child, child);  // fails if the child was faster

  auto const deadline = steady_clock::now() + tooLong;
  int status = 0;
  bool killed = false;
  while (waitpid(child, &status, WNOHANG) == 0) {
    if (!killed && steady_clock::now() > deadline) {
      ADD_FAILURE() << "the caller hangs";
      (void)kill(-child, SIGKILL);
      killed = true;
    }
    std::this_thread::sleep_for(interval);
  }
  return status;
}

}  // namespace

void inCaller(const std::function<void()>& body) {
  int const status = statusOfChild(body);
  EXPECT_TRUE(WIFEXITED(status)) << "signal " << WTERMSIG(status);
  EXPECT_EQ(WEXITSTATUS(status), 0) << "see the failures above";
}

int signalThatEnds(const std::function<void()>& body) {
  int const status = statusOfChild(body);
  return WIFSIGNALED(status) ? WTERMSIG(status) : 0;
}

bool underValgrind() {
  return getenv("ZEMO_UNDER_VALGRIND") != nullptr;
}

bool appears(const std::string& path) {
  auto const deadline = steady_clock::now() + tooLong;
  while (access(path.c_str(), F_OK) != 0) {
    if (steady_clock::now() > deadline)
      return false;
    std::this_thread::sleep_for(interval);
  }
  return true;
}

Watchdog::Watchdog()
    : _thread([done = _done.get_future()] {
        if (done.wait_for(tooLong) == std::future_status::ready)
          return;
        (void)fputs("the call under test hangs\n", stderr);
        abort();
      }) {}

Watchdog::~Watchdog() {
  _done.set_value();
  _thread.join();
}

Descriptor::Descriptor(int fd, const std::string& path)
    : _fd(fd), _saved(fcntl(fd, F_DUPFD_CLOEXEC, savedDescriptors)) {
  (void)fflush(stdout);
  (void)close(fd);
  if (path.empty())
    return;
  int const opened = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644);
  if (opened < 0 || (opened != fd && dup2(opened, fd) < 0) || fcntl(fd, F_SETFD, 0) < 0)
    throw std::runtime_error("cannot redirect to " + path);
  if (opened != fd)
    (void)close(opened);
}

Descriptor::~Descriptor() {
  (void)close(_fd);
  if (_saved >= 0) {
    (void)dup2(_saved, _fd);
    (void)close(_saved);
  }
}

void refuseSystemCall(int number, int error) {
  refuseSystemCall(number, error, 0, 0, 0);
}

void refuseSystemCall(int number, int error, int index, unsigned int mask, unsigned int value) {
  auto const argument =
      static_cast<unsigned int>(offsetof(seccomp_data, args) + sizeof(__u64) * index);
  sock_filter filter[] = {
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, static_cast<unsigned int>(number), 0, 4),
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, argument),
      BPF_STMT(BPF_ALU | BPF_AND | BPF_K, mask),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, value, 0, 1),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | static_cast<unsigned int>(error)),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
  };
  sock_fprog const program = {sizeof filter / sizeof *filter, filter};
  if (prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0 ||
      prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) != 0)
    throw std::runtime_error("cannot set a system call filter");
}
