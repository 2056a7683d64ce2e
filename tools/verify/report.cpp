#include "verify/report.h"

#include <algorithm>

#include "io/descriptors.h"
#include "io/exit_status.h"
#include "text/escape.h"
#include "text/strings.h"

namespace tool {
namespace {

std::string row(const std::string& name, const std::string& text) {
  std::string line = "  " + name;
  line.resize(13, ' ');
  return line + text + "\n";
}

std::string textOf(const Place& place) {
  if (place.line != 0)
    return "line " + std::to_string(place.line) + " of listorder";
  if (!place.orderExists)
    return "by name (there is no listorder)";
  if (place.orderIrregular)
    return "by name (listorder is not a regular file)";
  std::string text = "not named in listorder, so read before all lists that are";
  if (!place.unreadable.empty())
    text += "; " + place.unreadable;
  if (place.almost != 0)
    text += "; line " + std::to_string(place.almost) +
            " would name it without the blanks, carriage return or directory around the name";
  return text;
}

std::string versionOf(const Label& label) {
  return "serial " + std::to_string(label.serial) + ", made " + utcText(label.date);
}

std::string textOf(const Binding& binding) {
  if (binding.state == Binding::State::NoList)
    return binding.reason;
  if (!binding.label)
    return "none: line 2 does not say which list this is";
  const Label& label = *binding.label;
  std::string const version = versionOf(label);
  if (binding.state == Binding::State::Bound)
    return "this list, " + version;
  return "another list: set " + inQuotes(label.set) + ", mode " + inQuotes(label.mode) + ", list " +
         inQuotes(label.list) + ", " + version;
}

std::string keyRows(const Signature& signature) {
  std::string key = signature.fingerprint.empty() ? signature.keyId : signature.fingerprint;
  if (key.empty())
    return "";
  if (!signature.userId.empty())
    key += " " + inQuotes(signature.userId);
  if (signature.verdict == Signature::Verdict::GoodRevokedKey)
    key += ", revoked";
  if (signature.verdict == Signature::Verdict::GoodExpiredKey)
    key += ", expired" +
           (signature.keyExpired == 0 ? std::string() : " " + utcText(signature.keyExpired));
  std::string rows = row("key", key);
  if (!signature.primary.empty())
    rows += row("primary", signature.primary);
  return rows;
}

std::string rowsOf(const Signature& signature) {
  std::string text = signatureText(signature);
  if (signature.digest != digestUnknown)
    text += ", " + digestName(signature.digest);
  if (signature.made != 0)
    text += ", made " + utcText(signature.made);
  if (signature.verdict != Signature::Verdict::Expired && signature.expires != 0)
    text += ", expires " + utcText(signature.expires);
  if (signature.ofText)
    text += ", over text: carriage returns at line ends are not covered";
  return row("signature", text) + keyRows(signature);
}

const char* verdictOn(ManifestCheck::State state) {
  switch (state) {
    case ManifestCheck::State::FITS:
      return "fits";
    case ManifestCheck::State::DIFFERS:
      return "does not fit";
    case ManifestCheck::State::UNREADABLE:
      return "not a manifest of this set";
    case ManifestCheck::State::ROLLED_BACK:
      return "rolled back";
    case ManifestCheck::State::NONE:
      return "does not exist";
    default:
      return "does not verify";
  }
}

// One line with the list's name and verdict, then indented lines with the reasons.
std::string reportOn(const Judgement& judgement) {
  const char* verdict = "good";
  if (!judgement.check.verified)
    verdict = "does not verify";
  else if (!isUsable(judgement))
    verdict = "not a check list";
  else if (!judgement.objections.empty())
    verdict = "rejected";
  std::string text = escaped(judgement.path) + ": " + verdict + "\n";
  text += row("order", textOf(judgement.place));
  text += row("label", textOf(judgement.binding));
  for (const Signature& signature : judgement.check.signatures)
    text += rowsOf(signature);
  if (!judgement.check.reason.empty())
    text += row(judgement.check.signatures.empty() ? "signature" : "", judgement.check.reason);
  for (const std::string& objection : judgement.objections)
    text += row("reason", objection);
  return text;
}

// The same for a manifest; empty if there is none and need not be.
std::string reportOn(const ManifestJudgement& judgement) {
  const ManifestCheck& check = judgement.check;
  if (check.state == ManifestCheck::State::NONE && judgement.objections.empty())
    return "";
  std::string text = escaped(check.path) + ": " + verdictOn(check.state) +
                     (judgement.objections.empty() ? "" : ", rejected") + "\n";
  if (check.manifest)
    text += row("label", counted(check.manifest->lists.size(), "list", "lists") + ", " +
                             versionOf(check.manifest->label));
  for (const Signature& signature : check.signature.signatures)
    text += rowsOf(signature);
  // With --strict, these are among the objections.
  std::vector<std::string> reasons = judgement.objections;
  for (const std::string& reason : objectionsTo(check)) {
    if (std::find(reasons.begin(), reasons.end(), reason) == reasons.end())
      reasons.push_back(reason);
  }
  for (const std::string& reason : reasons)
    text += row("reason", reason);
  return text;
}

class TextReport : public VerifyReport {
 public:
  void begin(const VerifyPlan& plan) override { _mode = plan.mode; }

  void set(const std::string& set, std::size_t lists, const std::string& unreadable) override {
    std::string text = counted(lists, "list", "lists");
    if (lists == 0)
      text = unreadable.empty() ? "no lists" : unreadable;
    writeLine("set " + escaped(set) + ", mode " + escaped(_mode) + ": " + text);
  }

  void list(const std::string&, const Judgement& judgement) override {
    writeOut(reportOn(judgement));
  }

  void manifest(const std::string&, const ManifestJudgement& judgement) override {
    writeOut(reportOn(judgement));
  }

  void end(const VerifyCounts& counts, int) override {
    std::size_t const good = counts.lists - counts.unusable - counts.rejected;
    std::string summary = counted(counts.lists, "list", "lists") + ": " + std::to_string(good) +
                          " good, " + std::to_string(counts.unusable) + " unusable, " +
                          std::to_string(counts.rejected) + " rejected";
    if (counts.emptySets != 0)
      summary += "; " + counted(counts.emptySets, "set", "sets") + " without lists";
    if (counts.rejectedManifests != 0)
      summary += "; " + counted(counts.rejectedManifests, "manifest", "manifests") + " rejected";
    if (!counts.unknownSets.empty())
      summary += "; the sets of packages are unknown: " + counts.unknownSets;
    writeLine(summary);
  }

 private:
  std::string _mode;
};

}  // namespace

std::unique_ptr<VerifyReport> verifyText() {
  return std::make_unique<TextReport>();
}

}  // namespace tool
