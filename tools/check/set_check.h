// Loading one set and checking its entries on several threads.

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
#include "check/report.h"
#include "common/progress.h"

namespace tool {

struct CheckOptions {
  CheckPlan plan;
  std::vector<std::string> under;  // only entries at or below one of these; empty: all
  unsigned jobs = 1;               // threads
  bool verify = true;              // signatures
  bool measure = false;            // fill in all of SetFacts, which takes more runs of GnuPG
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

// Checks the set `name` and adds what is found to `report` and `counters`, in path order. When the
// program is interrupted, it returns at once with what was found so far; its threads are then left
// running, and the process has to end without joining them.
SetFacts checkSet(const std::string& name, const std::shared_ptr<const CheckOptions>& options,
                  CheckReport& report, Counters& counters, Progress& progress);

}  // namespace tool

#endif
