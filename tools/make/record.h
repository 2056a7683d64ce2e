// How a list was made, as its second line states it, so that it can be made again.

#ifndef ZEMO_TOOLS_MAKE_RECORD_H
#define ZEMO_TOOLS_MAKE_RECORD_H

#include <string>
#include <vector>

#include "arguments/arguments.h"
#include "make/plan.h"

namespace tool {

// The words of `make` that say what the list at plan.output contains. Files of the machine that
// makes it are named from the list's directory. Without what may differ each time: the root, the
// output, the serial, and whether changed files are allowed.
std::vector<std::string> recordOf(const MakePlan& plan);

// The options with which to make the list `given.again` again: what its second line states, and
// the rest as given. Says what the line states. Throws UsageError if other options are given that
// the line states, or if it names standard input, and Failure(STATUS_NOT_LOADED) if the list does
// not verify, is not the list that it says it is, or states nothing that `make` could have written.
MakeOptions optionsToRepeat(const MakeOptions& given);

// Adds the options that the record may contain.
void addRecorded(Arguments& takes, MakeOptions& options);

}  // namespace tool

#endif
