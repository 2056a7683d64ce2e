// Makes entries for files as they are on disk.

#ifndef ZEMO_TOOLS_MAKE_DESCRIBE_H
#define ZEMO_TOOLS_MAKE_DESCRIBE_H

#include <zemo/selfcheck.h>

#include <boost/shared_ptr.hpp>
#include <set>
#include <string>
#include <vector>

#include "make/inventory.h"
#include "make/placeholders.h"
#include "make/plan.h"
#include "make/problems.h"
#include "run/progress.h"

namespace tool {

// One file, with placeholders resolved.
struct Described {
  std::string path;
  boost::shared_ptr<ZEMO::SELF_CHECK::ProtectedFile> entry;  // null if it has vanished
  char type = '-';  // its letter, even if the entry's column is omitted
  bool fixed = false;
  bool changed = false;  // its content is listed and differs from what its package installed
};

// Examines every file on plan.jobs threads, and reads those whose digests are wanted. The result is
// in the inventory's order. Files that cannot be read or listed are added to `problems`.
std::vector<Described> describe(const Inventory& inventory, const MakePlan& plan,
                                const Placeholders& placeholders, Progress& progress,
                                Problems& problems);

// The paths of the files that have vanished.
std::set<std::string> vanishedIn(const std::vector<Described>& found);

// Removes the files at these paths from `found` and reports it.
void leaveOut(const std::set<std::string>& gone, std::vector<Described>& found);

}  // namespace tool

#endif
