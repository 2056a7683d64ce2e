// Files that can be opened without waiting: GnuPG and the library wait for the writer of a FIFO.

#ifndef ZEMO_TOOLS_COMMON_REGULAR_FILE_H
#define ZEMO_TOOLS_COMMON_REGULAR_FILE_H

#include <string>
#include <vector>

namespace tool {

// Why the file at `path` is not to be opened: "'PATH' is not a regular file". Empty if it is one or
// a link to one, and also if it does not exist or cannot be looked at, of which opening it tells.
std::string irregular(const std::string& path);

// The paths of the files that GnuPG may read options from, for this home and, in /etc/gnupg, for
// all homes; but those known not to exist. Which of them it reads depends on its version.
std::vector<std::string> optionFilesOf(const std::string& home);

// Those, and the paths of all other files in `home` that GnuPG may open to verify, but those known
// not to exist.
std::vector<std::string> gnupgFilesOf(const std::string& home);

// The paths of the files in `home` that GnuPG reads instead of gpg.conf: gpg.conf-2.2, for example.
std::vector<std::string> otherConfigurationsIn(const std::string& home);

// irregular() of the first file that GnuPG, run as the library does, would open to verify `list`.
std::string irregularToVerify(const std::string& list);

}  // namespace tool

#endif
