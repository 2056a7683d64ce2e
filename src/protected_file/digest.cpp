#include "protected_file/digest.h"

#include <openssl/evp.h>
#include <zemo/selfcheck/protected_file.h>

#include <memory>
#include <string_view>

#include "protected_file/content_reader.h"

namespace ZEMO::SELF_CHECK {
namespace {

constexpr size_t blockSize = 1024;

struct FreeDigest {
  void operator()(EVP_MD_CTX* digest) const { EVP_MD_CTX_free(digest); }
};
using Digest = std::unique_ptr<EVP_MD_CTX, FreeDigest>;

// Looked up once, because the look-up costs more than the digest of a small file. Never freed:
// libcrypto may have cleaned up before this library is unloaded, and keeps the object itself in any
// case.
const EVP_MD* sha1() {
  static const EVP_MD* const fetched = EVP_MD_fetch(nullptr, "SHA1", nullptr);
  return fetched != nullptr ? fetched : EVP_sha1();
}

std::string hexadecimal(const unsigned char* bytes, size_t count) {
  static const char digits[] = "0123456789abcdef";
  std::string text(2 * count, '\0');
  for (size_t i = 0; i < count; ++i) {
    text[2 * i] = digits[bytes[i] >> 4];
    text[2 * i + 1] = digits[bytes[i] & 0xf];
  }
  return text;
}

bool update(EVP_MD_CTX* digest, std::string_view bytes) {
  for (; bytes.size() > blockSize; bytes.remove_prefix(blockSize)) {
    if (EVP_DigestUpdate(digest, bytes.data(), blockSize) != 1)
      return false;
  }
  return EVP_DigestUpdate(digest, bytes.data(), bytes.size()) == 1;
}

// Returns false on a read error as well: half a digest is useless. A read error has no log line of
// its own: the caller's line, without an "Open file" line before it, reports it.
bool digestContent(ContentReader& content, std::string& digest) {
  Digest const context(EVP_MD_CTX_new());
  if (!context || EVP_DigestInit_ex(context.get(), sha1(), nullptr) != 1)
    return false;

  std::string_view bytes;
  do {
    if (!content.next(bytes) || !update(context.get(), bytes))
      return false;
  } while (!bytes.empty());

  unsigned char value[EVP_MAX_MD_SIZE];
  unsigned int size = 0;
  if (EVP_DigestFinal_ex(context.get(), value, &size) != 1)
    return false;
  digest = hexadecimal(value, size);
  return true;
}

}  // namespace

// NOLINTNEXTLINE(performance-unnecessary-value-param): the signature is what callers link against
bool calculateHash(std::string path, std::string& digest) {
  ContentReader content(path);
  return digestContent(content, digest);
}

bool calculateRegularFileHash(const std::string& path, off_t size, std::string& digest,
                              struct stat* read) {
  ContentReader content(path, size);
  return digestContent(content, digest) && (read == nullptr || content.examine(*read));
}

}  // namespace ZEMO::SELF_CHECK
