#include "protected_file/digest.h"

#include <fcntl.h>
#include <openssl/evp.h>
#include <unistd.h>
#include <zemo/selfcheck/protected_file.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <memory>

#include "log.h"
#include "open_file.h"

namespace ZEMO::SELF_CHECK {
namespace {

constexpr size_t blockSize = 1024;

// stdio's own buffer is small and lies 16 bytes behind a page's start, where the kernel copies into
// it several times slower than into this one.
constexpr size_t bufferSize = size_t{64} * 1024;
constexpr size_t bufferAlignment = 64;

struct Free {
  void operator()(void* memory) const { free(memory); }
};
using Buffer = std::unique_ptr<void, Free>;

struct CloseStream {
  void operator()(FILE* file) const { (void)fclose(file); }  // read only: nothing can get lost
};
using Stream = std::unique_ptr<FILE, CloseStream>;

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

// Digests what `file` holds from here to its end. False on a read error, too: the loop would never
// see an end of file, and half a digest is none.
bool digestStream(FILE* file, std::string& digest) {
  Digest const context(EVP_MD_CTX_new());
  if (!context || EVP_DigestInit_ex(context.get(), sha1(), nullptr) != 1)
    return false;

  unsigned char block[blockSize];
  while (feof(file) == 0) {
    errno = 0;
    size_t const count = fread(block, 1, sizeof block, file);
    if (ferror(file) != 0 && errno == EINTR)
      clearerr(file);
    if (ferror(file) != 0 || EVP_DigestUpdate(context.get(), block, count) != 1)
      return false;
  }

  unsigned char value[EVP_MAX_MD_SIZE];
  unsigned int size = 0;
  if (EVP_DigestFinal_ex(context.get(), value, &size) != 1)
    return false;
  digest = hexadecimal(value, size);
  return true;
}

// Closes `fd`. Logged when it is not open (-1) or cannot be read as a stream. A failure after that
// has no line of its own: the caller's line without an "Open file" line before it tells of a read.
bool digestDescriptor(int fd, const std::string& path, std::string& digest) {
  Buffer const buffer(aligned_alloc(bufferAlignment, bufferSize));  // outlives the stream
  Stream const file(fd < 0 ? nullptr : fdopen(fd, "r"));
  if (!file) {
    if (fd >= 0)
      (void)close(fd);
    log::openFailed(path);
    return false;
  }
  if (buffer)
    (void)setvbuf(file.get(), static_cast<char*>(buffer.get()), _IOFBF, bufferSize);
  return digestStream(file.get(), digest);
}

}  // namespace

// NOLINTNEXTLINE(performance-unnecessary-value-param): the signature is what callers link against
bool calculateHash(std::string path, std::string& digest) {
  int fd = -1;
  do {
    fd = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY);  // waits, unlike openFile
  } while (fd < 0 && errno == EINTR);
  return digestDescriptor(fd, path, digest);
}

bool calculateRegularFileHash(const std::string& path, std::string& digest) {
  int const fd = openFile(path, O_NOFOLLOW);
  if (fd >= 0 && !isRegularFile(fd)) {
    (void)close(fd);
    log::openFailed(path);
    return false;
  }
  return digestDescriptor(fd, path, digest);
}

}  // namespace ZEMO::SELF_CHECK
