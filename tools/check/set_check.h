// Loading sets and checking their entries on several threads.

#ifndef ZEMO_TOOLS_CHECK_SET_CHECK_H
#define ZEMO_TOOLS_CHECK_SET_CHECK_H

#include <zemo/selfcheck.h>

#include <cstdint>
#include <ctime>
#include <memory>
#include <string>
#include <vector>

#include "check/accepted.h"
#include "check/counters.h"
#include "check/later.h"
#include "check/report.h"
#include "run/progress.h"

namespace tool {

struct CheckOptions {
  CheckPlan plan;
  std::vector<std::string> under;  // only entries at or below one of these; empty: all
  unsigned jobs = 1;               // threads
  bool verify = true;              // signatures
  std::shared_ptr<LateBudget> late = std::make_shared<LateBudget>();  // of the whole run
  bool measure = false;  // fill in all of SetFacts, which takes more runs of GnuPG
  Accepted accepted;
};

// What else there is to say of a set than what was found.
struct SetFacts {
  bool loaded = false;
  std::size_t entries = 0;  // that are to be checked
  // What follows is filled in if `measure` is set.
  std::size_t lists = 0;
  bool verified = false;            // every list, by what GnuPG says and not by its end alone
  uint64_t bytes = 0;               // content that was compared, as far as lists state sizes
  std::time_t oldestSignature = 0;  // 0: not known, or signatures were not verified
};

// The outcome of one set.
struct SetRun {
  std::string set;
  SetFacts facts;
  bool verified = false;  // it was loaded after all signatures had been verified
  Counters counters;      // of this set alone
  double seconds = 0;     // until all of it was told, loading included
  std::time_t ended = 0;
  std::time_t lastClean = 0;  // the end of the last clean run; 0: none is known
};

// Checks all sets of the plan, and adds what is found to `report` and `counters`, in the order of
// sets and paths. When the program is interrupted, it returns at once with what was found so far,
// and standard error names the files whose check had begun; its threads are then left running, and
// the process has to end without joining them.
std::vector<SetRun> checkSets(const std::shared_ptr<const CheckOptions>& options,
                              CheckReport& report, Counters& counters, Progress& progress);

}  // namespace tool

#endif
