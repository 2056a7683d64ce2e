// The comparison of a file's content with its entry.

#ifndef ZEMO_SELFCHECK_SRC_PROTECTED_FILE_CONTENT_CHECK_H
#define ZEMO_SELFCHECK_SRC_PROTECTED_FILE_CONTENT_CHECK_H

#include <sys/stat.h>
#include <zemo/selfcheck/protected_file.h>

namespace ZEMO::SELF_CHECK {

// Like entry.checkHash(st, changed). If the content had to be read, stores in `read` the metadata
// that what was read has by then, which may be another file than the one that `st` tells of.
bool compareContent(ProtectedFile& entry, const struct stat& st, bool& changed, struct stat& read);

}  // namespace ZEMO::SELF_CHECK

#endif
