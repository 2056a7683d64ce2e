// verify: prints the lists of a set in reading order, and their signers.

#include <unistd.h>

#include <algorithm>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "commands.h"
#include "gnupg/fingerprint.h"
#include "io/exit_status.h"
#include "root/other_root.h"
#include "sets/highest_serial.h"
#include "sets/sets.h"
#include "verify/judgement.h"
#include "verify/report.h"

namespace tool {
namespace {

const char* const examples =
    "A list verifies if GnuPG exits with status 0, which is all that the library requires, and "
    "reports every signature as good. That includes signatures by keys that have expired or are "
    "revoked, to which --strict objects.\n"
    "\n"
    "Examples:\n"
    "  zemo-selfcheck verify\n"
    "  zemo-selfcheck verify --all --strict --key 6136B3167575C697A6AB41B58489D4A54BFA7117\n";

struct Options {
  std::vector<std::string> sets;
  bool all = false;
  std::string mode = defaultMode;
  bool strict = false;
  std::vector<std::string> keys;
  std::optional<std::string> root;
  std::optional<std::string> lists;
  std::string format = "text";
};

void verifySet(const std::string& set, const VerifyPlan& plan, VerifyReport& report,
               VerifyCounts& counts) {
  std::vector<Judgement> const judgements = judgeLists(set, plan.mode, plan.demands);
  report.set(set, judgements.size(), judgements.empty() ? whyUnreadable(set) : "");
  if (judgements.empty())
    counts.emptySets += 1;
  for (const Judgement& judgement : judgements) {
    report.list(set, judgement);
    counts.lists += 1;
    if (!isUsable(judgement))
      counts.unusable += 1;
    else if (!judgement.objections.empty())
      counts.rejected += 1;
  }
  ManifestJudgement const manifest = judgeManifest(set, plan.mode, plan.demands);
  report.manifest(set, manifest);
  counts.rejectedManifests += manifest.objections.empty() ? 0 : 1;
}

int runVerify(const Options& options) {
  requireModeName(options.mode);
  VerifyPlan plan;
  plan.mode = options.mode;
  plan.root = options.root;
  plan.lists = options.lists;
  plan.demands.strict = options.strict;
  for (const std::string& key : options.keys)
    plan.demands.pinned.push_back(fingerprintFrom(key));
  std::for_each(options.sets.begin(), options.sets.end(), requireSetName);
  std::shared_ptr<const OtherRoot> const root = chosenRoot(options.root, options.lists);
  ChosenSets const chosen = chosenSets(options.sets, options.all);
  plan.sets = chosen.names;
  if (options.strict && !root) {
    KnownSerials const known = serialsToCompare(plan.sets, plan.mode);
    plan.demands.accepted = known.highest;
    if (!known.unused.empty() && geteuid() == 0)
      say("it is not known whether the manifests are the newest: " + known.unused);
  }
  std::unique_ptr<VerifyReport> const report =
      options.format == "json" ? verifyJson() : verifyText();
  VerifyCounts counts;
  counts.unknownSets = chosen.unknown;
  report->begin(plan);
  for (const std::string& set : plan.sets)
    verifySet(set, plan, *report, counts);

  bool const lacking = counts.unusable != 0 || counts.emptySets != 0 || !counts.unknownSets.empty();
  int const status = (lacking ? STATUS_NOT_LOADED : 0) |
                     (counts.rejected + counts.rejectedManifests != 0 ? STATUS_UNCHECKED : 0);
  report->end(counts, status);
  return status;
}

}  // namespace

void addVerify(Commands& program) {
  auto const options = std::make_shared<Options>();
  Arguments takes = program.add("verify", "Show the lists of sets and who signed them", examples,
                                [options] { return runVerify(*options); });
  takes.words("SET", options->sets, "Sets to show (default: wam, the system's own)");
  takes.flag("--all", options->all, "Show wam and the sets of all packages");
  takes.value("--mode", "MODE", options->mode, "Mode of the lists");
  takes.value("--root", "DIR", options->root,
              "Show the lists of the system below this directory, by this machine's key ring");
  takes.value("--lists", "DIR", options->lists,
              "With --root: use the lists in this directory instead");
  takes.flag("--strict", options->strict,
             "Reject keys that have expired, are revoked or are not given by --key, weak digests, "
             "lists that are not labelled as themselves or not named in listorder, and a manifest "
             "that does not fit the set, is older than an accepted one, or was removed");
  takes.repeated("--key", "FINGERPRINT", options->keys,
                 "Reject signatures by any other key than the given ones, each given by its full "
                 "fingerprint or that of its primary key; may be repeated");
  takes.choice("--format", {"text", "json"}, options->format, "Output format");
}

}  // namespace tool
