// Digests when the underlying libraries fail or signals interrupt.

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <openssl/evp.h>
#include <unistd.h>
#include <zemo/selfcheck/protected_file.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <thread>

#include "support/doubles/recorded_log.h"
#include "support/files.h"
#include "support/plain_sha1.h"
#include "support/temporary_directory.h"
#include "support/without_input.h"

namespace {

// The name of the call that fails; empty: none.
std::string failing;

// The error of the next `preadErrors` reads at an offset, after `goodReads` successful ones; 0:
// none.
int preadError = 0;
int preadErrors = 0;
int goodReads = 0;
size_t mostBytes = 0;  // that one read returns; 0: as many as requested
size_t room = 0;       // of the last read
bool aligned = false;  // was the buffer of the last read

int fetches = 0;

// The sizes of the digested blocks, in order.
std::vector<size_t> updates;

template <typename Function>
Function* next(const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

}  // namespace

// The library's calls come here, because this program is searched before libcrypto and libc.

EVP_MD_CTX* EVP_MD_CTX_new() {
  static auto* const real = next<EVP_MD_CTX*()>("EVP_MD_CTX_new");
  return failing == "EVP_MD_CTX_new" ? nullptr : real();
}

// The algorithm cannot be fetched for the library, which asks first and only once.
EVP_MD* EVP_MD_fetch(OSSL_LIB_CTX* context, const char* algorithm, const char* properties) {
  static auto* const real = next<EVP_MD*(OSSL_LIB_CTX*, const char*, const char*)>("EVP_MD_fetch");
  return fetches++ == 0 ? nullptr : real(context, algorithm, properties);
}

int EVP_DigestInit_ex(EVP_MD_CTX* context, const EVP_MD* type, ENGINE* engine) {
  static auto* const real = next<int(EVP_MD_CTX*, const EVP_MD*, ENGINE*)>("EVP_DigestInit_ex");
  return failing == "EVP_DigestInit_ex" ? 0 : real(context, type, engine);
}

int EVP_DigestUpdate(EVP_MD_CTX* context, const void* data, size_t size) {
  static auto* const real = next<int(EVP_MD_CTX*, const void*, size_t)>("EVP_DigestUpdate");
  updates.push_back(size);
  return failing == "EVP_DigestUpdate" ? 0 : real(context, data, size);
}

int EVP_DigestFinal_ex(EVP_MD_CTX* context, unsigned char* value, unsigned int* size) {
  static auto* const real =
      next<int(EVP_MD_CTX*, unsigned char*, unsigned int*)>("EVP_DigestFinal_ex");
  return failing == "EVP_DigestFinal_ex" ? 0 : real(context, value, size);
}

extern "C" void* aligned_alloc(size_t alignment, size_t size) noexcept {
  static auto* const real = next<void*(size_t, size_t)>("aligned_alloc");
  if (failing == "aligned_alloc") {
    errno = ENOMEM;
    return nullptr;
  }
  return real(alignment, size);
}

extern "C" ssize_t pread64(int fd, void* bytes, size_t size, off64_t offset) {
  static auto* const real = next<ssize_t(int, void*, size_t, off64_t)>("pread64");
  if (preadError != 0 && goodReads-- <= 0 && preadErrors-- > 0) {
    errno = preadError;
    return -1;
  }
  room = size;
  aligned = reinterpret_cast<uintptr_t>(bytes) % 64 == 0;
  return real(fd, bytes, mostBytes == 0 ? size : std::min(size, mostBytes), offset);
}

namespace {

using namespace ZEMO::SELF_CHECK;

constexpr char contentDigest[] = "040f06fd774092478d450774f5ba30c5da78acc8";

class DigestFaultTest : public ::testing::TestWithParam<const char*> {
 protected:
  void SetUp() override {
    writeFile(_path, "content");
    clearLog();
    preadErrors = 1;
  }
  void TearDown() override {
    failing.clear();
    preadError = 0;
    goodReads = 0;
    mostBytes = 0;
  }

  // True if a check of the file finds that its content is not `content`.
  bool changes(const std::string& content) const {
    ProtectedFile entry(_path + "\t-\t" + plainSha1(content) + "\t-\t-\t-\t-");
    bool changed = false;
    EXPECT_TRUE(entry.check(changed, CHECK_ITEM_ALL));
    return changed;
  }

