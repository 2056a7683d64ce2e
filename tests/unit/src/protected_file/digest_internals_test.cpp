#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "protected_file/digest.h"
#include "support/doubles/recorded_log.h"
#include "support/files.h"
#include "support/plain_sha1.h"
#include "support/temporary_directory.h"
#include "support/time_limit.h"

namespace {

using ZEMO::SELF_CHECK::calculateRegularFileHash;

class RegularFileHashTest : public ::testing::Test {
 protected:
  RegularFileHashTest() : path(_directory / "file") {}

  void SetUp() override {
    clearLog();
    _descriptorsBefore = openDescriptors();
  }

  void TearDown() override { EXPECT_EQ(openDescriptors(), _descriptorsBefore); }

  std::string in(const std::string& name) const { return _directory / name; }

  void expectOpenFailure(off_t announced = 3) const {
    std::string digest = "what was there before";
    EXPECT_FALSE(calculateRegularFileHash(path, announced, digest));
    EXPECT_EQ(digest, "what was there before");
    EXPECT_THAT(recordedLog(), ::testing::ElementsAre(
                                   logged("protected_file", 365, "Open file [%s] failed", path)));
  }

 private:
  TimeLimit _limit;
  TemporaryDirectory _directory;
  int _descriptorsBefore = 0;

 protected:
  std::string path;
};

TEST_F(RegularFileHashTest, RegularFileIsDigested) {
  writeFile(path, "abc");
  std::string digest = "what was there before";
  EXPECT_TRUE(calculateRegularFileHash(path, 3, digest));
  EXPECT_EQ(digest, "a9993e364706816aba3e25717850c26c9cd0d89d");
  EXPECT_THAT(recordedLog(), ::testing::IsEmpty());
}

TEST_F(RegularFileHashTest, FileIsReadToItsEndWhateverSizeIsStated) {
  std::string const content(200'000, 'x');
  writeFile(path, content);
  for (off_t const size : {off_t{-5}, off_t{-1}, off_t{0}, off_t{199'999}, off_t{1} << 60}) {
    std::string digest;
    EXPECT_TRUE(calculateRegularFileHash(path, size, digest));
    EXPECT_EQ(digest, plainSha1(content)) << size;
  }
}

TEST_F(RegularFileHashTest, SizesAroundBlocksAndBuffersAreWhole) {
  for (off_t const around : {1'024, 4'096, 16'384, 65'536, 131'072}) {
    for (off_t size = around - 1; size <= around + 65; size += size == around + 1 ? 62 : 1) {
      std::string content(static_cast<size_t>(size), 'x');
      content.back() = 'y';
      writeFile(path, content);
      std::string digest;
      EXPECT_TRUE(calculateRegularFileHash(path, size, digest));
      EXPECT_EQ(digest, plainSha1(content)) << size;
    }
  }
}

// Instrumented code needs larger frames.
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
TEST_F(RegularFileHashTest, SmallestStackIsLargeEnough) {
  writeFile(path, "abc");
  std::string digest;
  ASSERT_TRUE(calculateRegularFileHash(path, 3, digest));  // the first use of libcrypto needs more
  struct Work {
    const std::string& path;
    std::string digest;
  } work = {path, ""};
  pthread_attr_t smallest;
  ASSERT_EQ(pthread_attr_init(&smallest), 0);
  ASSERT_EQ(pthread_attr_setstacksize(&smallest, 16 * 1024), 0);
  pthread_t thread{};
  ASSERT_EQ(pthread_create(
                &thread, &smallest,
                [](void* argument) -> void* {
                  auto* const here = static_cast<Work*>(argument);
                  (void)calculateRegularFileHash(here->path, 3, here->digest);
                  return nullptr;
                },
                &work),
            0);
  ASSERT_EQ(pthread_join(thread, nullptr), 0);
  (void)pthread_attr_destroy(&smallest);
  EXPECT_EQ(work.digest, digest);
}
#endif

TEST_F(RegularFileHashTest, MissingFileFails) {
  expectOpenFailure();
}

TEST_F(RegularFileHashTest, LinkFails) {
  writeFile(in("target"), "abc");
  makeLink("target", path);
  expectOpenFailure();
}

TEST_F(RegularFileHashTest, FifoFails) {
  makeFifo(path);
  expectOpenFailure();
}

TEST_F(RegularFileHashTest, DirectoryFails) {
  makeDirectory(path);
  expectOpenFailure();
}

TEST_F(RegularFileHashTest, DeviceFails) {
  path = "/dev/null";
  expectOpenFailure();
  clearLog();
  expectOpenFailure(0);  // although it has no content, like the file that was there
}

TEST_F(RegularFileHashTest, EndlessDeviceFails) {
  path = "/dev/zero";
  expectOpenFailure();
  clearLog();
  expectOpenFailure(1'000'000);
}

}  // namespace
