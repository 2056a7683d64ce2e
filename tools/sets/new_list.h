// A list that a command writes: its name, its second line, and its place on disk.

#ifndef ZEMO_TOOLS_SETS_NEW_LIST_H
#define ZEMO_TOOLS_SETS_NEW_LIST_H

#include <optional>
#include <string>

#include "io/atomic_file.h"
#include "sets/label.h"
#include "sets/sets.h"

namespace tool {

// The arguments as given.
struct NewListOptions {
  std::string output;
  std::optional<std::string> package;
  std::string mode = defaultMode;
  std::optional<std::string> serial;
};

// Sets the date, now or SOURCE_DATE_EPOCH, and the serial, given or the date in seconds. Throws
// UsageError if either is not a number in range.
void stamp(Label& label, const std::optional<std::string>& serial);

// The label of the list. Throws UsageError if an argument is wrong, or if the output is not named
// like a list of its set or has no room for the name of a signature.
Label labelOf(const NewListOptions& options);

// True if both paths lead to the same file.
bool isSameFile(const std::string& one, const std::string& other);

// Throws Failure(STATUS_NOT_LOADED) if `output` cannot be written. Called before hours may be spent
// on a list that could not be written in the end.
void requireWritable(const std::string& output);

// Puts the list in its place at `path`, and says so if there is a signature that it no longer
// matches.
void commitList(AtomicFile& file, const std::string& path);

}  // namespace tool

#endif
