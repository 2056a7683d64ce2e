#include "doctor/fixed_directories.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>

namespace tool {
namespace {

using Entries = std::vector<MergedEntry>;

Entries::const_iterator firstNotBefore(const Entries& entries, const std::string& path) {
  return std::lower_bound(entries.begin(), entries.end(), path,
                          [](const MergedEntry& element, const std::string& text) {
                            return element.entry->_path < text;
                          });
}

bool isListed(const Entries& entries, const std::string& path) {
  auto const found = firstNotBefore(entries, path);
  return found != entries.end() && found->entry->_path == path;
}

// Adds the entries next to `directory` whose paths continue its path and so allow more names in it.
void addLooseChildren(const Entries& entries, const std::string& directory, Repeated& loose) {
  std::string const inside = directory + "/";
  auto element = firstNotBefore(entries, directory);
  while (element != entries.end() &&
         element->entry->_path.compare(0, directory.size(), directory) == 0) {
    const std::string& path = element->entry->_path;
    std::size_t const slash = path.find('/', directory.size());
    if (slash != std::string::npos) {
      // Its members and everything below other members are skipped as a whole.
      std::string behind = path.substr(0, slash);
      behind += static_cast<char>('/' + 1);
      element = firstNotBefore(entries, behind);
      continue;
    }
    std::string const name = path.substr(path.rfind('/') + 1);
    if (path.size() > directory.size() && !isListed(entries, inside + name))
      loose.add("the FIXED directory " + inQuotes(directory) + " may hold " + inQuotes(name) +
                " because of the entry for " + inQuotes(path) + " next to it");
    ++element;
  }
}

}  // namespace

void checkFixedDirectories(const std::string& set, const MergedSet& merged, Findings& findings) {
  Repeated types;
  Repeated kinds;
  Repeated hidden;
  Repeated loose;
  for (const MergedEntry& element : merged.entries) {
    const std::string& path = element.entry->_path;
    if (element.entry->_hash != "FIXED" || path.empty())
      continue;
    std::string const& type = element.entry->_type;
    if (type != "d" && type != "-")
      types.add("the entry for " + inQuotes(path) + " is FIXED, but its type is " + inQuotes(type) +
                ", in " + inQuotes(merged.lists[element.list]));
    struct stat status = {};
    if (lstat(path.c_str(), &status) == 0) {
      if (!S_ISDIR(status.st_mode))
        kinds.add(inQuotes(path) + " is not a directory, but its entry in " +
                  inQuotes(merged.lists[element.list]) + " is FIXED");
    } else if (errno != ENOENT && errno != ENOTDIR) {
      hidden.add(withReason("cannot examine FIXED directory " + inQuotes(path), errno));
    }
    if (path.back() != '/')
      addLooseChildren(merged.entries, path, loose);
  }
  std::string const prefix = "set " + inQuotes(set);
  findings.problems(STATUS_UNCHECKED, types, "give these entries the type d, and sign the lists",
                    prefix + " has FIXED entries only for directories");
  findings.problems(STATUS_UNCHECKED, kinds,
                    "write FIXED only for directories, not for links to them, and sign the lists",
                    prefix + " has no FIXED entry for something of another type on disk");
  findings.problems(STATUS_UNCHECKED, hidden, "run this as root",
                    prefix + " has FIXED directories that can be examined");
  findings.problems(STATUS_UNCHECKED, loose,
                    "move one of the two entries to another set, rename one of them, or look for "
                    "members of that name yourself",
                    prefix + " has no FIXED directory that takes names from entries next to it");
}

}  // namespace tool
