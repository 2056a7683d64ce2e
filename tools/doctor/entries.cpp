#include "doctor/entries.h"

#include <boost/algorithm/string/replace.hpp>
#include <unordered_map>

#include "doctor/columns.h"
#include "io/paths.h"
#include "sets/sets.h"
#include "text/strings.h"

using ZEMO::SELF_CHECK::ProtectedFile;

namespace tool {
namespace {

const char* const directoryPlaceholder = "$pkg_dir";

bool contains(const std::string& text, const char* part) {
  return text.find(part) != std::string::npos;
}

// True if realpath() would change `path`, even without links.
bool isUnusual(const std::string& path) {
  return path.front() != '/' || (path.size() > 1 && path.back() == '/') || contains(path, "//") ||
         contains(path, "/./") || contains(path, "/../") || endsWith(path, "/.") ||
         endsWith(path, "/..");
}

// In owner and group, where an account of that name is unlikely.
bool hasIdPlaceholder(const ProtectedFile& entry) {
  auto const isId = [](const std::string& id) { return id == "$pkg" || id == "$pkg_sys"; };
  return isId(entry._owner) || isId(entry._group);
}

// In a path or a link's target, where a file may really have that name.
bool hasDirectoryPlaceholder(const ProtectedFile& entry) {
  return contains(entry._path, directoryPlaceholder) ||
         (entry._type == "l" && contains(entry._hash, directoryPlaceholder));
}

class EntryCheck {
 public:
  explicit EntryCheck(const SetFiles& files) : _files(files) {
    for (const std::string& list : files.lists)
      _ordered.push_back(files.orderPosition.count(fileName(list)) != 0);
  }

  void run() {
    for (std::size_t list = 0; list < _files.lists.size(); ++list) {
      if (!_files.contents[list])
        continue;
      for (const ListLine& line : _files.contents[list]->lines)
        judge(list, line);
    }
  }

  void tell(Findings& findings) const {
    std::string const set = "set " + inQuotes(_files.set);
    findings.problems(STATUS_UNCHECKED, _short,
                      "give these lines all seven columns, or delete them, and sign the lists",
                      set + " has no lines with fewer than seven columns");
    findings.problems(STATUS_UNCHECKED, _empty,
                      "give these lines a path, or delete them, and sign the lists",
                      set + " has no empty paths");
    findings.problems(STATUS_UNCHECKED, _unusual,
                      "write these paths as 'realpath -sm' prints them, and sign the lists",
                      set + " has only normalized absolute paths");
    findings.problems(STATUS_UNCHECKED, _placeholders,
                      "replace the placeholders, or move these lines to the package's own set, and "
                      "sign the lists",
                      set + " has no unresolved placeholders");
    findings.problems(
        STATUS_UNCHECKED, _columns,
        "write these columns as zemo-selfcheck-list(5) says, or -, and sign the lists",
        set + " has no columns with impossible values");
    for (const std::string& what : _literal.first())
      findings.well(what);
    findings.problems(STATUS_UNCHECKED, _duplicates,
                      "delete all but the intended line, and sign the lists",
                      set + " has no list that names a path twice");
    findings.problems(
        STATUS_UNCHECKED, _byteOrder,
        "name these lists in the right order in " + shellWord(_files.directory + "/listorder"),
        set + " has no path that depends on the byte order of list names");
    findings.problems(STATUS_UNCHECKED, _useless,
                      "delete these lines and sign the lists, or correct the lists' order",
                      set + " has no removal lines that remove nothing");
  }

 private:
  struct Place {
    std::size_t list;
    std::size_t line;
  };

  std::string where(Place place) const {
    return "line " + std::to_string(place.line) + " of " + inQuotes(_files.lists[place.list]);
  }

  std::string resolved(const std::string& path) const {
    if (_files.set == systemSet)
      return path;
    return boost::algorithm::replace_all_copy(path, directoryPlaceholder,
                                              "/var/packages/" + _files.set + "/target");
  }

  void judge(std::size_t list, const ListLine& line) {
    Place const place{list, line.number};
    if (!line.complete) {
      _short.add(where(place) + " has fewer than seven columns" +
                 (line.removal ? "" : ", and counts as an entry without a path"));
      return;
    }
    if (line.entry->_path.empty()) {
      _empty.add(where(place) + " has an empty path");
      return;
    }
    std::string const path = resolved(line.entry->_path);
    std::string const quotedPath = inQuotes(path) + ", " + where(place) + ", ";
    if (isUnusual(path))
      _unusual.add(quotedPath + "is not a path by which callers look up files");
    if (_files.set == systemSet && hasIdPlaceholder(*line.entry))
      _placeholders.add(quotedPath +
                        "has a placeholder, which is resolved only in a package's set");
    else if (_files.set == systemSet && hasDirectoryPlaceholder(*line.entry))
      _literal.add(quotedPath +
                   "has '$pkg_dir' as part of a name, because only a package's set resolves it");
    if (line.removal) {
      remove(path, place);
      return;
    }
    for (const std::string& wrong : wrongColumns(*line.entry))
      _columns.add(std::string(quotedPath).append("states an impossible value: ").append(wrong));
    put(path, place);
  }

  void put(const std::string& path, Place place) {
    auto const [known, isNew] = _places.emplace(path, place);
    if (isNew)
      return;
    if (known->second.list == place.list)
      _duplicates.add(inQuotes(path) + " appears twice in one list, on " + where(known->second) +
                      " and on " + where(place));
    else
      judgeOverride(path, known->second, place);
    known->second = place;
  }

  void remove(const std::string& path, Place place) {
    auto const known = _places.find(path);
    if (known == _places.end()) {
      _useless.add("the removal of " + inQuotes(path) + ", " + where(place) + ", removes nothing");
      return;
    }
    if (known->second.list != place.list)
      judgeOverride(path, known->second, place);
    _places.erase(known);
  }

  void judgeOverride(const std::string& path, Place before, Place after) {
    if (!_ordered[before.list] && !_ordered[after.list])
      _byteOrder.add("for " + inQuotes(path) + ", " + where(after) + " overrides " + where(before) +
                     " only because of the lists' names: listorder names neither list");
  }

  const SetFiles& _files;
  std::vector<bool> _ordered;                      // per list: `listorder` names it
  std::unordered_map<std::string, Place> _places;  // the last statement of a path
  Repeated _short;
  Repeated _empty;
  Repeated _unusual;
  Repeated _placeholders;
  Repeated _columns;
  Repeated _literal;
  Repeated _duplicates;
  Repeated _byteOrder;
  Repeated _useless;
};

}  // namespace

void checkEntries(const SetFiles& files, Findings& findings) {
  EntryCheck check(files);
  check.run();
  check.tell(findings);
}

}  // namespace tool
