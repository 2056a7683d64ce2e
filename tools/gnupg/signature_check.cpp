#include "gnupg/signature_check.h"

#include <fcntl.h>
#include <zemo/core.h>

#include <algorithm>
#include <cerrno>
#include <fstream>

#include "gnupg/home_files.h"
#include "gnupg/options.h"
#include "gnupg/status_lines.h"
#include "io/descriptors.h"
#include "io/exit_status.h"
#include "run/process.h"
#include "text/escape.h"
#include "text/strings.h"

namespace tool {
namespace {

using Verdict = Signature::Verdict;

std::time_t timeIn(const std::string& word) {
  return static_cast<std::time_t>(numberIn(word));
}

// libgpg-error's codes in an ERRSIG line.
constexpr long long errorDigest = 5;
constexpr long long errorKey = 6;
constexpr long long errorNoPublicKey = 9;
constexpr long long errorTime = 39;

// VALIDSIG FINGERPRINT DATE MADE EXPIRES VERSION - ALGORITHM DIGEST CLASS PRIMARY
void takeValid(const StatusLine& line, Signature& signature) {
  signature.fingerprint = line.word(0);
  signature.made = timeIn(line.word(2));
  signature.expires = timeIn(line.word(3));
  signature.digest = static_cast<int>(numberIn(line.word(7)));
  signature.ofText = line.word(8) != "00";
  signature.valid = true;
  signature.primary = line.word(9);
}

// ERRSIG KEYID ALGORITHM DIGEST CLASS MADE ERROR FINGERPRINT
void takeUnchecked(const StatusLine& line, Signature& signature) {
  signature.keyId = line.word(0);
  signature.digest = static_cast<int>(numberIn(line.word(2)));
  signature.made = timeIn(line.word(4));
  signature.error = numberIn(line.word(5));
  signature.fingerprint = line.word(6) == "-" ? "" : line.word(6);
  bool const noKey = signature.error == errorNoPublicKey;
  signature.verdict = noKey ? Verdict::NoPublicKey : Verdict::NotChecked;
}

// Lines with the verdict on a signature: KEYWORD KEYID USERID.
struct Word {
  const char* keyword;
  Verdict verdict;
};
constexpr Word verdictWords[] = {
    {"GOODSIG", Verdict::Good},
    {"EXPKEYSIG", Verdict::GoodExpiredKey},
    {"REVKEYSIG", Verdict::GoodRevokedKey},
    {"EXPSIG", Verdict::Expired},
    {"BADSIG", Verdict::Bad},
};

void take(const StatusLine& line, Signature& signature) {
  for (const Word& word : verdictWords) {
    if (line.keyword == word.keyword) {
      signature.verdict = word.verdict;
      signature.keyId = line.word(0);
      signature.userId = line.textFrom(1);
    }
  }
  if (line.keyword == "VALIDSIG")
    takeValid(line, signature);
  else if (line.keyword == "ERRSIG")
    takeUnchecked(line, signature);
  else if (line.keyword == "KEYEXPIRED" && signature.keyExpired == 0)
    signature.keyExpired = timeIn(line.word(0));  // 0 for a subkey that has not expired itself
  else if (line.keyword == "KEY_CONSIDERED" && signature.primary.empty())
    signature.primary = line.word(0);
}

// Why the file cannot be read; empty if it can.
std::string unreadable(const std::string& what, const std::string& path) {
  Descriptor const file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
  if (file.get() >= 0)
    return "";
  return withReason("the " + what + " " + inQuotes(path) + " cannot be read", errno);
}

// Why GnuPG reaches no verdict on a signature, if no status line says so.
std::string reasonFor(const std::vector<StatusLine>& lines, const SignatureCheck& check, int status,
                      const std::string& list) {
  for (const std::string& reason :
       {unreadable("list", list), unreadable("signature file", list + ".asc"),
        unreadable("key ring", gnupgHome + "/pubring.kbx")}) {
    if (!reason.empty())
      return reason;
  }
  if (check.accepted)
    return "GnuPG does not say that a signature is good, but its exit status is 0, so the library "
           "accepts the list";
  bool const allTold = std::all_of(
      check.signatures.begin(), check.signatures.end(),
      [](const Signature& one) { return !isGood(one) && one.verdict != Verdict::None; });
  if (!check.signatures.empty() && allTold)
    return "";
  if (check.holdsNone)
    return "the signature file holds no complete signature";
  std::string const ended = "GnuPG exited with status " + std::to_string(status);
  if (check.signatures.empty()) {
    std::string const failure = failureIn(lines, "verify");
    return ended + (failure.empty() ? "" : ": " + failure);
  }
  bool const allGood = std::all_of(check.signatures.begin(), check.signatures.end(), isGood);
  if (allGood)
    return ended + " although the signature is good";
  bool const stopped = check.signatures.back().verdict == Verdict::None;
  return stopped ? ended + " before a verdict; GnuPG may be unable to use the home " +
                       inQuotes(gnupgHome) + " for this user (see zemo-selfcheck-init-home(1))"
                 : "";
}

// True if the file does not hold a detached signature but a signed text, armoured or not. GnuPG's
// output for these, including whether it calls their signature good, depends on its version.
bool holdsText(const std::string& signature) {
  std::ifstream file(signature, std::ios::binary);
  std::string start(4096, '\0');
  file.read(start.data(), static_cast<std::streamsize>(start.size()));
  start.resize(static_cast<std::size_t>(file.gcount()));
  if (start.find("-----BEGIN PGP SIGNED MESSAGE-----") != std::string::npos ||
      start.find("-----BEGIN PGP MESSAGE-----") != std::string::npos)
    return true;
  // Otherwise, the first byte of a packet has its highest bit set and contains the packet's type.
  unsigned const first = start.empty() ? 0U : static_cast<unsigned char>(start.front());
  constexpr unsigned signatureKind = 2;
  unsigned const kind = (first & 0x40U) != 0 ? first & 0x3fU : (first & 0x3cU) >> 2U;
  return (first & 0x80U) != 0 && kind != signatureKind;
}

bool isCalledGood(const Signature& signature) {
  return signature.verdict == Verdict::Good || signature.verdict == Verdict::GoodExpiredKey ||
         signature.verdict == Verdict::GoodRevokedKey;
}

// GnuPG has no message of its own for this: it reports a key from the future as a bad signature
// (2.2), as a time conflict, or not at all.
const char* const behind = "this machine's clock is slow (the signature is dated in the future)";

bool isOfTheFuture(const Signature& signature) {
  return signature.made > std::time(nullptr);
}

}  // namespace

bool isGood(const Signature& signature) {
  return isCalledGood(signature) && signature.valid;
}

std::string signatureText(const Signature& signature) {
  switch (signature.verdict) {
    case Verdict::Good:
    case Verdict::GoodExpiredKey:
    case Verdict::GoodRevokedKey:
      return signature.valid ? "good" : "reported as good, but GnuPG does not say by which key";
    case Verdict::Expired:
      return "expired " + utcText(signature.expires);
    case Verdict::Bad:
      return "bad: the list is not the one that was signed";
    case Verdict::NoPublicKey:
      return "public key " +
             (signature.fingerprint.empty() ? signature.keyId : signature.fingerprint) +
             " is not in the key ring" +
             (isOfTheFuture(signature) ? std::string(", or ") + behind : "");
    case Verdict::NotChecked:
      if (signature.error == errorDigest && isWeakDigest(signature.digest))
        return "refused: " + digestName(signature.digest) + " is a weak digest";
      if (signature.error == errorKey || signature.error == errorTime)
        return std::string("not checked: ") +
               (isOfTheFuture(signature) ? behind
                                         : "the key is unusable, or newer than the signature");
      return "not checked: " + (signature.error == errorDigest
                                    ? digestName(signature.digest) + " is not supported"
                                    : errorText(signature.error));
    case Verdict::None:
      break;
  }
  return "no verdict";
}

std::vector<Objection> objectionsTo(const Signature& signature) {
  std::vector<Objection> objections;
  std::string const key = "key " + signature.fingerprint;
  if (signature.verdict == Verdict::GoodExpiredKey)
    objections.push_back(
        {key + " has expired", "have the list signed with a key that has not expired"});
  if (signature.verdict == Verdict::GoodRevokedKey)
    objections.push_back(
        {key + " is revoked",
         "have the list signed with another key, and remove this one from the key ring"});
  if (isWeakDigest(signature.digest))
    objections.push_back(
        {digestName(signature.digest) + " is a weak digest", "have the list signed with SHA-512"});
  if (signature.ofText)
    objections.push_back({"the signature covers text, not the exact bytes of the list",
                          "have the list signed with zemo-selfcheck sign"});
  if (isOfTheFuture(signature))
    objections.push_back({"the signature is dated in the future: " + utcText(signature.made),
                          "set this machine's clock; if it is right, have the list signed again on "
                          "a machine whose clock is right"});
  return objections;
}

std::vector<Signature> signaturesIn(const std::string& status) {
  std::vector<Signature> signatures;
  for (const StatusLine& line : statusLines(status)) {
    if (line.keyword == "NEWSIG")
      signatures.emplace_back();
    else if (!signatures.empty())
      take(line, signatures.back());
  }
  return signatures;
}

std::string whyNotVerified(const SignatureCheck& check, const std::string& what) {
  if (!check.reason.empty())
    return check.reason;
  for (const Signature& signature : check.signatures) {
    if (signature.verdict == Signature::Verdict::Bad)
      return what + " is not the one that was signed";
    if (!isGood(signature))
      return escaped(signatureText(signature));
  }
  return "its signature is not good";
}

SignatureCheck checkSignature(const std::string& list) {
  SignatureCheck check;
  std::string const signature = list + ".asc";
  if (VLIBFileExist(signature.c_str()) == 0) {
    check.reason = "signature file " + inQuotes(signature) + " does not exist";
    return check;
  }
  check.reason = irregularToVerify(list);
  if (!check.reason.empty())
    return check;
  check.reason = doubtAbout(gnupgHome);
  if (!check.reason.empty()) {
    check.reason.insert(0, "GnuPG was not run: ");
    return check;
  }
  // GnuPG would create an empty one, which other users cannot read.
  if (VLIBFileExist((gnupgHome + "/pubring.kbx").c_str()) == 0 &&
      VLIBFileExist((gnupgHome + "/pubring.gpg").c_str()) == 0) {
    check.reason =
        "there is no key ring in " + inQuotes(gnupgHome) + " (see zemo-selfcheck-init-home(1))";
    return check;
  }
  Command command;
  command.captured = 3;
  command.words = {"/usr/bin/gpg", "--homedir", gnupgHome, "--status-fd", "3",
                   "--verify",     signature,   list};
  command.showErrors = false;
  command.cleanEnvironment = true;
  Outcome const outcome = run(command);
  check.accepted = outcome.status == 0;
  check.signatures = signaturesIn(outcome.output);
  check.verified = check.accepted && !check.signatures.empty() &&
                   std::all_of(check.signatures.begin(), check.signatures.end(), isGood);
  if (check.verified)
    return check;
  std::vector<StatusLine> const lines = statusLines(outcome.output);
  bool const text = !check.accepted && holdsText(signature);
  check.holdsNone = text || (check.signatures.empty() &&
                             std::any_of(lines.begin(), lines.end(), [](const StatusLine& line) {
                               return line.keyword == "NODATA";
                             }));
  check.reason = text ? "the signature file holds signed text, not a detached signature"
                      : reasonFor(lines, check, outcome.status, list);
  return check;
}

}  // namespace tool
