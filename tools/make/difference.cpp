#include "make/difference.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <set>

#include "io/exit_status.h"
#include "io/paths.h"
#include "io/regular_file.h"
#include "sets/list_file.h"

using namespace ZEMO::SELF_CHECK;

namespace tool {
namespace {

bool isRemoved(const std::string& path, const MakePlan& plan) {
  if (path.empty() || path.front() != '/')
    return false;  // a damaged line; doctor reports it
  return std::any_of(plan.trees.begin(), plan.trees.end(),
                     [&](const std::string& tree) { return isAtOrBelow(tree, path); }) ||
         std::any_of(plan.fixed.begin(), plan.fixed.end(),
                     [&](const std::string& fixed) {
                       return path != fixed && directoryOf(path) == fixed;
                     }) ||
         ((plan.from || plan.allDebs || !plan.debs.empty()) && isGone(path));
}

}  // namespace

bool isGone(const std::string& path) {
  struct stat status = {};
  return lstat(path.c_str(), &status) != 0 && (errno == ENOENT || errno == ENOTDIR);
}

void mergeBases(const MakePlan& plan, FileList& list) {
  for (const std::string& base : plan.bases) {
    std::string const reason = irregular(base);  // the library would wait for the writer of a FIFO
    if (!reason.empty())
      throw Failure(STATUS_NOT_LOADED, "base list " + reason);
    if (!list.parseList(base))
      throw Failure(STATUS_NOT_LOADED, "base list " + inQuotes(base) + " cannot be read");
  }
}

Difference differenceTo(const FileList::ProtectedFileMap& base, const std::vector<Described>& found,
                        const MakePlan& plan) {
  Difference difference;
  std::set<std::string> listed;
  for (const Described& described : found) {
    listed.insert(described.entry->_path);
    auto const before = base.find(described.entry->_path);
    if (before == base.end() || entryLine(*before->second) != entryLine(*described.entry))
      difference.entries.push_back(described);
  }
  for (const auto& [path, entry] : base) {
    if (listed.count(path) == 0 && isRemoved(path, plan))
      difference.removals.push_back(path);
  }
  return difference;
}

std::set<std::string> unlistedParents(const FileList::ProtectedFileMap& base,
                                      const std::vector<Described>& found,
                                      const std::string& packageDirectory) {
  std::set<std::string> listed;
  for (const auto& [path, entry] : base) {
    if (entry->_type == "d")
      listed.insert(path);
  }
  for (const Described& described : found) {
    if (described.entry->_type == "d")
      listed.insert(described.path);
    else
      listed.erase(described.path);
  }
  std::set<std::string> unlisted;
  for (const Described& described : found) {
    for (std::string above = directoryOf(described.path); above != "/" && above != ".";
         above = directoryOf(above)) {
      bool const isOfSystem = !packageDirectory.empty() && above != packageDirectory &&
                              isAtOrBelow(above, packageDirectory);
      if (!isOfSystem && listed.count(above) == 0 && !unlisted.insert(above).second)
        break;  // the directories above it were examined before
    }
  }
  return unlisted;
}

}  // namespace tool
