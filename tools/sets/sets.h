// The directories of sets, and the lists of a set.

#ifndef ZEMO_TOOLS_SETS_SETS_H
#define ZEMO_TOOLS_SETS_SETS_H

#include <map>
#include <string>
#include <vector>

#include "gnupg/home_files.h"

namespace tool {

inline const std::string systemSet = "wam";
inline const std::string systemDirectory = gnupgHome;
inline const std::string packagesDirectory = "/usr/zemo/selfcheck/packages";
inline const std::string defaultMode = "full";

// The directory with the lists and the `listorder` of the set `name`.
std::string setDirectory(const std::string& name);

// True if a set can have this name.
bool canNameSet(const std::string& name);

// Throws UsageError if a set or mode cannot have the name `name`: if it is empty, or contains a
// slash or a wildcard of the library's pattern matcher, or, for a mode, a dot.
void requireSetName(const std::string& name);
void requireModeName(const std::string& mode);

struct ChosenSets {
  std::vector<std::string> names;
  std::string unknown;  // why the packages' sets could not be found; else empty
};

// `named`, or the system's own set if `named` is empty; with `all`, the system's own set and those
// of packageDirectories(). If these cannot be read, the system's own set is still chosen.
// requireSetName() checks every name of `named`.
ChosenSets chosenSets(const std::vector<std::string>& named, bool all);

// The names of the directories in packagesDirectory in byte order, including dangling links and
// names that no set can have. Throws Failure if it cannot be read; if it does not exist, there are
// no sets.
std::vector<std::string> packageDirectories();

// The paths of the set's lists in the order in which the library reads them; none if canNameSet()
// is false.
std::vector<std::string> listsOf(const std::string& set, const std::string& mode);

// The paths of all lists of the mode in `directory`, of any set, in the order in which the library
// would read them there. Throws Failure(STATUS_NOT_LOADED) if the path has a wildcard of the
// library's pattern matcher or the directory cannot be read.
std::vector<std::string> listsIn(const std::string& directory, const std::string& mode);

// Why the set's directory cannot be read; empty if it can be read or does not exist.
std::string whyUnreadable(const std::string& set);

// Why listsOf() found none: whyUnreadable(), or that the directory has no lists of this mode.
std::string whyNoLists(const std::string& set, const std::string& mode);

// Why the library does not load these lists: the first that does not verify, if `verify` is true,
// or is not a check list. Empty if there is none now. Runs GnuPG.
std::string whyNotLoaded(const std::vector<std::string>& lists, bool verify);

// The unchanged lines of the file `listorder` in `directory`; none if it does not exist or is not a
// regular file. Throws Failure(STATUS_NOT_LOADED) if it cannot be read.
std::vector<std::string> orderLines(const std::string& directory);

// For every name in `lines`, the number (from 1) of the line that positions the list file `name`:
// the last that names it.
std::map<std::string, std::size_t> orderPositions(const std::vector<std::string>& lines);

// The middle of the list file's name: "base" of wam.full.base.list for the set "wam" and the mode
// "full". Also empty if the file is not named like a list of that set.
std::string listName(const std::string& path, const std::string& set, const std::string& mode);

// True if the last component of `path` matches SET.MODE.*.list.
bool isNamedLikeListOf(const std::string& path, const std::string& set, const std::string& mode);

// Removes the library's package binding, which would otherwise resolve the placeholders of the next
// set for the previous package.
void forgetPackage();

}  // namespace tool

#endif
