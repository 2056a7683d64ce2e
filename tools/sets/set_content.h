// The files of one set and mode as data: those that are installed, and those that are going to be.

#ifndef ZEMO_TOOLS_SETS_SET_CONTENT_H
#define ZEMO_TOOLS_SETS_SET_CONTENT_H

#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "sets/differences.h"

namespace tool {

// A longer list is neither installed nor compared. A list of a million entries has 0.1 GB.
constexpr std::size_t longestList = std::size_t{1} << 30U;

inline const std::string orderName = "listorder";

// Where a command changes a set.
struct SetPlace {
  std::string set;
  std::string mode;
  std::string top;        // laid out like /usr/zemo/selfcheck
  std::string directory;  // of the set: `top` or a directory below it
  std::string leadsTo;    // `top` without links
};

// The place of the set on this machine, below the directory `root`, or in the directory `lists`,
// which is laid out like /usr/zemo/selfcheck. Nothing needs to exist there yet. Throws UsageError
// for both options, and Failure(STATUS_NOT_LOADED) if the place is reached through a link, or if
// users other than root and the caller could change it.
SetPlace placeOf(const std::string& set, const std::string& mode,
                 const std::optional<std::string>& root, const std::optional<std::string>& lists);

// Examines the place again once it exists, because others may have made it: above a place that does
// not exist yet may be a directory with the sticky bit. Throws Failure(STATUS_NOT_LOADED).
void requireOwnStill(const SetPlace& place);

// The lists, signatures and manifest of one set and mode, and the order of the set.
struct SetContent {
  // By name; empty if it is not a regular file, or cannot be read.
  std::map<std::string, std::optional<std::string>> files;
  std::vector<std::string> lists;  // names, in the order in which the library reads them

  // True if it is what an interrupted replacement left, which does not load.
  bool unfinished = false;
};

// The name of an empty list without signature. While it is there, the set does not load.
std::string blockerName(const std::string& set, const std::string& mode);

// True if it is among the lists with these paths.
bool hasBlocker(const std::vector<std::string>& lists, const std::string& set,
                const std::string& mode);

// True if a file with this name is a list, signature, manifest or order of this set and mode.
bool isFileOf(const std::string& name, const std::string& set, const std::string& mode);

// The files in `directory`, which need not exist. Throws Failure(STATUS_NOT_LOADED) if it, or the
// order in it, cannot be read.
SetContent contentIn(const std::string& directory, const std::string& set, const std::string& mode);

// Differs whenever another directory, or another file of the set, is in its place.
std::string versionOf(const std::string& directory, const std::string& set,
                      const std::string& mode);

// Changes the order in `content.files` so that `content.lists` are read in their order. Lines for
// other modes, and lines that name no list, stay as they are.
void orderLists(SetContent& content, const std::string& set, const std::string& mode);

// The statements of all lists together, with unresolved placeholders. Lists that cannot be read
// state nothing.
Side statementsOf(const SetContent& content);

}  // namespace tool

#endif
