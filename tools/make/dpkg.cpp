#include "make/dpkg.h"

#include <sys/stat.h>

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <memory>
#include <optional>

#include "io/exit_status.h"
#include "io/paths.h"
#include "make/dpkg_copy.h"
#include "make/paths.h"
#include "run/process.h"
#include "sets/sets.h"
#include "text/strings.h"

namespace tool {
namespace {

constexpr std::size_t digestSize = 32;  // MD5 in hexadecimal digits

struct Deb {
  std::string name;  // without architecture
  std::string architecture;
  std::string unique;  // dpkg's unique name
  bool installed = false;
  std::map<std::string, std::string> conffiles;  // with their digests
};

std::vector<std::string> splitLines(const std::string& text) {
  std::vector<std::string> lines;
  for (std::size_t start = 0; start < text.size();) {
    std::size_t const end = std::min(text.find('\n', start), text.size());
    lines.push_back(text.substr(start, end - start));
    start = end + 1;
  }
  return lines;
}

// The database of this machine, or a copy of another root's.
class Database {
 public:
  explicit Database(const Tree* root) {
    if (root != nullptr)
      _copy.emplace(*root);
  }

  Outcome query(std::vector<std::string> words, const std::vector<std::string>& debs,
                bool showErrors) const {
    Command command;
    words.insert(words.begin(), "dpkg-query");
    if (_copy)
      words.insert(words.begin() + 1, "--admindir=" + _copy->path());
    words.emplace_back("--");
    words.insert(words.end(), debs.begin(), debs.end());
    command.words = words;
    // Its words about another root's data could control a terminal.
    command.showErrors = showErrors && !_copy;
    command.cleanEnvironment = _copy.has_value();
    return run(command);
  }

  void provideFilesOf(const std::vector<Deb>& debs) {
    for (const Deb& deb : debs) {
      if (_copy)
        _copy->addFilesOf(deb.name, deb.architecture);
    }
  }

 private:
  std::optional<DpkgCopy> _copy;
};

// Removes the word `end` and the blank before it from the end of `line`.
bool takeWord(std::string& line, const std::string& end) {
  std::string const blankAnd = " " + end;
  if (line.size() < blankAnd.size() ||
      line.compare(line.size() - blankAnd.size(), blankAnd.size(), blankAnd) != 0)
    return false;
  line.erase(line.size() - blankAnd.size());
  return true;
}

// Parses " PATH DIGEST[ obsolete][ remove-on-upgrade]"; the path may contain blanks.
void addConffile(std::string line, std::map<std::string, std::string>& conffiles) {
  bool const removed = takeWord(line, "remove-on-upgrade");
  bool const obsolete = takeWord(line, "obsolete");
  std::size_t const digest = line.rfind(' ');
  if (digest > 1 && digest != std::string::npos && !obsolete && !removed)
    conffiles[line.substr(1, digest - 1)] = line.substr(digest + 1);
}

// dpkg-query treats names as patterns. Texts that are not package names match nothing here.
bool isDebName(const std::string& text) {
  return !text.empty() &&
         text.find_first_not_of("abcdefghijklmnopqrstuvwxyz0123456789+-.:") == std::string::npos;
}

std::vector<Deb> debsMatching(const Database& database, const std::vector<std::string>& names,
                              bool all) {
  static const char* const format =
      "${Package} ${Architecture} ${binary:Package} ${db:Status-Status}\\n${Conffiles}\\n";
  std::vector<std::string> asked;
  if (!all)
    std::copy_if(names.begin(), names.end(), std::back_inserter(asked), isDebName);
  std::vector<Deb> debs;
  if (asked.empty() && !all)
    return debs;  // without names, dpkg-query lists all packages
  // Its exit status says that some are unknown, but not which.
  constexpr int someUnknown = 1;
  Outcome const answer = database.query({"--show", "--showformat", format}, asked, false);
  if (answer.status > someUnknown)
    throw Failure(STATUS_NOT_LOADED, "dpkg-query cannot read dpkg's database");
  for (const std::string& line : splitLines(answer.output)) {
    if (line.empty())
      continue;
    if (line.front() == ' ') {
      if (!debs.empty())
        addConffile(line, debs.back().conffiles);
      continue;
    }
    std::size_t const first = line.find(' ');
    std::size_t const second = line.find(' ', first + 1);
    std::size_t const third = line.find(' ', second + 1);
    if (first == std::string::npos || second == std::string::npos || third == std::string::npos)
      continue;
    Deb deb;
    deb.name = line.substr(0, first);
    deb.architecture = line.substr(first + 1, second - first - 1);
    deb.unique = line.substr(second + 1, third - second - 1);
    std::string const status = line.substr(third + 1);
    deb.installed = status == "installed" || status.rfind("triggers-", 0) == 0;
    debs.push_back(std::move(deb));
  }
  return debs;
}

bool isNamed(const Deb& deb, const std::string& name) {
  return deb.installed &&
         (name == deb.name || name == deb.unique || name == deb.name + ":" + deb.architecture);
}

// The installed packages with these names, or all, each once.
std::vector<Deb> debsNamed(const Database& database, const std::vector<std::string>& names,
                           bool all) {
  std::vector<Deb> const candidates = debsMatching(database, names, all);
  std::map<std::string, Deb> found;
  for (const Deb& deb : candidates) {
    if (all && deb.installed)
      found.emplace(deb.unique, deb);
  }
  std::set<std::string> unknown;
  for (const std::string& name : names) {
    bool known = false;
    for (const Deb& deb : candidates) {
      if (!isNamed(deb, name))
        continue;
      found.emplace(deb.unique, deb);
      known = true;
    }
    if (!known)
      unknown.insert(inQuotes(name));
  }
  if (!unknown.empty())
    throw Failure(STATUS_NOT_LOADED, "dpkg has no installed package " +
                                         listed({unknown.begin(), unknown.end()}, "or"));
  if (found.empty())
    throw Failure(STATUS_NOT_LOADED, "dpkg has no installed package");
  std::vector<Deb> debs;
  debs.reserve(found.size());
  for (const auto& [unique, deb] : found)
    debs.push_back(deb);
  return debs;
}

// The lines that dpkg-query --listfiles prints for each package. A blank line separates packages.
std::vector<std::vector<std::string>> fileLines(const Database& database,
                                                const std::vector<Deb>& debs) {
  std::vector<std::string> names;
  names.reserve(debs.size());
  for (const Deb& deb : debs)
    names.push_back(deb.unique);
  Outcome const answer = database.query({"--listfiles"}, names, true);
  std::vector<std::vector<std::string>> blocks(1);
  for (const std::string& line : splitLines(answer.output)) {
    if (line.empty())
      blocks.emplace_back();
    else
      blocks.back().push_back(line);
  }
  if (answer.status != 0 || blocks.size() != debs.size())
    throw Failure(STATUS_NOT_LOADED, "dpkg-query cannot list the files of these packages");
  return blocks;
}

// The digests in the package's md5sums, by dpkg's names of the files. Each line has a digest, two
// blanks, and a path without its first slash.
std::map<std::string, std::string> digestsOf(const Database& database, const Deb& deb) {
  std::map<std::string, std::string> digests;
  for (const auto& [name, digest] : deb.conffiles) {
    if (digest.size() == digestSize)  // dpkg also prints words there
      digests[name] = digest;
  }
  // Fails if there are none.
  Outcome const answer = database.query({"--control-show"}, {deb.unique, "md5sums"}, false);
  for (const std::string& line : splitLines(answer.output)) {
    std::size_t const blanks = line.find("  ");
    if (blanks == digestSize)
      digests["/" + line.substr(blanks + 2)] = line.substr(0, blanks);
  }
  return digests;
}

// Resolves paths whose directories may be links. The last component is never followed. Reports,
// once per link, where it leads.
class DirectoryLinks {
 public:
  std::string resolved(const std::string& path);

