// The highest serial of each manifest that a check has accepted, so that a set that is put back as
// a whole is noticed. One file for each set and mode, SET.MODE.serial, holds it as a decimal
// number.

#ifndef ZEMO_TOOLS_SETS_HIGHEST_SERIAL_H
#define ZEMO_TOOLS_SETS_HIGHEST_SERIAL_H

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace tool {

// Used if no other directory is given. Only root can create it or give it to another user.
inline const std::string serialDirectory = "/var/lib/zemo-selfcheck";

// The path of the file with the serial.
std::string serialFile(const std::string& directory, const std::string& set,
                       const std::string& mode);

// The serials before a check.
struct KnownSerials {
  std::map<std::string, uint64_t> highest;  // by set; none if nothing has been remembered
  std::string unused;       // why the directory could not be read; names are escaped
  bool mayRemember = true;  // false if the directory is for another user to write to
};

// The serials that `directory` has for these sets. Throws Failure(STATUS_NOT_LOADED) if users other
// than root, the caller and, for serialDirectory, its owner can change it, or if it or one of the
// files cannot be read; but not if serialDirectory does not exist, or if a caller other than root
// cannot read it.
KnownSerials knownSerials(const std::string& directory, const std::vector<std::string>& sets,
                          const std::string& mode);

// The same for serialDirectory and a command that only looks. Never throws: `unused` says why
// nothing is known.
KnownSerials serialsToCompare(const std::vector<std::string>& sets, const std::string& mode);

// Remembers `serial` if it is higher than what the directory has now or, with `evenLower`, if it is
// another. Creates serialDirectory. Throws Failure(STATUS_NOT_LOADED) if it cannot be written.
void rememberSerial(const std::string& directory, const std::string& set, const std::string& mode,
                    uint64_t serial, bool evenLower);

}  // namespace tool

#endif
