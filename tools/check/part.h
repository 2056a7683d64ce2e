// Loading only a part of the system's own set.

#ifndef ZEMO_TOOLS_CHECK_PART_H
#define ZEMO_TOOLS_CHECK_PART_H

#include <zemo/selfcheck.h>

#include <string>
#include <vector>

namespace tool {

// Loads into `files`, an empty list of the system's own set, the entries at or below `directories`,
// with their fixed members, as loadList() would. `files` may also get some other entries. Time and
// memory depend on what is below the directories, except for verifying and reading the lists.
//
// Returns false, with `files` empty again and nothing logged, unless all lists verify and parse and
// the set is known to have entries: then loadList() finds out why, and logs it. That asks GnuPG
// again, so a list that did not verify here may verify there. It is accepted, because loadList()
// reads only what it has itself verified.
bool loadPart(ZEMO::SELF_CHECK::FileList& files, const std::string& mode,
              const std::vector<std::string>& directories, bool verify);

}  // namespace tool

#endif
