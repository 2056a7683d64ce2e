// What GnuPG says of a list and its signature.

#ifndef ZEMO_TOOLS_GNUPG_SIGNATURE_CHECK_H
#define ZEMO_TOOLS_GNUPG_SIGNATURE_CHECK_H

#include <ctime>
#include <string>
#include <vector>

#include "gnupg/algorithms.h"

namespace tool {

// One of the signatures in a signature file.
struct Signature {
  enum class Verdict {
    Good,
    GoodExpiredKey,  // GnuPG's exit status does not mind,
    GoodRevokedKey,  // neither here
    Expired,
    Bad,
    NoPublicKey,
    NotChecked,  // see `error`
    None,        // GnuPG ended before it came to one
  };
  Verdict verdict = Verdict::None;
  std::string keyId;        // of the signing key
  std::string fingerprint;  // of the signing key; empty if the signature does not tell
  std::string primary;      // fingerprint of the primary key; empty if unknown
  std::string userId;       // any bytes
  int digest = digestUnknown;
  std::time_t made = 0;        // 0: not known
  std::time_t expires = 0;     // the signature; 0: never
  std::time_t keyExpired = 0;  // 0: it has not, or the time is not known
  bool ofText = false;  // not over the very bytes: carriage returns at line ends are not signed
  bool valid = false;   // GnuPG has said by which key, when and over what it was made
  long long error = 0;  // libgpg-error's code, with NotChecked
};

// The signature verifies, which is so for expired and revoked keys as well.
bool isGood(const Signature& signature);

// "good", or why it is not.
std::string signatureText(const Signature& signature);

// What there is to object to in a signature that isGood().
struct Objection {
  std::string what;
  std::string remedy;
};
std::vector<Objection> objectionsTo(const Signature& signature);

struct SignatureCheck {
  bool accepted = false;              // exit status 0, all that the library looks at
  bool verified = false;              // and GnuPG has called every signature good, and there is one
  std::vector<Signature> signatures;  // as far as GnuPG came
  bool holdsNone = false;             // the signature file has no whole detached signature
  std::string reason;  // why not verified, where the signatures do not tell; names are escaped
};

// The signatures that `status`, output of gpg --verify on its status descriptor, tells of.
std::vector<Signature> signaturesIn(const std::string& status);

// Runs GnuPG on `list` and `list`.asc exactly as the library does: /usr/bin/gpg with the system's
// home, a clean environment, its messages discarded; its exit status decides. Without a signature
// file or a key ring it is not run, nor where there is a doubtAbout() the home, nor where one of
// the files that it would open is not a regular one, for whose writer it could wait for ever.
// Throws Failure if it cannot be.
SignatureCheck checkSignature(const std::string& list);

}  // namespace tool

#endif
