// The steps of loading, which the load of a whole set and that for named files have in common.

#ifndef ZEMO_SELFCHECK_SRC_FILE_LIST_LOADING_H
#define ZEMO_SELFCHECK_SRC_FILE_LIST_LOADING_H

#include <zemo/selfcheck/file_list.h>

#include <string>
#include <string_view>
#include <vector>

namespace ZEMO::SELF_CHECK {

// The content column of a directory with fixed members.
inline constexpr std::string_view fixedMark = "FIXED";

// The pattern of the list files of a set whose directory is `listDir`.
std::string listPattern(const std::string& listDir, const std::string& set,
                        const std::string& mode);

// Verifies each of `lists` as `set` does, and stops at the first that does not verify.
bool verifyLists(const FileList& set, const std::vector<std::string>& lists);

// Receives every line of a list after the second.
class Lines {
 public:
  Lines() = default;
  Lines(const Lines&) = delete;
  Lines& operator=(const Lines&) = delete;
  virtual ~Lines() = default;
  virtual void add(const std::string& line) = 0;
};

// Whether `line` removes an entry from the set instead of adding one.
inline bool isRemoval(const std::string& line) {
  return !line.empty() && line.front() == '-';
}

// Reads a list of the set `set`, whose package it first binds. See FileList::parseList() for the
// failures, after which `lines` has received nothing.
bool readList(const std::string& list, const std::string& set, Lines& lines);

// Reads several lists, and stops at the first that cannot be read.
bool readLists(const std::vector<std::string>& lists, const std::string& set, Lines& lines);

}  // namespace ZEMO::SELF_CHECK

#endif
