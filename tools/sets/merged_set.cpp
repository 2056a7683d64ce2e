#include "sets/merged_set.h"

#include <utility>

#include "gnupg/home_files.h"
#include "io/exit_status.h"
#include "io/paths.h"
#include "io/regular_file.h"
#include "sets/sets.h"

using namespace ZEMO::SELF_CHECK;

namespace tool {
namespace {

// `what` names the set, as the start of a sentence.
void verifyAll(const std::string& what, const FileList& files, const MergedSet& merged) {
  for (const std::string& list : merged.lists) {
    std::string const waiting = irregularToVerify(list);
    if (!waiting.empty())
      throw Failure(STATUS_NOT_LOADED,
                    std::string(what).append(" cannot be verified: ").append(waiting));
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

void mergeAll(FileList& files, MergedSet& merged) {
  for (std::size_t i = 0; i < merged.lists.size(); ++i) {
    if (!files.parseList(merged.lists[i]))
      throw Failure(STATUS_NOT_LOADED, "cannot read list " + inQuotes(merged.lists[i]));
    merged.entries = attributed(*files.getProtectedFiles(), merged.entries, i);
  }
}

// The set whose list, of this mode, the file is by its name. A mode has no dot.
std::string setOfList(const std::string& path, const std::string& mode) {
  std::string const name = fileName(path);
  return name.substr(0, name.find("." + mode + "."));
}

void requireOneSet(const std::string& directory, const std::string& mode,
                   const std::vector<std::string>& lists) {
  for (const std::string& list : lists) {
    std::string const set = setOfList(lists.front(), mode);
    if (setOfList(list, mode) != set)
      throw Failure(STATUS_NOT_LOADED, inQuotes(directory) + " has lists of the sets " +
                                           inQuotes(set) + " and " +
                                           inQuotes(setOfList(list, mode)));
    std::string const reason = irregular(list);
    if (!reason.empty())
      throw Failure(STATUS_NOT_LOADED, reason);  // reading a FIFO would wait for its writer
  }
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
    verifyAll("set " + inQuotes(set), files, merged);
  mergeAll(files, merged);
  return merged;
}

MergedSet mergedDirectory(const std::string& directory, const std::string& mode, bool verify) {
  forgetPackage();
  MergedSet merged;
  merged.lists = listsIn(directory, mode);
  if (merged.lists.empty())
    throw Failure(STATUS_NOT_LOADED,
                  inQuotes(directory) + " has no list for mode " + inQuotes(mode));
  requireOneSet(directory, mode, merged.lists);
  FileList files(systemSet, mode);  // binds no package
  if (verify)
    verifyAll("the set in " + inQuotes(directory), files, merged);
  mergeAll(files, merged);
  return merged;
}

}  // namespace tool
