// limit_check PATHS_FILE THREADS: does only the work that no check of these files can avoid.
// PATHS_FILE contains paths, each ended by a zero byte.

#include <fcntl.h>
#include <openssl/evp.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <memory>
#include <thread>

#include "measured.h"

namespace {

constexpr std::size_t blockSize = std::size_t{128} * 1024;

// The resources that one thread uses for all of its files.
class Reader {
 public:
  Reader()
      : _sha1(EVP_MD_fetch(nullptr, "SHA1", nullptr)),
        _digest(EVP_MD_CTX_new()),
        _block(static_cast<unsigned char*>(aligned_alloc(4096, blockSize))) {
    if (_sha1 == nullptr || _digest == nullptr || _block == nullptr)
      bench::fail("out of memory, or SHA-1 is not available");
  }
  ~Reader() {
    free(_block);
    EVP_MD_CTX_free(_digest);
    EVP_MD_free(_sha1);
  }
  Reader(const Reader&) = delete;
  Reader& operator=(const Reader&) = delete;

  void read(const std::string& path) {
    struct stat st = {};
    if (lstat(path.c_str(), &st) != 0)
      bench::fail("cannot examine " + path);
    if (S_ISREG(st.st_mode))
      digest(path);
    else if (S_ISLNK(st.st_mode))
      readTarget(path);
  }

  uint64_t bytes() const { return _bytes; }

 private:
  void digest(const std::string& path) {
    int const fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0)
      bench::fail("cannot open " + path);
    unsigned char value[EVP_MAX_MD_SIZE];
    (void)EVP_DigestInit_ex(_digest, _sha1, nullptr);
    ssize_t count = 0;
    while ((count = ::read(fd, _block, blockSize)) > 0) {
      (void)EVP_DigestUpdate(_digest, _block, static_cast<std::size_t>(count));
      _bytes += static_cast<uint64_t>(count);
    }
    if (count < 0)
      bench::fail("cannot read " + path);
    (void)EVP_DigestFinal_ex(_digest, value, nullptr);
    (void)close(fd);
  }

  static void readTarget(const std::string& path) {
    char target[1024];
    if (readlink(path.c_str(), target, sizeof target) < 0)
      bench::fail("cannot read " + path);
  }

  EVP_MD* _sha1;
  EVP_MD_CTX* _digest;
  unsigned char* _block;
  uint64_t _bytes = 0;
};

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3)
    bench::fail("usage: limit_check PATHS_FILE THREADS");
  std::vector<std::string> const paths = bench::readAll(argv[1], '\0');
  auto const threads = strtoul(argv[2], nullptr, 10);
  std::atomic<std::size_t> next{0};
  std::atomic<uint64_t> bytes{0};
  auto const work = [&] {
    Reader reader;
    for (std::size_t i = next++; i < paths.size(); i = next++)
      reader.read(paths[i]);
    bytes += reader.bytes();
  };

  bench::Stopwatch const stopwatch;
  std::vector<std::thread> others;
  for (std::size_t i = 1; i < threads; ++i)
    others.emplace_back(work);
  work();
  for (std::thread& other : others)
    other.join();
  (void)printf("{\"seconds\": %.6f, \"files\": %zu, \"bytes\": %llu}\n", stopwatch.seconds(),
               paths.size(), static_cast<unsigned long long>(bytes));
  return 0;
}
