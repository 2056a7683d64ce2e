// Reading names from a file or standard input.

#ifndef ZEMO_TOOLS_IO_NAMES_INPUT_H
#define ZEMO_TOOLS_IO_NAMES_INPUT_H

#include <string>
#include <vector>

namespace tool {

// The names in the file `from`, or in standard input for "-": one per line or, with `nul`, each
// ended by a zero byte. The last may lack its end; empty names are ignored. Throws Failure if the
// input cannot be read.
std::vector<std::string> readNames(const std::string& from, bool nul);

// The same for lines, including empty ones.
std::vector<std::string> readLines(const std::string& from);

// The same. Throws Failure also if the file is a link, or if users other than root and the caller
// can change or replace it.
std::vector<std::string> readOwnLines(const std::string& from);

}  // namespace tool

#endif
