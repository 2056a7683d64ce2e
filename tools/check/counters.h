// The numbers that a check has found. The summary, the exit status and the metrics are all derived
// from these.

#ifndef ZEMO_TOOLS_CHECK_COUNTERS_H
#define ZEMO_TOOLS_CHECK_COUNTERS_H

#include <zemo/selfcheck.h>

#include <cstddef>
#include <map>
#include <string>

namespace tool {

struct Counters {
  std::size_t sets = 0;        // loaded
  std::size_t notLoaded = 0;   // sets that could not be loaded
  std::size_t notReached = 0;  // sets that an interrupted check did not load
  std::size_t entries = 0;     // in the loaded sets
  std::size_t checked = 0;     // entries that could be checked
  std::size_t changed = 0;     // entries with mismatches other than those below
  std::size_t missing = 0;     // entries
  std::size_t hidden = 0;      // of the missing: below a directory that this user may not search
  std::size_t stray = 0;       // members of directories with fixed members
  std::size_t unchecked = 0;   // entries that could not be checked
  std::size_t accepted = 0;    // mismatches; not counted above
  bool partial = false;        // the check was interrupted
  bool setsUnknown = false;    // the packages' sets were requested but could not be found
  bool withoutIds = false;     // owners and groups could not be compared
  std::string unsearchable;    // such a directory
  // Mismatches that are not accepted; kinds that were not found may be absent.
  std::map<ZEMO::SELF_CHECK::CHECK_ERROR, std::size_t> kinds;
};

// The difference between two moments of one check; `later` is the later one.
Counters between(const Counters& earlier, const Counters& later);

// The bits of io/exit_status.h.
int exitStatus(const Counters& counters);

// One line without a line feed.
std::string summaryLine(const Counters& counters);

}  // namespace tool

#endif
