// A set as the library merges it, and each entry's list.

#ifndef ZEMO_TOOLS_SETS_MERGED_SET_H
#define ZEMO_TOOLS_SETS_MERGED_SET_H

#include <zemo/selfcheck.h>

#include <boost/shared_ptr.hpp>
#include <string>
#include <vector>

namespace tool {

struct MergedEntry {
  boost::shared_ptr<ZEMO::SELF_CHECK::ProtectedFile> entry;  // never null
  std::size_t list = 0;                                      // index in MergedSet::lists
};

struct MergedSet {
  std::vector<std::string> lists;    // paths, in reading order
  std::vector<MergedEntry> entries;  // in byte order of paths; placeholders are resolved
};

// Makes the placeholders of the set's lists stand for this package; null if the library is to bind
// that of this machine.
using Binding = const ZEMO::SELF_CHECK::PkgInfo*;

// Finds the set's lists, verifies all of them if `verify` is true, and merges them. First removes
// the binding of a previous package; the binding of the set's own package stays. Throws
// Failure(STATUS_NOT_LOADED) if there is no list, or one does not verify or parse; the library has
// logged the reason.
MergedSet mergedSet(const std::string& set, const std::string& mode, bool verify,
                    Binding package = nullptr);

// The same for the lists in `directory`, which is laid out like that of an installed set; their
// placeholders are not resolved. Also throws if they are lists of several sets.
MergedSet mergedDirectory(const std::string& directory, const std::string& mode, bool verify);

}  // namespace tool

#endif
