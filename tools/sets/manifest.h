// The manifest of a set: which lists it has, in which order, and which version of each. Its form is
// described in zemo-selfcheck-list(5).

#ifndef ZEMO_TOOLS_SETS_MANIFEST_H
#define ZEMO_TOOLS_SETS_MANIFEST_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "sets/label.h"

namespace tool {

// The first line. The library rejects a manifest that is renamed to a list, because a list begins
// with another line.
inline const std::string manifestHeader = "WAM_SELF_CHECK_MANIFEST 1";

// A longer manifest is neither written nor read. It has room for more than ten thousand lists.
constexpr std::size_t longestManifest = 16 << 20;

struct ManifestLine {
  std::string digest;  // SHA-256 in lower-case hexadecimal digits
  uint64_t size = 0;
  std::optional<uint64_t> serial;  // in the list's second line; empty if that has another form
  std::string name;                // of the file, without its directory
};

struct Manifest {
  Label label;                      // `list` is empty
  std::vector<ManifestLine> lists;  // in the order in which they are to be read
};

// The name of the manifest's file: SET.MODE.manifest.
std::string manifestName(const std::string& set, const std::string& mode);

// The set and mode, in an otherwise empty label, whose manifest the file at `path` is by its name.
// Throws UsageError if it is not named like one.
Label labelOfManifest(const std::string& path);

// The line that describes a list with this file name and content.
ManifestLine manifestLine(const std::string& name, const std::string& content);

// The serial in the second line of a list that begins with `start`; empty if that is not a label.
std::optional<uint64_t> serialIn(std::string_view start);

std::string manifestText(const Manifest& manifest);

// The manifest of this set and mode with this text, which may come from anyone. Throws
// Failure(STATUS_NOT_LOADED), naming `path`, unless manifestText() would write exactly this text
// and it names at least one list, only lists of the set and mode, and none twice.
Manifest parseManifest(const std::string& text, const std::string& path, const std::string& set,
                       const std::string& mode);

}  // namespace tool

#endif
