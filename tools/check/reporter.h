// Reporting the outcomes of checks.

#ifndef ZEMO_TOOLS_CHECK_REPORTER_H
#define ZEMO_TOOLS_CHECK_REPORTER_H

#include <string>
#include <vector>

#include "check/counters.h"
#include "check/report.h"
#include "check/walk.h"
#include "run/progress.h"

namespace tool {

// Reports and counts the outcomes of a walk. Only the reporting thread uses it.
class Reporter {
 public:
  Reporter(Walk& walk, CheckReport& report, Counters& counters, Progress& progress)
      : _walk(walk), _report(report), _counters(counters), _progress(progress) {}

  // Reports why the walk has nothing to check.
  void tellNotLoaded();

  // Reports the outcome of the entry's check, which must be done.
  void tell(std::size_t index);

 private:
  void noteStatus();
  void tellMismatches(Walk::Entry& entry, EntryOutcome& outcome);
  void tellUnchecked(const Walk::Entry& entry, EntryOutcome& outcome);
  void countMissing(const Finding& finding);
  void count(const std::vector<Finding>& findings);

  Walk& _walk;
  CheckReport& _report;
  Counters& _counters;
  Progress& _progress;
};

}  // namespace tool

#endif