 private:
  std::string resolvedDirectory(const std::string& directory);

  std::map<std::string, std::string> _known;
  std::set<std::string> _told;  // the links that were reported
};

// A path that is too long for the kernel is reported when it is examined.
std::string DirectoryLinks::resolved(const std::string& path) {
  return path == "/" || path.size() >= PATH_MAX
             ? path
             : joined(resolvedDirectory(directoryOf(path)), fileName(path));
}

std::string DirectoryLinks::resolvedDirectory(const std::string& directory) {
  if (directory == "/")
    return directory;
  auto const known = _known.find(directory);
  if (known != _known.end())
    return known->second;
  std::string place = resolved(directory);
  struct stat status = {};
  if (lstat(place.c_str(), &status) == 0 && S_ISLNK(status.st_mode)) {
    std::unique_ptr<char, void (*)(void*)> const real(realpath(place.c_str(), nullptr), free);
    if (real != nullptr) {
      if (_told.insert(place).second)
        say(inQuotes(place) + " is a link: the files below it are listed below " +
            inQuotes(real.get()));
      place = real.get();
    }
  }
  _known[directory] = place;
  return place;
}

// The place that `note`, the line after a path, gives for the path's diverted file; empty if it
// gives none. The package that diverts keeps its own file in place.
std::string diversion(const std::string& note) {
  static const std::string middle = " to: ";
  std::size_t const at = note.find(middle);
  if (at == std::string::npos ||
      (note.rfind("diverted by ", 0) != 0 && note.rfind("locally ", 0) != 0))
    return "";
  return note.substr(at + middle.size());
}

}  // namespace

std::vector<DebFiles> filesOf(const std::vector<std::string>& debs, bool all, const Tree* root) {
  std::vector<DebFiles> result;
  Database database(root);
  std::vector<Deb> const named = debsNamed(database, debs, all);
  database.provideFilesOf(named);
  std::vector<std::vector<std::string>> const blocks = fileLines(database, named);
  for (std::size_t i = 0; i < named.size(); ++i) {
    std::map<std::string, std::string> places;  // of the files, by dpkg's names
    std::string last;
    for (const std::string& line : blocks[i]) {
      if (line.front() == '/')
        places[last = absolutePath(line)] = absolutePath(line);
      else if (std::string const elsewhere = diversion(line); !elsewhere.empty() && !last.empty())
        places[last] = absolutePath(elsewhere);
    }
    DebFiles files;
    files.name = named[i].unique;
    std::map<std::string, std::string> const digests = digestsOf(database, named[i]);
    for (const auto& [name, place] : places) {
      files.paths.push_back(place);
      if (named[i].conffiles.count(name) != 0)
        files.conffiles.insert(place);
      if (auto const digest = digests.find(name); digest != digests.end())
        files.digests[place] = digest->second;
    }
    if (files.paths.empty())
      say("package " + inQuotes(files.name) + ": dpkg has no list of its files");
    result.push_back(std::move(files));
  }
  return result;
}

void resolveLinks(std::vector<DebFiles>& debs) {
  DirectoryLinks links;
  for (DebFiles& files : debs) {
    std::set<std::string> conffiles;
    std::map<std::string, std::string> digests;
    for (std::string& path : files.paths) {
      std::string const real = links.resolved(path);
      if (files.conffiles.count(path) != 0)
        conffiles.insert(real);
      if (auto const digest = files.digests.find(path); digest != files.digests.end())
        digests[real] = digest->second;
      path = real;
    }
    files.conffiles = std::move(conffiles);
    files.digests = std::move(digests);
  }
}

}  // namespace tool
