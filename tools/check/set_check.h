// Loading sets and checking their entries on several threads.

#ifndef ZEMO_TOOLS_CHECK_SET_CHECK_H
#define ZEMO_TOOLS_CHECK_SET_CHECK_H

#include <zemo/selfcheck.h>

#include <cstdint>
#include <ctime>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "check/accepted.h"
#include "check/counters.h"
#include "check/later.h"
#include "check/report.h"
#include "root/other_root.h"
#include "run/progress.h"
#include "sets/manifest_check.h"

namespace tool {

struct CheckOptions {
  CheckPlan plan;
  std::vector<std::string> under;  // only entries at or below one of these; empty: all
  unsigned jobs = 1;               // threads
  bool verify = true;              // signatures
  bool requireManifest = false;    // a set that does not fit its manifest is not checked
  std::shared_ptr<LateBudget> late = std::make_shared<LateBudget>();  // for the whole run
  std::map<std::string, uint64_t> highestSerials;  // of manifests, by set: lower ones do not fit
  bool measure = false;  // fill in all of SetFacts, which needs more runs of GnuPG
  Accepted accepted;
  std::shared_ptr<const OtherRoot> root;  // where the files and packages are; null: this machine
};

// Facts about a set besides the findings.
struct SetFacts {
  bool loaded = false;
  std::size_t entries = 0;                // to be checked
  std::optional<ManifestCheck> manifest;  // if one is required and the lists could be loaded
  // The following is filled in only if `measure` is set.
  std::size_t lists = 0;
  bool verified = false;            // every list, judged by GnuPG's status lines and exit status
  uint64_t bytes = 0;               // content compared, as far as lists state sizes
  std::time_t oldestSignature = 0;  // 0: unknown, or signatures were not verified
};

// The outcome of one set.
struct SetRun {
  std::string set;
  SetFacts facts;
  bool verified = false;  // loaded after all signatures were verified
  Counters counters;      // of this set alone
  double seconds = 0;     // until it was completely reported, including loading
  std::time_t ended = 0;
  std::time_t lastClean = 0;  // the end of the last clean run; 0: unknown
};

// Checks all sets of the plan and adds the findings to `report` and `counters`, in the order of
// sets and paths. If the program is interrupted, returns at once with the findings so far and names
// on standard error the files whose check has begun. Its threads then continue to run, and the
// process must end without joining them.
std::vector<SetRun> checkSets(const std::shared_ptr<const CheckOptions>& options,
                              CheckReport& report, Counters& counters, Progress& progress);

}  // namespace tool

#endif
