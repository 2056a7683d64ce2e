// Opening files for reading; the library opens all of its files this way.

#ifndef ZEMO_SELFCHECK_SRC_OPEN_FILE_H
#define ZEMO_SELFCHECK_SRC_OPEN_FILE_H

#include <string>

namespace ZEMO::SELF_CHECK {

// Opens `path` for reading, close-on-exec, with the additional `flags` of open(). Does not wait for
// the writer of a FIFO, but waits up to a minute for a program that holds a lease on a regular
// file. Returns the descriptor, or -1.
int openFile(const std::string& path, int flags);

// Closes a descriptor from openFile(). Not a cancellation point.
void closeFile(int fd);

// True if `fd` is a regular file.
bool isRegularFile(int fd);

}  // namespace ZEMO::SELF_CHECK

#endif
