// Where the sets of check lists lie, and which lists belong to one.

#ifndef ZEMO_TOOLS_SETS_SETS_H
#define ZEMO_TOOLS_SETS_SETS_H

#include <map>
#include <string>
#include <vector>

namespace tool {

inline const std::string systemSet = "wam";
inline const std::string systemDirectory = "/usr/zemo/selfcheck";  // and GnuPG's home for all sets
inline const std::string packagesDirectory = "/usr/zemo/selfcheck/packages";
inline const std::string defaultMode = "full";

// The directory that holds the lists and the `listorder` of the set `name`.
std::string setDirectory(const std::string& name);

// Whether a set can have this name.
bool canNameSet(const std::string& name);

// Throws UsageError if `name` is no name that a set or a mode can have: empty, with a slash, or
// with one of the characters that the library's pattern matcher takes for wildcards; a mode with a
// dot as well.
void requireSetName(const std::string& name);
void requireModeName(const std::string& mode);

struct ChosenSets {
  std::vector<std::string> names;
  std::string unknown;  // why nobody knows which sets of packages there are; else empty
};

// `named`, or the system's own set if that is empty; with `all`, the system's own and those of
// packageDirectories(). Where these cannot be read, the system's own is chosen all the same. Every
// name of `named` is checked by requireSetName().
ChosenSets chosenSets(const std::vector<std::string>& named, bool all);

// The names of the directories in packagesDirectory in byte order, also those that no set can have,
// and those of links to nothing. Throws Failure if it cannot be read; one that does not exist holds
// no sets.
std::vector<std::string> packageDirectories();

// The paths of the set's lists in the order in which the library reads them; none if canNameSet()
// does not hold.
std::vector<std::string> listsOf(const std::string& set, const std::string& mode);

// Why the set's directory cannot be read; empty if it can, or if there is none.
std::string whyUnreadable(const std::string& set);

// Why listsOf() has found none: that, or the directory has none of this mode.
std::string whyNoLists(const std::string& set, const std::string& mode);

// The lines of the file `listorder` in `directory`, as they are; none if there is none or it
// is not a regular file. Throws Failure(STATUS_NOT_LOADED) if it cannot be read.
std::vector<std::string> orderLines(const std::string& directory);

// The number of the line, from 1, that gives the list file `name` its place (the last that names
// it), for every name in `lines`.
std::map<std::string, std::size_t> orderPositions(const std::vector<std::string>& lines);

// The middle of the list file's name: "base" of wam.full.base.list for the set "wam" and the mode
// "full". Empty as well if it is not named like a list of that set.
std::string listName(const std::string& path, const std::string& set, const std::string& mode);

// True when the last component of `path` is SET.MODE.*.list.
bool isNamedLikeListOf(const std::string& path, const std::string& set, const std::string& mode);

// Takes back the package binding of the library, which would otherwise resolve the placeholders of
// the next set against the last package.
void forgetPackage();

}  // namespace tool

#endif
