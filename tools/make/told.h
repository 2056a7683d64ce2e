// The words of `make` in the end: about the list that it wrote, or why it wrote none.

#ifndef ZEMO_TOOLS_MAKE_TOLD_H
#define ZEMO_TOOLS_MAKE_TOLD_H

#include <map>
#include <set>
#include <string>

#include "make/difference.h"
#include "make/plan.h"

namespace tool {

// Paths are those that were to be listed.
struct Told {
  Difference difference;                        // what the list states
  std::map<std::string, std::string> problems;  // why a path cannot be listed
  std::set<std::string> vanished;               // left out: deleted meanwhile
  std::set<std::string> changed;                // not as their packages installed them
  std::set<std::string> differing;              // changed while the list was being made
  std::set<std::string> unlisted;               // directories above files that no list requires
  std::string failure;                          // why there is no list; empty if there is one
  int status = 0;                               // the exit status
};

// "wam.full.base.list: 12 files, 3 directories (1 fixed), 2 removals"
std::string summaryLine(const MakePlan& plan, const Told& told);

// Writes JSON lines: the start, one for each path of the sets, and the summary.
void writeJson(const MakePlan& plan, const Told& told);

}  // namespace tool

#endif
