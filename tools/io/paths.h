// Paths as texts, without access to the disk.

#ifndef ZEMO_TOOLS_IO_PATHS_H
#define ZEMO_TOOLS_IO_PATHS_H

#include <string>

namespace tool {

// `name` in `directory`.
std::string joined(const std::string& directory, const std::string& name);

// The directory that contains `path`; "/" for "/", "." for a path without a slash.
std::string directoryOf(const std::string& path);

// The part of `path` after its last slash.
std::string fileName(const std::string& path);

// True if `path` is `directory`, which is absolute and has no trailing slash, or is below it.
bool isAtOrBelow(const std::string& directory, const std::string& path);

}  // namespace tool

#endif
