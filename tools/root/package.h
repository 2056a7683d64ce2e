// The packages of another root: what the placeholders of their lists stand for, and their sets.

#ifndef ZEMO_TOOLS_ROOT_PACKAGE_H
#define ZEMO_TOOLS_ROOT_PACKAGE_H

#include <zemo/selfcheck.h>

#include <string>

#include "root/tree.h"
#include "sets/merged_set.h"

namespace tool {

// The file from which the ids of packages' users are read. No other source of the other root is
// asked, whatever its configuration says.
inline const std::string passwordFile = "/etc/passwd";

// The binding that the library would make for the installed package `name` if it ran in `root`.
// Throws Failure(STATUS_NOT_LOADED) if the package is not installed there or its user is not known.
ZEMO::SELF_CHECK::PkgInfo packageIn(const Tree& root, const std::string& name);

// Loads the set of the package `name`, whose lists have been put in place, into `files`, which must
// be an empty list of the system's own set: the library would bind a package's set to the package
// of this machine. Returns false if there is no list, or one does not verify or parse; the library
// has logged the reason, or it is on standard error.
bool loadPackageSet(const Tree& root, ZEMO::SELF_CHECK::FileList& files, const std::string& name,
                    const std::string& mode, bool verify);

// mergedSet(), with the placeholders of a package as it is installed in `root`; null: on this
// machine.
MergedSet mergedSetOf(const Tree* root, const std::string& set, const std::string& mode,
                      bool verify);

}  // namespace tool

#endif
