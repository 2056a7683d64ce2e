// Putting the files of a set in the place of those that are there, as a whole.

#ifndef ZEMO_TOOLS_SETS_REPLACEMENT_H
#define ZEMO_TOOLS_SETS_REPLACEMENT_H

#include <string>

#include "sets/set_content.h"

namespace tool {

// How a set was replaced.
enum class Way {
  EXCHANGE,  // in one step
  RENAMES,   // file by file, while the set did not load
};

// Where the files that a set had before are kept.
std::string previousDirectory(const SetPlace& place);

// The set that is to be changed: `now`, which is what is there, or if that is unfinished, the set
// that was there before, so that no other command makes a set of its lists and new ones.
SetContent lastWhole(const SetPlace& place, const SetContent& now);

// Puts `after` in the place of `before`, which is what is there, and keeps `before` in
// previousDirectory(), unless it is unfinished or has no list. A SetLock must exist.
//
// At every moment, even if the process is killed or the power fails, the set is the old one, the
// new one, or one that does not load, and then the next replacement completes it. Where the
// directory can be exchanged as a whole, it is never one that does not load; otherwise a warning
// says why not.
//
// Throws Failure(STATUS_NOT_LOADED), which says what is in place then.
Way replaceSet(const SetPlace& place, const SetContent& before, const SetContent& after);

}  // namespace tool

#endif
