// Making signatures with the caller's secret keys.

#ifndef ZEMO_TOOLS_GNUPG_SIGNER_H
#define ZEMO_TOOLS_GNUPG_SIGNER_H

#include <string>
#include <vector>

#include "gnupg/keys.h"

namespace tool {

// GnuPG with the caller's own environment: agent, pinentry, terminal and locale.
class Signer {
 public:
  // `key` is any name by which GnuPG finds keys, not empty; with a trailing exclamation mark,
  // exactly that subkey is used. If `home` is empty, GnuPG uses its own default. Throws UsageError
  // if `key` matches several secret keys, Failure(STATUS_NOT_LOADED) if it matches none.
  Signer(const std::string& key, const std::string& home);

  const Key& key() const { return _key; }

  // An armoured detached signature of `content` with the digest SHA-512, verified against
  // `content`. Throws Failure(STATUS_NOT_LOADED), naming `name`, if GnuPG does not make one.
  std::string signatureOf(const std::string& content, const std::string& name) const;

 private:
  std::vector<std::string> gpg(const std::vector<std::string>& words) const;

  std::string _home;
  std::string _localUser;
  Key _key;
};

}  // namespace tool

#endif
