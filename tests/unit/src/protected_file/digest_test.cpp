#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <malloc.h>
#include <pthread.h>
#include <sys/resource.h>
#include <unistd.h>
#include <zemo/selfcheck/protected_file.h>

#include <atomic>
#include <csignal>
#include <filesystem>
#include <random>
#include <thread>
#include <vector>

#include "support/caller.h"
#include "support/doubles/recorded_log.h"
#include "support/files.h"
#include "support/plain_sha1.h"
#include "support/temporary_directory.h"
#include "support/time_limit.h"

namespace {

using namespace ZEMO::SELF_CHECK;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

class DigestTest : public ::testing::Test {
 protected:
  DigestTest() : path(_directory / "file") {}

  void SetUp() override {
    clearLog();
    _descriptorsBefore = openDescriptors();
  }

  void TearDown() override { EXPECT_EQ(openDescriptors(), _descriptorsBefore); }

  std::string in(const std::string& name) const { return _directory / name; }

  // The digest of the file at `file`, which must be readable.
  static std::string digestOf(const std::string& file) {
    std::string digest = "what was there before";
    EXPECT_TRUE(calculateHash(file, digest));
    EXPECT_THAT(recordedLog(), IsEmpty());
    return digest;
  }

  std::string digestOfContent(const std::string& content) const {
    writeFile(path, content);
    return digestOf(path);
  }

  static void expectUntouchedDigest(const std::string& file) {
    std::string digest = "what was there before";
    EXPECT_FALSE(calculateHash(file, digest));
    EXPECT_EQ(digest, "what was there before");
  }

  static void expectOpenFailure(const std::string& file) {
    expectUntouchedDigest(file);
    EXPECT_THAT(recordedLog(),
                ElementsAre(logged("protected_file", 365, "Open file [%s] failed", file)));
  }

  static std::string randomBytes(size_t count, std::mt19937& random) {
    std::string bytes;
    while (bytes.size() < count)
      bytes += static_cast<char>(random());
    return bytes;
  }

 private:
  TimeLimit _limit;
  TemporaryDirectory _directory;
  int _descriptorsBefore = 0;

 protected:
  std::string path;
};

TEST_F(DigestTest, EmptyFile) {
  EXPECT_EQ(digestOfContent(""), "da39a3ee5e6b4b0d3255bfef95601890afd80709");
}

TEST_F(DigestTest, PublishedVectors) {
  EXPECT_EQ(digestOfContent("abc"), "a9993e364706816aba3e25717850c26c9cd0d89d");
  EXPECT_EQ(digestOfContent("abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq"),
            "84983e441c3bd26ebaae4aa1f95129e5e54670f1");
  EXPECT_EQ(digestOfContent(std::string(1000000, 'a')), "34aa973cd4c4daa4f61eeb2bdbad27316534016f");
}

TEST_F(DigestTest, SecondImplementationKnowsThePublishedVectors) {
  EXPECT_EQ(plainSha1(""), "da39a3ee5e6b4b0d3255bfef95601890afd80709");
  EXPECT_EQ(plainSha1("abc"), "a9993e364706816aba3e25717850c26c9cd0d89d");
}

TEST_F(DigestTest, SizesAroundBlocksAndBuffers) {
  auto const seed = std::random_device()();
  SCOPED_TRACE("seed " + std::to_string(seed));
  std::mt19937 random(seed);
  for (size_t const boundary : {64U, 512U, 1024U, 2048U, 4096U, 65536U, 131072U})
    for (size_t const size : {boundary - 1, boundary, boundary + 1}) {
      std::string const content = randomBytes(size, random);
      EXPECT_EQ(digestOfContent(content), plainSha1(content)) << size;
    }
}

TEST_F(DigestTest, RandomSizes) {
  auto const seed = std::random_device()();
  SCOPED_TRACE("seed " + std::to_string(seed));
  std::mt19937 random(seed);
  for (int i = 0; i < 50; ++i) {
    std::string const content = randomBytes(random() % 10000, random);
    EXPECT_EQ(digestOfContent(content), plainSha1(content)) << content.size();
  }
}

TEST_F(DigestTest, NulAndLineEndBytesCount) {
  using namespace std::string_literals;
  for (const std::string& content : {"\0"s, "a\0b\0"s, "\r\n\x1a\n"s, "\xff\xfe"s})
    EXPECT_EQ(digestOfContent(content), plainSha1(content));
}

TEST_F(DigestTest, SmallBytesOfTheDigestHaveTwoDigits) {
  EXPECT_EQ(digestOfContent("content"), "040f06fd774092478d450774f5ba30c5da78acc8");
}

TEST_F(DigestTest, DigestMayBeThePathItself) {
  writeFile(path, "abc");
  std::string text = path;
  EXPECT_TRUE(calculateHash(text, text));
  EXPECT_EQ(text, "a9993e364706816aba3e25717850c26c9cd0d89d");
}

TEST_F(DigestTest, LinksAreFollowed) {
  writeFile(path, "abc");
  makeLink("file", in("link"));
  makeLink("link", in("link to link"));
  EXPECT_EQ(digestOf(in("link to link")), "a9993e364706816aba3e25717850c26c9cd0d89d");
}

TEST_F(DigestTest, FileIsReadToItsEndWhateverSizeIsStated) {
  ASSERT_EQ(statusOf("/proc/version").st_size, 0);
  EXPECT_EQ(digestOf("/proc/version"), plainSha1(readFile("/proc/version")));
}

TEST_F(DigestTest, DeviceIsReadToItsEnd) {
  EXPECT_EQ(digestOf("/dev/null"), "da39a3ee5e6b4b0d3255bfef95601890afd80709");
}

TEST_F(DigestTest, MissingFileIsLoggedAndLeavesTheDigest) {
  expectOpenFailure(in("missing"));
}

TEST_F(DigestTest, EmptyPathIsLoggedAndLeavesTheDigest) {
  expectOpenFailure("");
}

TEST_F(DigestTest, DanglingLinkIsLoggedAndLeavesTheDigest) {
  makeLink("missing", in("link"));
  expectOpenFailure(in("link"));
}

TEST_F(DigestTest, UnreadableFileIsLoggedAndLeavesTheDigest) {
  writeFile(path, "abc", 0);
  WithoutFileCapabilities const ordinary;
  expectOpenFailure(path);
}

TEST_F(DigestTest, ExhaustedDescriptorsAreLoggedAndLeaveTheDigest) {
  writeFile(path, "abc");
  rlimit before = {};
  ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &before), 0);
  rlimit const none = {0, before.rlim_max};
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
  expectOpenFailure(path);
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &before), 0);
}

