// The differences that somebody knows and accepts.
//
// The file has one line for each: a path, or the start of paths ending in a slash, and optionally,
// after a TAB, the kinds of mismatch, separated by commas (size, owner, group, type, permission,
// hash, missing, stray; without them all). Paths are written as this program prints them
// (text/escape.h). Empty lines, and lines that begin with #, are passed over.

#ifndef ZEMO_TOOLS_CHECK_ACCEPTED_H
#define ZEMO_TOOLS_CHECK_ACCEPTED_H

#include <zemo/selfcheck.h>

#include <cstdint>
#include <string>
#include <unordered_map>

namespace tool {

class Accepted {
 public:
  // Accepts nothing.
  Accepted() = default;

  // Reads the file. Throws Failure(STATUS_USAGE), naming the line, if it is not of that form, and
  // Failure(STATUS_NOT_LOADED) if it cannot be read.
  explicit Accepted(const std::string& file);

  // The mismatch is accepted. A stray member is named by its own path.
  bool covers(const ZEMO::SELF_CHECK::CheckError& error) const;

  // Accepts an entry all of whose mismatches are covered. Refers to this object.
  ZEMO::SELF_CHECK::FileList::Hook hook() const;

 private:
  void add(const std::string& line, const std::string& where);

  // The bits are 1 << CHECK_ERROR; the keys are paths, and starts of paths with their slash.
  std::unordered_map<std::string, uint32_t> _kinds;
};

// The path that a mismatch is about: a stray member's own, or that of the entry.
std::string pathOf(const ZEMO::SELF_CHECK::CheckError& error);

}  // namespace tool

#endif
