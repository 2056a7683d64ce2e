// The SHA-1 of a file.

#ifndef ZEMO_SELFCHECK_SRC_PROTECTED_FILE_DIGEST_H
#define ZEMO_SELFCHECK_SRC_PROTECTED_FILE_DIGEST_H

#include <sys/stat.h>

#include <string>

namespace ZEMO::SELF_CHECK {

// Like calculateHash, for a path that was a regular file of `size` bytes a moment ago: fails,
// instead of following or waiting, when it has become anything else. Whatever `size` says, the file
// is read to its end. Stores in `read`, if given, the metadata that the file then has.
bool calculateRegularFileHash(const std::string& path, off_t size, std::string& digest,
                              struct stat* read = nullptr);

}  // namespace ZEMO::SELF_CHECK

#endif
