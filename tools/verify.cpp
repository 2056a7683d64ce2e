// verify: the lists of a set, in the order in which they are read, and who signed them.

#include <memory>
#include <string>
#include <vector>

#include "commands.h"
#include "gnupg/fingerprint.h"
#include "io/descriptors.h"
#include "run/failure.h"
#include "sets/sets.h"
#include "text/escape.h"
#include "text/strings.h"
#include "verify/judgement.h"
#include "verify/report.h"

namespace tool {
namespace {

const char* const examples =
    "A list is good when GnuPG's exit status is 0, as for the library. That accepts keys that "
    "have\n"
    "expired or are revoked; --strict does not.\n"
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
};

struct Counts {
  std::size_t lists = 0;
  std::size_t unusable = 0;
  std::size_t objectionable = 0;
  std::size_t emptySets = 0;
};

void verifySet(const std::string& set, const Options& options, const Demands& demands,
               Counts& counts) {
  std::vector<Judgement> const judgements = judgeLists(set, options.mode, demands);
  std::string lists = counted(judgements.size(), "list", "lists");
  if (judgements.empty()) {
    std::string const reason = whyUnreadable(set);
    lists = reason.empty() ? "no lists" : reason;
  }
  writeOut("set " + escaped(set) + ", mode " + escaped(options.mode) + ": " + lists + "\n");
  if (judgements.empty())
    counts.emptySets += 1;
  for (const Judgement& judgement : judgements) {
    writeOut(reportOn(judgement));
    counts.lists += 1;
    if (!isUsable(judgement))
      counts.unusable += 1;
    else if (!judgement.objections.empty())
      counts.objectionable += 1;
  }
}

int runVerify(const Options& options) {
  requireModeName(options.mode);
  Demands demands;
  demands.strict = options.strict;
  for (const std::string& key : options.keys)
    demands.pinned.push_back(fingerprintFrom(key));
  Counts counts;
  ChosenSets const chosen = chosenSets(options.sets, options.all);
  for (const std::string& set : chosen.names)
    verifySet(set, options, demands, counts);

  std::size_t const good = counts.lists - counts.unusable - counts.objectionable;
  std::string summary = counted(counts.lists, "list", "lists") + ": " + std::to_string(good) +
                        " good, " + std::to_string(counts.unusable) + " unusable, " +
                        std::to_string(counts.objectionable) + " objectionable";
  if (counts.emptySets != 0)
    summary += "; " + counted(counts.emptySets, "set", "sets") + " without lists";
  if (!chosen.unknown.empty())
    summary += "; which sets of packages there are is not known: " + chosen.unknown;
  writeOut(summary + "\n");
  bool const lacking = counts.unusable != 0 || counts.emptySets != 0 || !chosen.unknown.empty();
  return (lacking ? STATUS_NOT_LOADED : 0) | (counts.objectionable != 0 ? STATUS_UNCHECKED : 0);
}

}  // namespace

void addVerify(Commands& program) {
  auto const options = std::make_shared<Options>();
  Arguments takes = program.add("verify", "Show the lists of sets and who signed them", examples,
                                [options] { return runVerify(*options); });
  takes.words("SET", options->sets, "Sets; the system's own, wam, if none is named");
  takes.flag("--all", options->all, "Show wam and the sets of all packages");
  takes.value("--mode", "MODE", options->mode, "Kind of lists");
  takes.flag("--strict", options->strict,
             "Object to keys that have expired, are revoked or not named by --key, to weak "
             "digests, and to lists that are not labelled as themselves or not named in listorder");
  takes.repeated(
      "--key", "FINGERPRINT", options->keys,
      "Object to signatures by other keys: full fingerprint of the key or of its primary "
      "key");
}

}  // namespace tool
