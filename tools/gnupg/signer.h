// Making signatures with a secret key of the caller's.

#ifndef ZEMO_TOOLS_GNUPG_SIGNER_H
#define ZEMO_TOOLS_GNUPG_SIGNER_H

#include <string>
#include <vector>

#include "gnupg/keys.h"

namespace tool {

// GnuPG with the caller's own environment: agent, pinentry, terminal and locale.
class Signer {
 public:
  // `key` is any name that GnuPG knows keys by; with an exclamation mark at its end, that very
  // subkey is taken. `home` is GnuPG's own default if it is empty. Throws UsageError if `key` names
  // several secret keys, Failure(STATUS_NOT_LOADED) if it names none.
  Signer(const std::string& key, const std::string& home);

  const Key& key() const { return _key; }

  // An armoured detached signature of `content` with the digest SHA-512, which has been verified
  // against it. Throws Failure(STATUS_NOT_LOADED) for `name`, if GnuPG makes none.
  std::string signatureOf(const std::string& content, const std::string& name) const;

 private:
  std::vector<std::string> gpg(const std::vector<std::string>& words) const;

  std::string _home;
  std::string _localUser;
  Key _key;
};

}  // namespace tool

#endif
