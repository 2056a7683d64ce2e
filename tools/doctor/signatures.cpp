#include "doctor/signatures.h"

#include <zemo/selfcheck.h>

#include <algorithm>
#include <ctime>
#include <optional>

#include "doctor/home.h"
#include "gnupg/signature_check.h"
#include "run/log_relay.h"
#include "sets/label.h"
#include "sets/sets.h"
#include "text/escape.h"
#include "text/strings.h"

namespace tool {
namespace {

const char* const installBoth = "install the list and its .asc again, both from the same signing";
const char* const setClock = "set this machine's clock; if it is right, have the list signed again";

// True if GnuPG fails although it has not called any signature bad.
bool lacksTrust(const SignatureCheck& check) {
  return !check.accepted && !check.signatures.empty() &&
         std::all_of(check.signatures.begin(), check.signatures.end(), [](const Signature& one) {
           return isGood(one) || one.verdict == Signature::Verdict::None;
         });
}

struct Diagnosis {
  std::string what;
  std::string fix;
};

std::string correctTrust(const SetFiles& files) {
  return "correct the key ring or gpg.conf; for the reason, run zemo-selfcheck verify --mode " +
         shellWord(files.mode) + (startsWith(files.set, "-") ? " -- " : " ") + shellWord(files.set);
}

// Determines why GnuPG does not verify the list.
Diagnosis diagnose(const SignatureCheck& check, const SetFiles& files, const std::string& list) {
  for (const std::string& file : {list, list + ".asc"}) {
    if (!isReadable(file))
      return {inQuotes(file) + " cannot be read by this user", "chmod a+r " + shellWord(file)};
  }
  if (check.holdsNone)
    return {check.reason, installBoth};
  for (const Signature& signature : check.signatures) {
    if (isGood(signature))
      continue;
    std::string const what = escaped(signatureText(signature));
    if (signature.verdict != Signature::Verdict::Bad && signature.made > std::time(nullptr))
      return {what, setClock};
    if (signature.verdict == Signature::Verdict::NoPublicKey)
      return {what, "if you trust that key, import it (see zemo-selfcheck-init-home(1))"};
    if (signature.verdict == Signature::Verdict::Bad)
      return {what, installBoth};
    return {check.reason.empty() ? what : check.reason, correctTrust(files)};
  }
  return {check.reason, correctTrust(files)};
}

// Reports objections to signatures that the library accepts.
void tellObjections(const std::string& list, const SignatureCheck& check, Findings& findings) {
  for (const Signature& signature : check.signatures) {
    for (const Objection& objection : objectionsTo(signature))
      findings.problem(STATUS_UNCHECKED, inQuotes(list) + ": " + objection.what, objection.remedy);
  }
}

void checkLabel(const SetFiles& files, std::size_t index, Findings& findings) {
  if (!files.contents[index])
    return;
  std::string const& list = files.lists[index];
  std::optional<Label> const label = parseLabel(files.contents[index]->label);
  if (!label)
    return;  // any text is allowed there
  if (isLabelOf(*label, list, files.set, files.mode)) {
    findings.well(inQuotes(list) + " is labelled as this list in its second line");
    return;
  }
  findings.problem(STATUS_UNCHECKED,
                   inQuotes(list) + " is labelled as another list in its second line: set " +
                       inQuotes(label->set) + ", mode " + inQuotes(label->mode) + ", list " +
                       inQuotes(label->list),
                   "install the list that belongs there, and its .asc");
}

}  // namespace

bool checkSignatures(const SetFiles& files, const HomeState& home, Ownership& ownership,
                     Findings& findings) {
  std::size_t good = 0;
  ZEMO::SELF_CHECK::FileList const verifier(files.set, files.mode);
  for (const std::string& list : files.lists) {
    std::string const sign = "zemo-selfcheck sign " + shellWord(list) + " --key KEY";
    bool const isList =
        ownership.look(list, Kind::FILE, STATUS_NOT_LOADED, "install the list and its .asc again");
    bool const isSigned = ownership.look(list + ".asc", Kind::FILE, STATUS_NOT_LOADED, sign);
    if (!isList || !isSigned)
      continue;
    if (!home.runs) {
      findings.problem(STATUS_NOT_LOADED, inQuotes(list) + " is not verified: GnuPG was not run",
                       "fix the problems with GnuPG and its files first");
      continue;
    }
    if (home.doubtful) {
      findings.follows(STATUS_NOT_LOADED, list);
      continue;
    }
    // First, because this does not let GnuPG create a missing key ring.
    SignatureCheck const check = checkSignature(list);
    std::vector<std::string> ignored;  // diagnose() says more
    CollectedLog const log(ignored);
    if (check.verified && verifier.checkSign(list)) {
      findings.well(inQuotes(list) + " verifies for this user");
      tellObjections(list, check, findings);
      ++good;
      continue;
    }
    if (!home.trusting && lacksTrust(check)) {
      findings.follows(STATUS_NOT_LOADED, list);
      continue;
    }
    Diagnosis const diagnosis = diagnose(check, files, list);
    findings.problem(STATUS_NOT_LOADED,
                     inQuotes(list) + " does not verify for this user: " + diagnosis.what,
                     diagnosis.fix);
  }
  return good == files.lists.size();
}

void checkLabels(const SetFiles& files, Findings& findings) {
  for (std::size_t i = 0; i < files.lists.size(); ++i)
    checkLabel(files, i, findings);
}

}  // namespace tool
