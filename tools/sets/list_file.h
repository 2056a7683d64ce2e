// A check list as a file: its lines one by one, which the library merges away.

#ifndef ZEMO_TOOLS_SETS_LIST_FILE_H
#define ZEMO_TOOLS_SETS_LIST_FILE_H

#include <zemo/selfcheck.h>

#include <boost/shared_ptr.hpp>
#include <string>
#include <vector>

namespace tool {

inline const std::string listHeader = "WAM_SELF_CHECK";

// One line after the second. `entry` has the columns as they are written, placeholders and all.
struct ListLine {
  std::size_t number = 0;  // in the file, from 1
  bool removal = false;
  bool complete = false;  // has its seven columns
  boost::shared_ptr<ZEMO::SELF_CHECK::ProtectedFile> entry;
};

struct ListFile {
  std::string label;  // line 2
  std::vector<ListLine> lines;
};

// Reads the list at `path`. Throws Failure(STATUS_NOT_LOADED) if it cannot be read or is no check
// list.
ListFile readListFile(const std::string& path);

// The same of what has been read from `path`.
ListFile listIn(const std::string& content, const std::string& path);

// The entry as a line of a list, without line feed.
std::string entryLine(const ZEMO::SELF_CHECK::ProtectedFile& entry);

}  // namespace tool

#endif
