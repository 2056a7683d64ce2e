// verify: prints the lists of a set in reading order, and their signers.

#include <algorithm>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "commands.h"
#include "gnupg/fingerprint.h"
#include "io/descriptors.h"
#include "io/exit_status.h"
#include "root/other_root.h"
#include "sets/sets.h"
#include "text/escape.h"
#include "text/strings.h"
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
};

struct Counts {
  std::size_t lists = 0;
  std::size_t unusable = 0;
  std::size_t rejected = 0;
  std::size_t emptySets = 0;
  std::size_t rejectedManifests = 0;
};

void verifySet(const std::string& set, const Options& options, const Demands& demands,
               Counts& counts) {
  std::vector<Judgement> const judgements = judgeLists(set, options.mode, demands);
  std::string lists = counted(judgements.size(), "list", "lists");
  if (judgements.empty()) {
    std::string const reason = whyUnreadable(set);
    lists = reason.empty() ? "no lists" : reason;
  }
  writeLine("set " + escaped(set) + ", mode " + escaped(options.mode) + ": " + lists);
  if (judgements.empty())
    counts.emptySets += 1;
  for (const Judgement& judgement : judgements) {
    writeOut(reportOn(judgement));
    counts.lists += 1;
    if (!isUsable(judgement))
      counts.unusable += 1;
    else if (!judgement.objections.empty())
      counts.rejected += 1;
  }
  ManifestJudgement const manifest = judgeManifest(set, options.mode, demands);
  writeOut(reportOn(manifest));
  counts.rejectedManifests += manifest.objections.empty() ? 0 : 1;
}

int runVerify(const Options& options) {
  requireModeName(options.mode);
  Demands demands;
  demands.strict = options.strict;
  for (const std::string& key : options.keys)
    demands.pinned.push_back(fingerprintFrom(key));
  Counts counts;
  std::for_each(options.sets.begin(), options.sets.end(), requireSetName);
  std::shared_ptr<const OtherRoot> const root = chosenRoot(options.root, options.lists);
  ChosenSets const chosen = chosenSets(options.sets, options.all);
  for (const std::string& set : chosen.names)
    verifySet(set, options, demands, counts);

  std::size_t const good = counts.lists - counts.unusable - counts.rejected;
  std::string summary = counted(counts.lists, "list", "lists") + ": " + std::to_string(good) +
                        " good, " + std::to_string(counts.unusable) + " unusable, " +
                        std::to_string(counts.rejected) + " rejected";
  if (counts.emptySets != 0)
    summary += "; " + counted(counts.emptySets, "set", "sets") + " without lists";
  if (counts.rejectedManifests != 0)
    summary += "; " + counted(counts.rejectedManifests, "manifest", "manifests") + " rejected";
  if (!chosen.unknown.empty())
    summary += "; the sets of packages are unknown: " + chosen.unknown;
  writeLine(summary);
  bool const lacking = counts.unusable != 0 || counts.emptySets != 0 || !chosen.unknown.empty();
  return (lacking ? STATUS_NOT_LOADED : 0) |
         (counts.rejected + counts.rejectedManifests != 0 ? STATUS_UNCHECKED : 0);
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
             "that does not fit the set");
  takes.repeated("--key", "FINGERPRINT", options->keys,
                 "Reject signatures by any other key than the given ones, each given by its full "
                 "fingerprint or that of its primary key; may be repeated");
}

}  // namespace tool
