// Keys as GnuPG lists them for programs (--with-colons).

#ifndef ZEMO_TOOLS_GNUPG_KEYS_H
#define ZEMO_TOOLS_GNUPG_KEYS_H

#include <ctime>
#include <string>
#include <vector>

namespace tool {

struct Key {
  std::string fingerprint;           // of the primary key
  std::vector<std::string> subkeys;  // their fingerprints
  std::vector<std::string> userIds;  // any bytes
  bool expired = false;
  bool revoked = false;
  std::time_t created = 0;
  std::time_t expires = 0;  // 0: never
};

// The keys, public or secret, in a --with-colons listing.
std::vector<Key> keysIn(const std::string& listing);

// "FINGERPRINT 'user id', 'user id' (expired 2026-01-01T00:00:00Z)", with user ids escaped.
std::string keyText(const Key& key);

}  // namespace tool

#endif
