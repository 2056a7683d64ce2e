// A directory for a target's files that goes when the process ends.

#ifndef ZEMO_FUZZ_ENGINE_SCRATCH_H
#define ZEMO_FUZZ_ENGINE_SCRATCH_H

#include <string>

namespace fuzz {

// One a process, made at the first call. The path has no slash at its end.
const std::string& scratch();

// Makes the directory, or empties it of all that it holds.
void makeEmpty(const std::string& directory);

void writeFile(const std::string& path, const std::string& content);

}  // namespace fuzz

#endif
