// GnuPG's verdict on a list and its signature.

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
    GoodExpiredKey,  // GnuPG still exits with 0
    GoodRevokedKey,  // likewise
    Expired,
    Bad,
    NoPublicKey,
    NotChecked,  // see `error`
    None,        // GnuPG ended before a verdict
  };
  Verdict verdict = Verdict::None;
  std::string keyId;        // of the signing key
  std::string fingerprint;  // of the signing key; empty if the signature does not state it
  std::string primary;      // fingerprint of the primary key; empty if unknown
  std::string userId;       // any bytes
  int digest = digestUnknown;
  std::time_t made = 0;        // 0: unknown
  std::time_t expires = 0;     // the signature; 0: never
  std::time_t keyExpired = 0;  // 0: not expired, or time unknown
  bool ofText = false;         // made in text mode: carriage returns at line ends are not signed
  bool valid = false;          // GnuPG has reported key, time and content
  long long error = 0;         // libgpg-error's code, with NotChecked
};

// True if the signature verifies, which includes expired and revoked keys.
bool isGood(const Signature& signature);

// "good", or the reason why it is not.
std::string signatureText(const Signature& signature);

// An objection to a signature that isGood().
struct Objection {
  std::string what;
  std::string remedy;
};
std::vector<Objection> objectionsTo(const Signature& signature);

struct SignatureCheck {
  bool accepted = false;  // exit status 0, the library's only criterion
  bool verified = false;  // accepted, and GnuPG calls every signature, at least one, good
  std::vector<Signature> signatures;  // those that GnuPG reached
  bool holdsNone = false;             // the file has no complete detached signature
  std::string reason;  // why not verified, if the signatures do not say; names are escaped
};

// Why the signature of `what` does not verify.
std::string whyNotVerified(const SignatureCheck& check, const std::string& what);

// The signatures that `status` reports, the output of gpg --verify on its status descriptor.
std::vector<Signature> signaturesIn(const std::string& status);

// Runs GnuPG on `list` and `list`.asc exactly as the library does: /usr/bin/gpg with the system's
// home, a clean environment, its messages discarded; its exit status decides. Does not run GnuPG if
// there is no signature file or key ring, if there is a doubtAbout() the home, or if a file that
// GnuPG would open is not regular, because GnuPG could wait forever for its writer. Throws Failure
// if GnuPG cannot be run.
SignatureCheck checkSignature(const std::string& list);

}  // namespace tool

#endif
