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
  // Failure(STATUS_NOT_LOADED) if it cannot be read, or if others than root and the caller can
  // change it.
  explicit Accepted(const std::string& file);

  // Returns true if the mismatch is accepted. A stray member is named by its own path. For one
  // thread at a time.
  bool covers(const ZEMO::SELF_CHECK::CheckError& error) const;

  // A hook that accepts an entry if all of its mismatches are covered. The hook refers to this
  // object.
  ZEMO::SELF_CHECK::FileList::Hook hook() const;

  // Says which paths of the file covers() has not needed; empty if it has needed all.
  std::string unused() const;

 private:
  struct Kinds {
    uint32_t bits = 0;       // 1 << CHECK_ERROR
    std::size_t number = 0;  // of the first line about them
    mutable bool used = false;
  };

  void add(const std::string& line, std::size_t number);

  std::string _file;
  // Keys: paths, and starts of paths with their slash.
  std::unordered_map<std::string, Kinds> _kinds;
};

// The path of a mismatch: a stray member's own path, or else the entry's.
std::string pathOf(const ZEMO::SELF_CHECK::CheckError& error);

}  // namespace tool

#endif
