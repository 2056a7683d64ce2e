// Names read from a file or standard input.

#ifndef ZEMO_TOOLS_IO_NAMES_INPUT_H
#define ZEMO_TOOLS_IO_NAMES_INPUT_H

#include <string>
#include <vector>

namespace tool {

// The names in the file `from`, or in standard input for "-": one a line, or, with `nul`, each
// ended by a zero byte. The last may lack its end; empty names are left out. Throws Failure if it
// cannot be read.
std::vector<std::string> readNames(const std::string& from, bool nul);

// The same for lines, of which empty ones count, too.
std::vector<std::string> readLines(const std::string& from);

}  // namespace tool

#endif
