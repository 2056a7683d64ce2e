// Paths as texts. Nothing on disk is looked at.

#ifndef ZEMO_TOOLS_IO_PATHS_H
#define ZEMO_TOOLS_IO_PATHS_H

#include <string>

namespace tool {

// `name` in `directory`.
std::string joined(const std::string& directory, const std::string& name);

// The directory that `path` lies in; "/" for "/", "." for a path without a slash.
std::string directoryOf(const std::string& path);

// The part of `path` after its last slash.
std::string fileName(const std::string& path);

// `path` is `directory`, an absolute one without a slash at its end, or lies below it.
bool isAtOrBelow(const std::string& directory, const std::string& path);

}  // namespace tool

#endif
