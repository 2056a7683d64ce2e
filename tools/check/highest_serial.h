// The highest serial of each manifest that a check has accepted, so that a set that is put back as
// a whole is noticed. One file for each set and mode, SET.MODE.serial, holds it as a decimal
// number.

#ifndef ZEMO_TOOLS_CHECK_HIGHEST_SERIAL_H
#define ZEMO_TOOLS_CHECK_HIGHEST_SERIAL_H

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace tool {

// The serials that `directory` has for these sets, by set. Throws Failure(STATUS_NOT_LOADED) if
// users other than root and the caller can change it, or if it or one of the files cannot be read.
std::map<std::string, uint64_t> highestSerials(const std::string& directory,
                                               const std::vector<std::string>& sets,
                                               const std::string& mode);

// Remembers `serial` if it is higher than what the directory has now or, with `evenLower`, if it is
// another. Throws Failure(STATUS_NOT_LOADED) if it cannot be written.
void rememberSerial(const std::string& directory, const std::string& set, const std::string& mode,
                    uint64_t serial, bool evenLower);

}  // namespace tool

#endif