  TemporaryDirectory const _directory;
  std::string const _path = _directory / "file";
};

TEST_P(DigestFaultTest, GivesNoDigestAndLeavesNoDescriptor) {
  int const before = openDescriptors();
  failing = GetParam();
  std::string digest = "untouched";
  EXPECT_FALSE(calculateHash(_path, digest));
  EXPECT_EQ(digest, "untouched");
  EXPECT_EQ(openDescriptors(), before);
}

TEST_P(DigestFaultTest, MakesTheCheckFailWithoutAVerdict) {
  ProtectedFile entry(entryLine(_path));
  failing = GetParam();
  bool changed = false;
  EXPECT_FALSE(entry.check(changed, CHECK_ITEM_ALL));
  EXPECT_FALSE(changed);
  EXPECT_TRUE(entry._errors.empty());
  ASSERT_FALSE(recordedLog().empty());
  EXPECT_EQ(recordedLog().back(),
            logged("protected_file", 288, "Calculate hash of file [%s] failed", _path));
}

INSTANTIATE_TEST_SUITE_P(Calls, DigestFaultTest,
                         ::testing::Values("EVP_MD_CTX_new", "EVP_DigestInit_ex",
                                           "EVP_DigestUpdate", "EVP_DigestFinal_ex"),
                         [](const auto& call) { return std::string(call.param); });

TEST_F(DigestFaultTest, AlgorithmThatCannotBeFetchedIsTheBuiltInOne) {
  std::string digest;
  EXPECT_TRUE(calculateHash(_path, digest));
  EXPECT_EQ(digest, contentDigest);
  EXPECT_GT(fetches, 0);
}

TEST_F(DigestFaultTest, BlockThatCannotBeDigestedIsFailure) {
  writeFile(_path, std::string(5'000, 'x'));
  failing = "EVP_DigestUpdate";
  updates.clear();
  std::string digest = "untouched";
  EXPECT_FALSE(calculateHash(_path, digest));
  EXPECT_EQ(digest, "untouched");
  EXPECT_EQ(updates, (std::vector<size_t>{1024}));
}

// Other sizes would cost time: more calls for large files, memory for small ones, slow copying.
TEST_F(DigestFaultTest, FileIsReadInPiecesOfItsSize) {
  struct Case {
    size_t file;
    size_t room;
  };
  for (auto const& [file, expected] : {Case{100, 4'096}, Case{4'097, 4'160}, Case{20'000, 20'032},
                                       Case{65'536, 65'536}, Case{200'000, 65'536}}) {
    std::string const content(file, 'x');
    writeFile(_path, content);
    EXPECT_FALSE(changes(content));
    EXPECT_EQ(room, expected) << file;
    EXPECT_TRUE(aligned) << file;
  }
}

TEST_F(DigestFaultTest, LargeFileNeedsNoMemoryBeyondTheStack) {
  std::string const content(200'000, 'x');
  writeFile(_path, content);
  failing = "aligned_alloc";
  std::string digest;
  EXPECT_TRUE(calculateHash(_path, digest));
  EXPECT_EQ(digest, plainSha1(content));
  EXPECT_FALSE(changes(content));
}

TEST_F(DigestFaultTest, FileThatCannotBeReadAtOffsetsIsReadInSequence) {
  preadError = ESPIPE;
  preadErrors = 1000;
  std::string const content(200'000, 'x');
  writeFile(_path, content);
  EXPECT_FALSE(changes(content));
}

TEST_F(DigestFaultTest, InterruptedReadOfARegularFileGoesOn) {
  preadError = EINTR;
  preadErrors = 3;
  EXPECT_FALSE(changes("content"));
}

TEST_F(DigestFaultTest, ReadErrorOfARegularFileMakesTheCheckFailWithoutAVerdict) {
  preadError = EIO;
  ProtectedFile entry(entryLine(_path));
  bool changed = false;
  EXPECT_FALSE(entry.check(changed, CHECK_ITEM_ALL));
  EXPECT_FALSE(changed);
  EXPECT_EQ(recordedLog(),
            (std::vector<LogLine>{
                logged("protected_file", 288, "Calculate hash of file [%s] failed", _path)}));
}

// A partial digest is useless.
TEST_F(DigestFaultTest, LaterReadErrorMakesTheCheckFailWithoutAVerdict) {
  for (size_t const most : {size_t{0}, size_t{100}}) {
    for (int reads = 1; reads < 4; ++reads) {
      writeFile(_path, std::string(400'000, 'x'));
      clearLog();
      preadError = EIO;
      preadErrors = 1;
      goodReads = reads;
      mostBytes = most;
      ProtectedFile entry(entryLine(_path));
      bool changed = false;
      EXPECT_FALSE(entry.check(changed, CHECK_ITEM_ALL)) << reads;
      EXPECT_FALSE(changed);
      EXPECT_TRUE(entry._errors.empty());
      EXPECT_EQ(recordedLog(),
                (std::vector<LogLine>{
                    logged("protected_file", 288, "Calculate hash of file [%s] failed", _path)}));
    }
  }
}

// Sequential reads would start again at the beginning of the file.
TEST_F(DigestFaultTest, FileThatCannotBeReadAtALaterOffsetMakesTheCheckFailWithoutAVerdict) {
  std::string const content(200'000, 'x');
  writeFile(_path, content);
  preadError = ESPIPE;
  goodReads = 1;
  ProtectedFile entry(_path + "\t-\t" + plainSha1(content) + "\t-\t-\t-\t-");
  bool changed = false;
  EXPECT_FALSE(entry.check(changed, CHECK_ITEM_ALL));
  EXPECT_FALSE(changed);
}

TEST_F(DigestFaultTest, ShortReadsDoNotEndTheFile) {
  std::string content;
  for (int i = 0; i < 20'000; ++i)
    content += static_cast<char>(i * 7 + i / 256);
  writeFile(_path, content);
  for (size_t const most : {1'000, 1'023, 1'024, 1'025, 4'095, 4'096, 5'000}) {
    mostBytes = most;
    EXPECT_FALSE(changes(content)) << most;
  }
}

TEST_F(DigestFaultTest, ContentIsDigestedInBlocksIncludingTheEmptyEnd) {
  writeFile(_path, std::string(5'000, 'x'));
  updates.clear();
  EXPECT_FALSE(changes(std::string(5'000, 'x')));
  EXPECT_EQ(updates, (std::vector<size_t>{1024, 1024, 1024, 1024, 904, 0}));
  writeFile(_path, std::string(2'048, 'x'));
  updates.clear();
  EXPECT_FALSE(changes(std::string(2'048, 'x')));
  EXPECT_EQ(updates, (std::vector<size_t>{1024, 1024, 0}));
}

TEST_F(DigestFaultTest, DescriptorZeroIsOneLikeAnyOther) {
  WithoutInput const without;
  int const before = openDescriptors();
  std::string digest;
  errno = EINTR;
  EXPECT_TRUE(calculateHash(_path, digest));
  EXPECT_EQ(digest, contentDigest);
  EXPECT_FALSE(changes("content"));
  EXPECT_TRUE(recordedLog().empty());
  EXPECT_TRUE(WithoutInput::isFree());
  EXPECT_EQ(openDescriptors(), before);
}

// A read of a pipe ends with EINTR when a handler without SA_RESTART has run.
TEST_F(DigestFaultTest, InterruptedReadGoesOn) {
  struct sigaction action = {};
  action.sa_handler = [](int) {};
  struct sigaction before = {};
  ASSERT_EQ(sigaction(SIGUSR1, &action, &before), 0);
  std::string const fifo = _directory / "fifo";
  makeFifo(fifo);

  pthread_t const reader = pthread_self();
  std::thread writer([&fifo, reader] {
    std::ofstream pipe(fifo);
    for (int i = 0; i < 20; ++i) {
      std::this_thread::sleep_for(std::chrono::milliseconds(2));
      (void)pthread_kill(reader, SIGUSR1);
    }
    pipe << "content";
  });
  std::string digest;
  EXPECT_TRUE(calculateHash(fifo, digest));
  EXPECT_EQ(digest, contentDigest);
  writer.join();
  (void)sigaction(SIGUSR1, &before, nullptr);
}

}  // namespace