// A directory can be opened, but not read.
TEST_F(DigestTest, ReadErrorFailsWithoutLogLineAndLeavesTheDigest) {
  makeDirectory(in("directory"));
  expectUntouchedDigest(in("directory"));
  EXPECT_THAT(recordedLog(), IsEmpty());
}

// In a new process and without freed memory, because the peak of earlier tests would hide the
// growth.
TEST_F(DigestTest, MemoryDoesNotGrowWithTheFile) {
  int const fd = open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
  ASSERT_EQ(ftruncate(fd, 64L * 1024 * 1024), 0);
  (void)close(fd);
  (void)malloc_trim(0);
  inCaller([this] {
    digestOf("/dev/null");  // libcrypto's one-time setup
    rusage before = {};
    rusage after = {};
    ASSERT_EQ(getrusage(RUSAGE_SELF, &before), 0);
    EXPECT_EQ(digestOf(path), "44fac4bedde4df04b9572ac665d3ac2c5cd00c7d");
    ASSERT_EQ(getrusage(RUSAGE_SELF, &after), 0);
    EXPECT_LT(after.ru_maxrss - before.ru_maxrss, 8 * 1024);
  });
}

TEST_F(DigestTest, AnyNumberOfThreadsMayDigest) {
  writeFile(path, std::string(100000, 'x'));
  std::string const expected = plainSha1(std::string(100000, 'x'));
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i)
    threads.emplace_back([this, &expected] {
      for (int round = 0; round < 20; ++round)
        EXPECT_EQ(digestOf(path), expected);
    });
  for (std::thread& thread : threads)
    thread.join();
}

// Opening a FIFO waits for a writer, so it can be interrupted.
class FifoDigestTest : public DigestTest {
 protected:
  FifoDigestTest() { makeFifo(path); }

  void writeToFifo(const std::string& content) const {
    int const fd = open(path.c_str(), O_WRONLY | O_CLOEXEC);
    EXPECT_EQ(write(fd, content.data(), content.size()), static_cast<ssize_t>(content.size()));
    (void)close(fd);
  }

  // The descriptors of this process that have the file open.
  static std::vector<int> descriptorsOf(const std::string& file) {
    std::vector<int> found;
    for (int fd = 0; fd < 100; ++fd) {
      std::error_code notOpen;
      if (std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(fd), notOpen) == file)
        found.push_back(fd);
    }
    return found;
  }
};

TEST_F(FifoDigestTest, PipeIsReadToItsEnd) {
  std::thread writer([this] { writeToFifo("abc"); });
  EXPECT_EQ(digestOf(path), "a9993e364706816aba3e25717850c26c9cd0d89d");
  writer.join();
}

TEST_F(FifoDigestTest, FileIsOpenedCloseOnExec) {
  std::string digest;
  std::thread reader([this, &digest] { EXPECT_TRUE(calculateHash(path, digest)); });
  int const writer = open(path.c_str(), O_WRONLY | O_CLOEXEC);
  std::vector<int> descriptors;
  while (descriptors.size() < 2)  // the reader gets its own a little later than the writer
    descriptors = descriptorsOf(path);
  for (int const fd : descriptors)
    EXPECT_NE(fcntl(fd, F_GETFD) & FD_CLOEXEC, 0);
  (void)close(writer);
  reader.join();
  EXPECT_EQ(digest, "da39a3ee5e6b4b0d3255bfef95601890afd80709");
}

std::atomic<int> signalsHandled = 0;

TEST_F(FifoDigestTest, InterruptedOpenGoesOn) {
  struct sigaction action = {};
  action.sa_handler = [](int) { ++signalsHandled; };  // without SA_RESTART
  struct sigaction before = {};
  ASSERT_EQ(sigaction(SIGUSR1, &action, &before), 0);

  signalsHandled = 0;
  std::string digest;
  bool result = false;
  std::atomic<bool> returned = false;
  std::thread reader([this, &digest, &result, &returned] {
    result = calculateHash(path, digest);
    returned = true;
  });
  for (int i = 0; i < 20 && !returned; ++i) {
    (void)pthread_kill(reader.native_handle(), SIGUSR1);
    while (signalsHandled <= i && !returned)
      (void)usleep(500);
  }
  // Only once there is a reader, and never if it has given up.
  int fd = -1;
  while (fd < 0 && !returned)
    fd = open(path.c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC);
  EXPECT_EQ(write(fd, "abc", 3), 3);
  (void)close(fd);
  reader.join();
  EXPECT_TRUE(result);
  EXPECT_EQ(digest, "a9993e364706816aba3e25717850c26c9cd0d89d");
  ASSERT_EQ(sigaction(SIGUSR1, &before, nullptr), 0);
}

}  // namespace
