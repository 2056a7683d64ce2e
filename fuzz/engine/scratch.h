// A directory for a target's files, which is removed when the process ends.

#ifndef ZEMO_FUZZ_ENGINE_SCRATCH_H
#define ZEMO_FUZZ_ENGINE_SCRATCH_H

#include <string>

namespace fuzz {

// One directory per process, created by the first call. The path does not end with a slash.
const std::string& scratch();

// Creates the directory, or empties an existing one.
void makeEmpty(const std::string& directory);

void writeFile(const std::string& path, const std::string& content);

}  // namespace fuzz

#endif
