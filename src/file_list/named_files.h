// Loading the part of a set that decides about named files.

#ifndef ZEMO_SELFCHECK_SRC_FILE_LIST_NAMED_FILES_H
#define ZEMO_SELFCHECK_SRC_FILE_LIST_NAMED_FILES_H

#include <zemo/selfcheck/file_list.h>

#include <string>
#include <vector>

namespace ZEMO::SELF_CHECK {

// Loads the operating system's own set into the new list `set`, as FileList::loadList(true) does
// and with the same calls, log lines and failures, but keeps only the entries on which
// checkFiles(paths, results) depends. Its results are then those of the whole set, for any part
// of `paths`; other operations on `set` see that only a part is there. Memory depends on `paths`,
// on the entries directly in named directories, and on the number of directories with fixed
// members.
bool loadNamed(FileList& set, const std::string& mode, const std::vector<std::string>& paths);

}  // namespace ZEMO::SELF_CHECK

#endif
