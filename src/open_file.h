// Opening a file for reading, the way this library opens all of its files.

#ifndef ZEMO_SELFCHECK_SRC_OPEN_FILE_H
#define ZEMO_SELFCHECK_SRC_OPEN_FILE_H

#include <string>

namespace ZEMO::SELF_CHECK {

// Opens `path` for reading, close-on-exec, with the further `flags` of open(). Does not wait for
// the writer of a FIFO, but does wait for a program that holds a lease on a regular file, for up to
// a minute. Returns the descriptor, or -1.
int openFile(const std::string& path, int flags);

// Closes what openFile() has returned. A thread is not cancelled here.
void closeFile(int fd);

// True when `fd` is a regular file.
bool isRegularFile(int fd);

}  // namespace ZEMO::SELF_CHECK

#endif
