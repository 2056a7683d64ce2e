// The SHA-1 of a file.

#ifndef ZEMO_SELFCHECK_SRC_PROTECTED_FILE_DIGEST_H
#define ZEMO_SELFCHECK_SRC_PROTECTED_FILE_DIGEST_H

#include <sys/stat.h>

#include <string>

namespace ZEMO::SELF_CHECK {

// Like calculateHash(), for a path that was a regular file of `size` bytes a moment ago: if
// anything else has replaced it, fails instead of following it or waiting. Reads the file to its
// end, whatever `size` is. If `read` is given, stores there the file's metadata after reading.
bool calculateRegularFileHash(const std::string& path, off_t size, std::string& digest,
                              struct stat* read = nullptr);

}  // namespace ZEMO::SELF_CHECK

#endif
