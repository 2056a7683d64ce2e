// A check list as a file: its individual lines, which merging by the library loses.

#ifndef ZEMO_TOOLS_SETS_LIST_FILE_H
#define ZEMO_TOOLS_SETS_LIST_FILE_H

#include <zemo/selfcheck.h>

#include <boost/shared_ptr.hpp>
#include <string>
#include <vector>

namespace tool {

inline const std::string listHeader = "WAM_SELF_CHECK";

// One line after the second. `entry` has the columns as written, with unresolved placeholders.
struct ListLine {
  std::size_t number = 0;  // counted from 1 in the file
  bool removal = false;
  bool complete = false;  // has seven columns
  boost::shared_ptr<ZEMO::SELF_CHECK::ProtectedFile> entry;
};

struct ListFile {
  std::string label;  // line 2
  std::vector<ListLine> lines;
};

// Reads the list at `path`. Throws Failure(STATUS_NOT_LOADED) if it cannot be read or is not a
// check list.
ListFile readListFile(const std::string& path);

// The same for `content`, which was read from `path`.
ListFile listIn(const std::string& content, const std::string& path);

// True if the line removes an entry of an earlier line.
inline bool isRemovalLine(const std::string& line) {
  return !line.empty() && line.front() == '-';
}

// The entry as a line of a list, without a line feed.
std::string entryLine(const ZEMO::SELF_CHECK::ProtectedFile& entry);

// The line that removes earlier entries of `path`, without a line feed.
std::string removalLine(const std::string& path);

}  // namespace tool

#endif
