// merge: joins lists that are read one after the other into one that means the same.

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "commands.h"
#include "io/atomic_file.h"
#include "io/exit_status.h"
#include "io/paths.h"
#include "sets/label.h"
#include "sets/list_file.h"
#include "sets/new_list.h"
#include "sets/sets.h"
#include "text/escape.h"
#include "text/strings.h"

namespace tool {
namespace {

const char* const examples =
    "The LISTs are given in the order in which they are read: later lines override earlier ones. "
    "Nothing is written if their directory has another order. The new list is read in their "
    "place.\n"
    "\n"
    "Example:\n"
    "  zemo-selfcheck merge wam.full.base.list wam.full.fix.list --output new/wam.full.fix.list\n";

struct Options : NewListOptions {
  std::vector<std::string> lists;
};

// The last line about each path, with the path as written. The numbers count the lines of all
// lists.
using Statements = std::map<std::string, ListLine>;

Statements statementsOf(const std::vector<std::string>& lists, const Label& label,
                        const std::string& output) {
  Statements statements;
  std::size_t number = 0;
  for (const std::string& path : lists) {
    if (isSameFile(path, output))
      throw UsageError("--output " + inQuotes(output) + " is a list that has to be read");
    ListFile list = readListFile(path);
    std::optional<Label> const stated = parseLabel(list.label);
    if (stated && !isLabelOf(*stated, path, label.set, label.mode))
      throw Failure(STATUS_NOT_LOADED, inQuotes(path) + " says in line 2 that it is another list");
    for (ListLine& line : list.lines) {
      line.number = ++number;
      std::string const about = line.entry->_path;
      statements[about] = std::move(line);
    }
  }
  return statements;
}

std::string realDirectory(const std::string& directory) {
  return std::filesystem::weakly_canonical(directory);
}

// The names of the lists in `directory` in the order in which they are read. Nothing if that is not
// known: another directory than the set's gives no order without a `listorder`.
std::optional<std::vector<std::string>> orderIn(const std::string& directory, const Label& label,
                                                const std::vector<std::string>& added = {}) {
  std::error_code ignored;
  auto const type = std::filesystem::status(joined(directory, "listorder"), ignored).type();
  if (type == std::filesystem::file_type::not_found &&
      directory != realDirectory(setDirectory(label.set)))
    return std::nullopt;
  std::map<std::string, std::size_t> positions = orderPositions(orderLines(directory));
  std::vector<std::string> names = added;
  std::error_code error;
  std::filesystem::directory_iterator member(directory, error);
  for (; !error && member != std::filesystem::directory_iterator(); member.increment(error)) {
    if (isNamedLikeListOf(member->path(), label.set, label.mode))
      names.push_back(member->path().filename());
  }
  if (error)
    throw Failure(STATUS_NOT_LOADED,
                  withReason("cannot read " + inQuotes(directory), error.value()));
  std::sort(names.begin(), names.end(), [&](const std::string& one, const std::string& other) {
    return std::pair(positions[one], one) < std::pair(positions[other], other);
  });
  return names;
}

// Makes sure that an output in the directory of merged lists takes their place. `order` has all
// lists there; `first` and `next` are the positions of the first merged one and after the last one.
// Throws UsageError if the output is a list that is read after them, and reports if it will be read
// elsewhere.
void requirePlace(const std::string& output, const Label& label,
                  const std::vector<std::string>& order, std::size_t first, std::size_t next) {
  std::string const name = fileName(output);
  std::string const directory = realDirectory(directoryOf(output));
  auto const after = order.begin() + static_cast<std::ptrdiff_t>(next);
  if (std::find(after, order.end(), name) != order.end())
    throw UsageError("--output " + inQuotes(output) + " is a list that is read after these");
  if (std::find(order.begin(), after, name) != after)
    return;  // it is read itself, which is an error
  std::vector<std::string> const all = *orderIn(directory, label, {name});
  auto const place =
      static_cast<std::size_t>(std::find(all.begin(), all.end(), name) - all.begin());
  if (place < first || place > next)
    say("the lines of 'listorder' in " + inQuotes(directory) + " do not put " + inQuotes(name) +
        " in the place of these lists");
}

// The lists that are read before `lists`; nothing if that is not known: other directories than the
// set's may have only some of its lists. Throws UsageError if the order in a directory contradicts
// that of `lists`.
std::optional<std::vector<std::string>> listsBefore(const std::vector<std::string>& lists,
                                                    const Label& label, const std::string& output) {
  std::map<std::string, std::vector<std::string>> given;  // names, by directory
  for (const std::string& list : lists) {
    if (!isNamedLikeListOf(list, label.set, label.mode))
      throw UsageError(inQuotes(list) + " is not named like a list of the set: " +
                       escaped(label.set + "." + label.mode) + ".*.list");
    given[realDirectory(directoryOf(list))].push_back(fileName(list));
  }
  std::optional<std::vector<std::string>> before;
  for (const auto& [directory, names] : given) {
    std::optional<std::vector<std::string>> order = orderIn(directory, label);
    if (!order)
      continue;
    auto const first = std::find(order->begin(), order->end(), names.front());
    if (first == order->end())
      throw Failure(STATUS_NOT_LOADED,
                    "cannot find " + inQuotes(names.front()) + " in " + inQuotes(directory));
    auto next = first;
    for (const std::string& name : names) {
      if (next == order->end() || *next != name)
        throw UsageError("in " + inQuotes(directory) + ", " + inQuotes(name) +
                         " is not read next after " + inQuotes(*std::prev(next)) +
                         (next == order->end() ? "" : ", but " + inQuotes(*next) + " is"));
      ++next;
    }
    if (directory == realDirectory(directoryOf(output)))
      requirePlace(output, label, *order, static_cast<std::size_t>(first - order->begin()),
                   static_cast<std::size_t>(next - order->begin()));
    order->erase(first, order->end());
    for (std::string& name : *order)
      name = joined(directory, name);
    if (given.size() == 1 && directory == realDirectory(setDirectory(label.set)))
      before = order;
  }
  return before;
}

// True if paths that differ as written differ whatever "$pkg_dir" stands for.
bool areDistinct(const Statements& some, const Statements& others) {
  std::set<std::size_t> places;  // of the placeholder; npos in paths without it
  for (const Statements* const statements : {&some, &others}) {
    for (const auto& [path, line] : *statements)
      places.insert(path.rfind("$pkg_dir"));
  }
  return places == std::set<std::size_t>{0} || places == std::set{std::string::npos};
}

// The lines of the new list: in byte order of their paths, or, if two of these may be one path, in
// the order in which they were read. A removal is left out if it certainly removes nothing.
std::vector<ListLine> joinedLines(const Options& options, const Label& label) {
  std::optional<std::vector<std::string>> const before =
      listsBefore(options.lists, label, options.output);
  Statements const statements = statementsOf(options.lists, label, options.output);
  Statements const earlier = before ? statementsOf(*before, label, options.output) : Statements();
  bool const distinct = areDistinct(statements, earlier);
  std::vector<ListLine> lines;
  for (const auto& [path, line] : statements) {
    auto const removed = earlier.find(path);
    bool const useless =
        before && distinct && (removed == earlier.end() || removed->second.removal);
    if (!line.removal || !useless)
      lines.push_back(line);
  }
  if (!distinct)
    std::sort(lines.begin(), lines.end(),
              [](const ListLine& one, const ListLine& other) { return one.number < other.number; });
  return lines;
}

// A line with too few columns remains one, so that `doctor` still finds it.
std::string textOf(const ListLine& line) {
  if (!line.complete)
    return line.removal ? "-" : "";
  return line.removal ? removalLine(line.entry->_path) : entryLine(*line.entry);
}

int runMerge(const Options& options) {
  Label const label = labelOf(options);
  requireWritable(options.output);
  std::vector<ListLine> const lines = joinedLines(options, label);
  if (lines.empty())
    throw Failure(STATUS_NOT_LOADED, "no list was written: together, the lists have no entries");
  AtomicFile file(options.output, 0644);
  file.write(listHeader + "\n" + labelLine(label) + "\n");
  std::size_t removals = 0;
  for (const ListLine& line : lines) {
    file.write(textOf(line) + "\n");
    removals += line.removal ? 1 : 0;
  }
  commitList(file, options.output);
  printf("%s: %s%s from %s; sign it, and install it in their place\n",
         escaped(fileName(options.output)).c_str(),
         counted(lines.size() - removals, "entry", "entries").c_str(),
         removals > 0 ? (", " + counted(removals, "removal", "removals") + ",").c_str() : "",
         counted(options.lists.size(), "list", "lists").c_str());
  return STATUS_INTACT;
}

}  // namespace

void addMerge(Commands& program) {
  auto const options = std::make_shared<Options>();
  Arguments takes = program.add("merge", "Join lists of a set into one", examples,
                                [options] { return runMerge(*options); });
  takes.requiredWords("LIST", options->lists, "Lists, in the order in which they are read");
  takes.requiredValue("--output", "FILE", options->output, "List to write");
  takes.value("--package", "NAME", options->package, "The lists are of this package's set");
  takes.value("--mode", "MODE", options->mode, "Mode of the lists");
  takes.value("--serial", "N", options->serial,
              "Serial number of the new list (default: its date)");
}

}  // namespace tool
