// What a check has found, in numbers. The summary, the exit status and the metrics are all made of
// these.

#ifndef ZEMO_TOOLS_CHECK_COUNTERS_H
#define ZEMO_TOOLS_CHECK_COUNTERS_H

#include <zemo/selfcheck.h>

#include <cstddef>
#include <map>
#include <string>

namespace tool {

struct Counters {
  std::size_t sets = 0;       // that were loaded
  std::size_t notLoaded = 0;  // sets that could not be
  std::size_t entries = 0;    // of the sets that were loaded
  std::size_t checked = 0;    // entries whose check was carried out
  std::size_t changed = 0;    // entries with another mismatch than those below
  std::size_t missing = 0;    // entries
  std::size_t stray = 0;      // members of directories with fixed members
  std::size_t unchecked = 0;  // entries whose check could not be carried out
  std::size_t accepted = 0;   // mismatches; they do not count above
  bool partial = false;       // the check was interrupted
  bool setsUnknown = false;   // the sets of packages were to be checked, but could not be found out
  // Mismatches that are not accepted; a kind that was not found may be left out.
  std::map<ZEMO::SELF_CHECK::CHECK_ERROR, std::size_t> kinds;
};

// What was counted between two moments of one check, of which `later` is the later one.
Counters between(const Counters& earlier, const Counters& later);

// The bits of run/failure.h.
int exitStatus(const Counters& counters);

// One line, without line feed.
std::string summaryLine(const Counters& counters);

}  // namespace tool

#endif
