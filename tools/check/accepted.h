// Known mismatches that the administrator accepts.
//
// The file has one line per mismatch: a path, or the start of paths ending in a slash, optionally
// followed by a TAB and the kinds of mismatch, separated by commas (size, owner, group, type,
// permission, hash, missing, stray; all kinds by default). Paths are written as this program prints
// them (text/escape.h). Empty lines and lines that begin with # are ignored.

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

  // Reads the file. Throws Failure(STATUS_USAGE), naming the line, if its form is wrong, and
  // Failure(STATUS_NOT_LOADED) if it cannot be read.
  explicit Accepted(const std::string& file);

  // Returns true if the mismatch is accepted. A stray member is named by its own path.
  bool covers(const ZEMO::SELF_CHECK::CheckError& error) const;

  // A hook that accepts an entry if all of its mismatches are covered. The hook refers to this
  // object.
  ZEMO::SELF_CHECK::FileList::Hook hook() const;

 private:
  void add(const std::string& line, const std::string& where);

  // Keys: paths, and starts of paths with their slash. Values: bits 1 << CHECK_ERROR.
  std::unordered_map<std::string, uint32_t> _kinds;
};

// The path of a mismatch: a stray member's own path, or else the entry's.
std::string pathOf(const ZEMO::SELF_CHECK::CheckError& error);

}  // namespace tool

#endif
