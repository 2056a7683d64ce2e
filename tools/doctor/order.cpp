#include "doctor/order.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <set>

#include "io/paths.h"
#include "sets/sets.h"
#include "text/strings.h"

namespace tool {
namespace {

const char* const blanks = " \t\r\v\f";

std::string withoutBlanks(const std::string& text) {
  std::size_t const first = text.find_first_not_of(blanks);
  if (first == std::string::npos)
    return "";
  return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

class OrderCheck {
 public:
  OrderCheck(const SetFiles& files, Findings& findings) : _files(files), _findings(findings) {
    for (const std::string& list : files.lists)
      _names.insert(fileName(list));
  }

  std::string path() const { return _files.directory + "/listorder"; }

  void missing() {
    if (_files.lists.size() < 2) {
      _findings.well("set " + inQuotes(_files.set) + " has a single list and needs no listorder");
      return;
    }
    constexpr std::size_t most = 50;
    std::string words;
    for (const std::string& name : _names)
      words += " " + shellWord(name);
    _findings.problem(
        STATUS_UNCHECKED,
        inQuotes(path()) + " does not exist, so " + std::to_string(_names.size()) +
            " lists are read in the byte order of their names, and the last one overrides the "
            "others",
        _names.size() > most
            ? "write the lists' names into that file, one per line, overriding lists last"
            : "printf '%s\\n'" + words + " >" + shellWord(path()));
  }

  void lines() {
    std::map<std::string, std::vector<std::string>> numbers;  // of the lines with a name, by name
    std::set<std::string> repeated;
    for (std::size_t i = 0; i < _files.orderLines.size(); ++i) {
      std::string const& line = _files.orderLines[i];
      if (line.empty())
        continue;  // allowed, but has no effect
      std::vector<std::string>& known = numbers[line];
      if (!known.empty())
        repeated.insert(line);
      known.push_back(std::to_string(i + 1));
      judge(line, i + 1);
    }
    for (const std::string& name : repeated)
      _repeated.add(inQuotes(name) + " appears on lines " + listed(numbers[name]) + " of " +
                    inQuotes(path()) + ", and the last of them counts");
    tell();
  }

  void unnamed() {
    bool const namesAny = std::any_of(_names.begin(), _names.end(), [this](const auto& name) {
      return _files.orderPosition.count(name) != 0;
    });
    if (!namesAny && _names.size() < 2) {
      _findings.well("set " + inQuotes(_files.set) + " has a single list and needs no order");
      return;
    }
    Repeated unnamed;
    for (std::size_t i = 0; i < _files.lists.size(); ++i) {
      std::string const name = fileName(_files.lists[i]);
      if (_files.orderPosition.count(name) == 0)
        unnamed.add(inQuotes(path()) + " does not name " + inQuotes(name) +
                    (namesAny
                         ? ", which is read before all lists that it names, so they override its " +
                               entriesOf(i)
                         : ", nor any other list of set " + inQuotes(_files.set)));
    }
    _findings.problems(STATUS_UNCHECKED, unnamed,
                       "write each name on its own line, at its place, in " + shellWord(path()),
                       inQuotes(path()) + " names every list of set " + inQuotes(_files.set));
  }

 private:
  std::string entriesOf(std::size_t list) const {
    if (!_files.contents[list])
      return "entries";
    return counted(_files.contents[list]->lines.size(), "entry", "entries");
  }

  bool namesFile(const std::string& name) const {
    if (_names.count(name) != 0)
      return true;
    // A list of another mode.
    std::string const start = _files.set + ".";
    std::string const end = ".list";
    struct stat status = {};
    return name.find('/') == std::string::npos && name.size() > start.size() + end.size() &&
           name.compare(0, start.size(), start) == 0 &&
           name.compare(name.size() - end.size(), end.size(), end) == 0 &&
           stat((_files.directory + "/" + name).c_str(), &status) == 0;
  }

  void judge(const std::string& line, std::size_t number) {
    if (namesFile(line))
      return;
    std::string const where =
        "line " + std::to_string(number) + " of " + inQuotes(path()) + ", " + inQuotes(line) + ", ";
    std::string const plain = withoutBlanks(line);
    if (plain != line && (plain.empty() || namesFile(plain)))
      _padded.add(where +
                  (line.back() == '\r' ? "ends with a carriage return"
                                       : "has blanks before or after the name") +
                  ", so it names no list");
    else if (namesFile(fileName(plain)))
      _paths.add(where + "includes a directory, so it names no list");
    else
      _strangers.add(where + "names no list of set " + inQuotes(_files.set));
  }

  void tell() {
    std::string const file = shellWord(path());
    _findings.problems(STATUS_UNCHECKED, _padded,
                       "sed -i 's/^[[:space:]]*//; s/[[:space:]]*$//' " + file,
                       inQuotes(path()) + " has names without blanks around them");
    _findings.problems(STATUS_UNCHECKED, _paths, "sed -i 's|.*/||' " + file,
                       inQuotes(path()) + " has names without directories");
    _findings.problems(STATUS_UNCHECKED, _strangers,
                       "correct or delete these lines in " + file + ", or install the lists",
                       inQuotes(path()) + " names only existing lists");
    _findings.problems(STATUS_UNCHECKED, _repeated, "delete all but the intended line in " + file,
                       inQuotes(path()) + " names no list twice");
  }

  const SetFiles& _files;
  Findings& _findings;
  std::set<std::string> _names;  // file names of the lists
  Repeated _padded;
  Repeated _paths;
  Repeated _strangers;
  Repeated _repeated;
};

}  // namespace

void checkOrder(const SetFiles& files, Ownership& ownership, Findings& findings) {
  OrderCheck check(files, findings);
  struct stat status = {};
  if (lstat(check.path().c_str(), &status) != 0 && errno == ENOENT) {
    check.missing();
    return;
  }
  if (!ownership.look(check.path(), Kind::FILE, STATUS_UNCHECKED,
                      "create it with the lists' names"))
    return;
  if (!isReadable(check.path())) {
    findings.problem(STATUS_UNCHECKED,
                     inQuotes(check.path()) +
                         " cannot be read by this user, for whom the lists have another order",
                     "chmod a+r " + shellWord(check.path()));
    return;
  }
  check.lines();
  check.unnamed();
}

}  // namespace tool
