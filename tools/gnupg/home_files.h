// The files that GnuPG opens to verify lists.

#ifndef ZEMO_TOOLS_GNUPG_HOME_FILES_H
#define ZEMO_TOOLS_GNUPG_HOME_FILES_H

#include <string>
#include <vector>

namespace tool {

// GnuPG's home for all sets.
inline const std::string gnupgHome = "/usr/zemo/selfcheck";

// The paths of the files from which GnuPG may read options for this home and, in /etc/gnupg, for
// all homes, except those known not to exist. Which of them it reads depends on its version.
std::vector<std::string> optionFilesOf(const std::string& home);

// These and the paths of all other files in `home` that GnuPG may open to verify, except those
// known not to exist.
std::vector<std::string> gnupgFilesOf(const std::string& home);

// The paths of the files in `home` that GnuPG reads instead of gpg.conf, such as gpg.conf-2.2.
std::vector<std::string> otherConfigurationsIn(const std::string& home);

// irregular() of the first file that GnuPG, run as the library runs it, would open to verify
// `list`.
std::string irregularToVerify(const std::string& list);

}  // namespace tool

#endif
