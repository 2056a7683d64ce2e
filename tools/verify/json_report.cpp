#include "io/descriptors.h"
#include "sets/manifest_json.h"
#include "text/json.h"
#include "text/strings.h"
#include "verify/report.h"

namespace tool {
namespace {

const char* nameOf(Signature::Verdict verdict) {
  switch (verdict) {
    case Signature::Verdict::Good:
      return "good";
    case Signature::Verdict::GoodExpiredKey:
      return "good_expired_key";
    case Signature::Verdict::GoodRevokedKey:
      return "good_revoked_key";
    case Signature::Verdict::Expired:
      return "expired";
    case Signature::Verdict::Bad:
      return "bad";
    case Signature::Verdict::NoPublicKey:
      return "no_public_key";
    case Signature::Verdict::NotChecked:
      return "not_checked";
    default:
      return "none";
  }
}

void putTime(Json& record, const char* name, std::time_t time) {
  if (time != 0)
    record[name] = utcText(time);
}

Json recordOf(const Signature& signature) {
  Json record;
  record["state"] = nameOf(signature.verdict);
  if (signature.digest != digestUnknown)
    record["digest"] = digestName(signature.digest);
  putTime(record, "made", signature.made);
  putTime(record, "expires", signature.expires);
  if (signature.ofText)
    record["of_text"] = true;
  if (!signature.keyId.empty())
    record["key_id"] = signature.keyId;
  if (!signature.fingerprint.empty())
    record["key"] = signature.fingerprint;
  if (!signature.primary.empty())
    record["primary"] = signature.primary;
  if (!signature.userId.empty())
    putText(record, "user", signature.userId);
  putTime(record, "key_expired", signature.keyExpired);
  return record;
}

Json recordsOf(const std::vector<Signature>& signatures) {
  Json records = Json::array();
  for (const Signature& signature : signatures)
    records.push_back(recordOf(signature));
  return records;
}

Json recordOf(const Place& place) {
  Json record;
  if (place.line != 0) {
    record["state"] = "line";
    record["line"] = place.line;
    return record;
  }
  record["state"] = "not_named";
  if (!place.orderExists)
    record["state"] = "no_listorder";
  else if (place.orderIrregular)
    record["state"] = "irregular";
  if (!place.unreadable.empty())
    putText(record, "reason", place.unreadable);
  if (place.almost != 0)
    record["almost"] = place.almost;
  return record;
}

Json recordOf(const Binding& binding) {
  Json record;
  switch (binding.state) {
    case Binding::State::NoList:
      record["state"] = "not_a_list";
      putText(record, "reason", binding.reason);
      return record;
    case Binding::State::NoLabel:
      record["state"] = "none";
      return record;
    default:
      record["state"] = binding.state == Binding::State::Bound ? "this_list" : "another_list";
  }
  const Label& label = *binding.label;
  putText(record, "set", label.set);
  putText(record, "mode", label.mode);
  putText(record, "list", label.list);
  record["serial"] = label.serial;
  record["date"] = utcText(label.date);
  return record;
}

const char* verdictOn(const Judgement& judgement) {
  if (!judgement.check.verified)
    return "not_verified";
  if (!isUsable(judgement))
    return "not_a_list";
  return judgement.objections.empty() ? "good" : "rejected";
}

Json about(const char* kind, const std::string& set) {
  Json record;
  record["record"] = kind;
  putText(record, "set", set);
  return record;
}

class JsonReport : public VerifyReport {
 public:
  void begin(const VerifyPlan& plan) override {
    Json record = startRecord();
    putTexts(record, "sets", plan.sets);
    putText(record, "mode", plan.mode);
    record["strict"] = plan.demands.strict;
    record["keys"] = plan.demands.pinned;
    if (plan.root)
      putText(record, "root", *plan.root);
    if (plan.lists)
      putText(record, "lists", *plan.lists);
    writeLine(recordLine(record));
  }

  void set(const std::string& set, std::size_t lists, const std::string& unreadable) override {
    Json record = about("set", set);
    record["lists"] = lists;
    if (!unreadable.empty())
      putText(record, "reason", unreadable);
    writeLine(recordLine(record));
  }

  void list(const std::string& set, const Judgement& judgement) override {
    Json record = about("list", set);
    putText(record, "path", judgement.path);
    record["verdict"] = verdictOn(judgement);
    record["order"] = recordOf(judgement.place);
    record["label"] = recordOf(judgement.binding);
    record["signatures"] = recordsOf(judgement.check.signatures);
    if (!judgement.check.reason.empty())
      putText(record, "reason", judgement.check.reason);
    putTexts(record, "objections", judgement.objections);
    writeLine(recordLine(record));
  }

  void manifest(const std::string& set, const ManifestJudgement& judgement) override {
    Json record = about("manifest", set);
    putText(record, "path", judgement.check.path);
    putManifest(record, judgement.check);
    record["signatures"] = recordsOf(judgement.check.signature.signatures);
    putTexts(record, "objections", judgement.objections);
    writeLine(recordLine(record));
  }

  void end(const VerifyCounts& counts, int status) override {
    Json record;
    record["record"] = "summary";
    record["lists"] = counts.lists;
    record["good"] = counts.lists - counts.unusable - counts.rejected;
    record["unusable"] = counts.unusable;
    record["rejected"] = counts.rejected;
    record["empty_sets"] = counts.emptySets;
    record["rejected_manifests"] = counts.rejectedManifests;
    if (!counts.unknownSets.empty())
      record["sets_unknown"] = true;
    record["status"] = status;
    writeLine(recordLine(record));
  }
};

}  // namespace

std::unique_ptr<VerifyReport> verifyJson() {
  return std::make_unique<JsonReport>();
}

}  // namespace tool
