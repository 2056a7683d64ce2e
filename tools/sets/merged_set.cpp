#include "sets/merged_set.h"

#include <utility>

#include "gnupg/home_files.h"
#include "io/exit_status.h"
#include "sets/sets.h"

using namespace ZEMO::SELF_CHECK;

namespace tool {
namespace {

void verifyAll(const std::string& set, const FileList& files, const MergedSet& merged) {
  for (const std::string& list : merged.lists) {
    std::string const waiting = irregularToVerify(list);
    if (!waiting.empty())
      throw Failure(STATUS_NOT_LOADED, "set " + inQuotes(set) + " cannot be verified: " + waiting);
    if (!files.checkSign(list))
      throw Failure(STATUS_NOT_LOADED, "list " + inQuotes(list) + " does not verify");
  }
}

// The map's entries; those that are not in `before` come from `list`. `before` keeps its entries
// alive, so a new entry cannot have the address of an old one.
std::vector<MergedEntry> attributed(const FileList::ProtectedFileMap& files,
                                    const std::vector<MergedEntry>& before, std::size_t list) {
  std::vector<MergedEntry> entries;
  entries.reserve(files.size());
  auto old = before.begin();
  for (const auto& [path, entry] : files) {
    while (old != before.end() && old->entry != entry && old->entry->_path <= path)
      ++old;
    bool const known = old != before.end() && old->entry == entry;
    entries.push_back({entry, known ? old->list : list});
  }
  return entries;
}

}  // namespace

MergedSet mergedSet(const std::string& set, const std::string& mode, bool verify, Binding package) {
  forgetPackage();
  MergedSet merged;
  merged.lists = listsOf(set, mode);
  if (merged.lists.empty())
    throw Failure(STATUS_NOT_LOADED, whyNoLists(set, mode));
  // The list of a package would be bound again by the library.
  FileList files(package == nullptr ? set : systemSet, mode);
  if (package != nullptr)
    ProtectedFile::_pkginfo = *package;
  if (verify)
    verifyAll(set, files, merged);
  for (std::size_t i = 0; i < merged.lists.size(); ++i) {
    if (!files.parseList(merged.lists[i]))
      throw Failure(STATUS_NOT_LOADED, "cannot read list " + inQuotes(merged.lists[i]));
    merged.entries = attributed(*files.getProtectedFiles(), merged.entries, i);
  }
  return merged;
}

}  // namespace tool
