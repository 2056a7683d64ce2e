// The SHA-1 of a file.

#ifndef ZEMO_SELFCHECK_SRC_PROTECTED_FILE_DIGEST_H
#define ZEMO_SELFCHECK_SRC_PROTECTED_FILE_DIGEST_H

#include <string>

namespace ZEMO::SELF_CHECK {

// Like calculateHash, for a path that was a regular file a moment ago: fails, instead of following
// or waiting, when it has become anything else.
bool calculateRegularFileHash(const std::string& path, std::string& digest);

}  // namespace ZEMO::SELF_CHECK

#endif
