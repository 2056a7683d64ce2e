// show: prints the merged entries of sets and the list that each comes from.

#include <unistd.h>

#include <algorithm>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "commands.h"
#include "io/descriptors.h"
#include "io/exit_status.h"
#include "io/paths.h"
#include "root/other_root.h"
#include "root/package.h"
#include "sets/list_file.h"
#include "sets/merged_set.h"
#include "sets/sets.h"
#include "text/entry_json.h"
#include "text/escape.h"
#include "text/json.h"

using ZEMO::SELF_CHECK::ProtectedFile;

namespace tool {
namespace {

const char* const examples =
    "A WORD that begins with / is a path: its entry and everything below it are shown. Any other "
    "WORD is a set. Each line is a line of a list, followed by the name of the list that it comes "
    "from as an eighth column, which the library ignores. Names are escaped on a terminal, and "
    "written as they are elsewhere.\n"
    "\n"
    "Examples:\n"
    "  zemo-selfcheck show /etc                 what the set wam says of /etc and below\n"
    "  zemo-selfcheck show demo --format json   the entries of the package demo\n";

struct Options {
  std::vector<std::string> words;
  std::string mode = defaultMode;
  bool all = false;
  bool noVerify = false;
  std::optional<std::string> root;
  std::optional<std::string> lists;
  std::string format = "text";
};

// The requested paths, and whether they were found. Without paths, all entries are wanted.
class Filter {
 public:
  // `path` begins with a slash. Trailing slashes are removed, which makes "/" empty.
  void add(const std::string& path) {
    _found.emplace(path.substr(0, path.find_last_not_of('/') + 1), false);
  }

  // True if the entry or a directory above it was requested. Records the path as found.
  bool wants(const std::string& path) {
    bool wanted = _found.empty() || note(path);
    for (std::size_t slash = path.find('/'); slash != std::string::npos && !_found.empty();
         slash = path.find('/', slash + 1))
      wanted = note(path.substr(0, slash)) || wanted;
    return wanted;
  }

  std::vector<std::string> notFound() const {
    std::vector<std::string> paths;
    for (const auto& [path, found] : _found) {
      if (!found)
        paths.push_back(path.empty() ? "/" : path);
    }
    return paths;
  }

 private:
  bool note(const std::string& path) {
    auto const named = _found.find(path);
    if (named == _found.end())
      return false;
    named->second = true;
    return true;
  }

  std::map<std::string, bool> _found;
};

void writeText(const ProtectedFile& entry, const std::string& list, bool escape) {
  std::string line;
  for (const std::string* column : {&entry._path, &entry._size, &entry._hash, &entry._type,
                                    &entry._permission, &entry._owner, &entry._group, &list}) {
    line += column == &entry._path ? "" : "\t";
    line += escape ? escaped(*column) : *column;
  }
  line += '\n';
  writeOut(line);
}

void writeJson(const std::string& set, const ProtectedFile& entry, const std::string& list) {
  Json record;
  record["record"] = "entry";
  putText(record, "set", set);
  putText(record, "path", entry._path);
  putColumns(record, entry);
  putText(record, "list", list);
  writeLine(recordLine(record));
}

// Returns the number of entries shown.
std::size_t showSet(const Options& options, const OtherRoot* root, const std::string& set,
                    Filter& filter) {
  MergedSet const merged =
      mergedSetOf(root == nullptr ? nullptr : &root->tree(), set, options.mode, !options.noVerify);
  bool const escape = isatty(STDOUT_FILENO) == 1;
  std::size_t shown = 0;
  for (const MergedEntry& element : merged.entries) {
    if (!filter.wants(element.entry->_path))
      continue;
    std::string const list = fileName(merged.lists[element.list]);
    if (options.format == "json")
      writeJson(set, *element.entry, list);
    else
      writeText(*element.entry, list, escape);
    ++shown;
  }
  return shown;
}

int runShow(const Options& options) {
  requireModeName(options.mode);
  Filter filter;
  std::vector<std::string> named;
  for (const std::string& word : options.words) {
    if (!word.empty() && word.front() == '/')
      filter.add(word);
    else
      named.push_back(word);
  }
  int status = STATUS_INTACT;
  std::size_t shown = 0;
  std::for_each(named.begin(), named.end(), requireSetName);
  std::shared_ptr<const OtherRoot> const root = chosenRoot(options.root, options.lists);
  ChosenSets const chosen = chosenSets(named, options.all);
  if (!chosen.unknown.empty()) {
    say(chosen.unknown);
    status |= STATUS_NOT_LOADED;
  }
  for (const std::string& set : chosen.names) {
    try {
      shown += showSet(options, root.get(), set, filter);
    } catch (const Failure& failure) {
      say(failure.what());
      status |= failure.status();
    }
  }
  for (const std::string& path : filter.notFound()) {
    say("there is no entry at or below " + inQuotes(path));
    status |= STATUS_UNCHECKED;
  }
  if (shown == 0 && status == STATUS_INTACT)
    say("there are no entries");
  return shown == 0 ? status | STATUS_NOT_LOADED : status;
}

}  // namespace

void addShow(Commands& program) {
  auto const options = std::make_shared<Options>();
  Arguments takes = program.add("show", "Show the merged entries of sets and where they come from",
                                examples, [options] { return runShow(*options); });
  takes.words("WORD", options->words, "Sets (default: wam) and paths to show");
  takes.value("--mode", "MODE", options->mode, "Mode of the lists");
  takes.flag("--all", options->all, "Show wam and the sets of all packages");
  takes.value("--root", "DIR", options->root,
              "Show the sets of the system below this directory, with its packages");
  takes.value("--lists", "DIR", options->lists,
              "With --root: use the lists in this directory instead");
  takes.flag("--no-verify", options->noVerify, "Do not verify the lists' signatures");
  takes.choice("--format", {"text", "json"}, options->format, "Output format");
}

}  // namespace tool
