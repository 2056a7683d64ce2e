#include "protected_file/digest.h"

#include <fcntl.h>
#include <openssl/evp.h>
#include <unistd.h>
#include <zemo/selfcheck/protected_file.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <memory>

#include "log.h"
#include "open_file.h"

namespace ZEMO::SELF_CHECK {
namespace {

constexpr size_t blockSize = 1024;
constexpr off_t unknownSize = -1;

struct Free {
  void operator()(unsigned char* memory) const { free(memory); }
};

// Where a file's content is read to, for a file of about `size` bytes. Not larger than such a file
// needs, because fresh memory costs more than a small file does; and aligned, because the kernel
// copies several times slower into what is not. Standard streams are neither.
class Buffer {
 public:
  explicit Buffer(off_t size)
      : _size(sizeFor(size)),
        _memory(static_cast<unsigned char*>(aligned_alloc(alignment, _size))) {}

  bool exists() const { return _memory != nullptr; }
  unsigned char* begin() const { return _memory.get(); }
  size_t size() const { return _size; }

 private:
  static constexpr size_t alignment = 64;
  static constexpr off_t smallest = 4096;
  static constexpr off_t largest = 64L * 1024;

  static size_t sizeFor(off_t size) {
    off_t const room = size == unknownSize ? largest : std::clamp(size, smallest, largest);
    return (static_cast<size_t>(room) + blockSize - 1) / blockSize * blockSize;
  }

  size_t _size;
  std::unique_ptr<unsigned char, Free> _memory;
};

class Descriptor {
 public:
  explicit Descriptor(int fd) : _fd(fd) {}
  ~Descriptor() {
    if (isOpen())
      (void)close(_fd);  // read only: nothing can get lost
  }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;

  bool isOpen() const { return _fd >= 0; }
  int number() const { return _fd; }

 private:
  int _fd;
};

struct FreeDigest {
  void operator()(EVP_MD_CTX* digest) const { EVP_MD_CTX_free(digest); }
};
using Digest = std::unique_ptr<EVP_MD_CTX, FreeDigest>;

// Looked up once, because the look-up costs more than the digest of a small file. It is never given
// back: libcrypto may have cleaned up before this library is unloaded, and keeps it itself anyway.
const EVP_MD* sha1() {
  static const EVP_MD* const fetched = EVP_MD_fetch(nullptr, "SHA1", nullptr);
  return fetched != nullptr ? fetched : EVP_sha1();
}

std::string hexadecimal(const unsigned char* bytes, size_t count) {
  static const char digits[] = "0123456789abcdef";
  std::string text;
  text.reserve(2 * count);
  for (size_t i = 0; i < count; ++i) {
    text += digits[bytes[i] >> 4];
    text += digits[bytes[i] & 0xf];
  }
  return text;
}

ssize_t readInto(const Buffer& buffer, int fd) {
  ssize_t count = -1;
  do {
    count = read(fd, buffer.begin(), buffer.size());
  } while (count < 0 && errno == EINTR);
  return count;
}

bool update(EVP_MD_CTX* digest, const unsigned char* bytes, size_t count) {
  for (; count > blockSize; bytes += blockSize, count -= blockSize) {
    if (EVP_DigestUpdate(digest, bytes, blockSize) != 1)
      return false;
  }
  return EVP_DigestUpdate(digest, bytes, count) == 1;
}

// Digests what `fd` holds from here to its end. False on a read error, too: half a digest is none.
bool digestContent(int fd, const Buffer& buffer, std::string& digest) {
  Digest const context(EVP_MD_CTX_new());
  if (!context || EVP_DigestInit_ex(context.get(), sha1(), nullptr) != 1)
    return false;

  ssize_t count = 0;
  while ((count = readInto(buffer, fd)) > 0) {
    if (!update(context.get(), buffer.begin(), static_cast<size_t>(count)))
      return false;
  }
  if (count < 0)
    return false;

  unsigned char value[EVP_MAX_MD_SIZE];
  unsigned int size = 0;
  if (EVP_DigestFinal_ex(context.get(), value, &size) != 1)
    return false;
  digest = hexadecimal(value, size);
  return true;
}

// Logged when `file` is not open, or there is no memory to read it into. A failure after that has
// no line of its own: the caller's line without an "Open file" line before it tells of a read.
bool digestFile(const Descriptor& file, off_t size, const std::string& path, std::string& digest) {
  Buffer const buffer(size);
  if (!file.isOpen() || !buffer.exists()) {
    log::openFailed(path);
    return false;
  }
  return digestContent(file.number(), buffer, digest);
}

}  // namespace

// NOLINTNEXTLINE(performance-unnecessary-value-param): the signature is what callers link against
bool calculateHash(std::string path, std::string& digest) {
  int fd = -1;
  do {
    fd = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY);  // waits, unlike openFile
  } while (fd < 0 && errno == EINTR);
  return digestFile(Descriptor(fd), unknownSize, path, digest);
}

bool calculateRegularFileHash(const std::string& path, off_t size, std::string& digest) {
  Descriptor const file(openFile(path, O_NOFOLLOW));
  if (file.isOpen() && !isRegularFile(file.number())) {
    log::openFailed(path);
    return false;
  }
  return digestFile(file, size, path, digest);
}

}  // namespace ZEMO::SELF_CHECK
