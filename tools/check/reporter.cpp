#include "check/reporter.h"

#include "io/exit_status.h"
#include "run/interruption.h"
#include "sets/sets.h"
#include "text/escape.h"

using namespace ZEMO::SELF_CHECK;

namespace tool {
namespace {

// The command that examines the sets of the plan.
std::string doctorFor(const CheckPlan& plan) {
  std::string command = "zemo-selfcheck doctor";
  if (plan.mode != defaultMode)
    command += " --mode " + inQuotes(plan.mode);
  if (plan.root)
    command += " --root " + inQuotes(*plan.root);
  if (plan.lists)
    command += " --lists " + inQuotes(*plan.lists);
  return command;
}

}  // namespace

void Reporter::tell(std::size_t index) {
  EntryOutcome& outcome = _walk.outcomes[index];
  if (outcome.carriedOut && !outcome.changed) {  // the fast path for almost all entries
    if (++_counters.checked == 1)                // the status is no longer "nothing was checked"
      noteStatus();
    return;
  }
  Walk::Entry& entry = *_walk.entries[index];
  _progress.clear();
  if (outcome.carriedOut)
    ++_counters.checked;
  if (outcome.changed)
    tellMismatches(entry, outcome);
  if (!outcome.carriedOut)
    tellUnchecked(entry, outcome);
  noteStatus();
}

void Reporter::tellNotLoaded() {
  ++_counters.notLoaded;
  std::string const what = "set " + inQuotes(_walk.set);
  std::string reason = _walk.obstacle.empty() ? what + " could not be loaded" : _walk.obstacle;
  if (_walk.facts.manifest && !objectionsTo(*_walk.facts.manifest).empty()) {
    for (const std::string& objection : objectionsTo(*_walk.facts.manifest))
      say(std::string(what).append(": ").append(objection));
    reason = what + " was not checked, because it does not fit its manifest";
  }
  // doctor does not know the serials of --state.
  bool const rolledBack =
      _walk.facts.manifest && _walk.facts.manifest->state == ManifestCheck::State::ROLLED_BACK;
  if (rolledBack)
    reason = what + " was not checked, because it is older than one that was accepted before";
  say(reason + (rolledBack ? "; install the newer one, or give --accept-older if it is meant"
                           : "; see " + doctorFor(_walk.options->plan)));
  _report.notLoaded(_walk.set, reason);
}

// Notes the status for a process that ends before everything is reported.
void Reporter::noteStatus() {
  endSoonAfterInterruption(exitStatus(_counters) | STATUS_UNCHECKED);
}

void Reporter::tellMismatches(Walk::Entry& entry, EntryOutcome& outcome) {
  const Accepted& accepted = _walk.options->accepted;
  std::vector<Finding> findings;
  for (CheckError* error : entry._errors)
    findings.push_back({error, accepted.covers(*error)});
  if (outcome.carriedOut && outcome.note && !findings.empty())
    findings.front().unsearchable = *outcome.note;
  // The hook decides on the whole entry, as in the library's own check of a set.
  boost::shared_ptr<Walk::Entry> kept(boost::shared_ptr<void>(), &entry);  // the map owns it
  _walk.hook(kept, outcome.changed);
  if (outcome.changed)
    count(findings);
  for (const Finding& finding : findings)
    _counters.accepted += finding.accepted ? 1 : 0;
  _report.mismatches(_walk.set, entry._path, findings);
}

void Reporter::tellUnchecked(const Walk::Entry& entry, EntryOutcome& outcome) {
  ++_counters.unchecked;
  std::string reason = outcome.note ? *outcome.note : std::string();
  if (outcome.exhausted) {
    reason = outOfMemory;
    outcome.log.push_back(reason);
  }
  for (const std::string& line : outcome.log)
    say(escaped(line));
  _report.unchecked(_walk.set, entry._path, outcome.log, reason);
}

void Reporter::countMissing(const Finding& finding) {
  ++_counters.missing;
  if (finding.unsearchable.empty())
    return;
  if (++_counters.hidden == 1)
    _counters.unsearchable = finding.unsearchable;
}

void Reporter::count(const std::vector<Finding>& findings) {
  bool changed = false;
  for (const Finding& finding : findings) {
    if (finding.accepted)
      continue;
    ++_counters.kinds[finding.error->_error];
    if (finding.error->_error == CHECK_ERROR_UNKNOWN_FILE)
      ++_counters.stray;
    else if (finding.error->_error == CHECK_ERROR_NOT_EXIST)
      countMissing(finding);
    else
      changed = true;
  }
  _counters.changed += changed ? 1 : 0;
}

}  // namespace tool
