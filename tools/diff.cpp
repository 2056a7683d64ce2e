// diff: shows the differences between two lists or sets.

#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "commands.h"
#include "diff/side.h"
#include "io/exit_status.h"
#include "sets/differences.h"
#include "sets/sets.h"

namespace tool {
namespace {

const char* const examples =
    "OLD and NEW are paths if they contain a slash or end in .list, and sets otherwise. A path is "
    "that of a list, which is taken as it is written, or of a directory with the lists and the "
    "listorder of one set. A set is taken as its lists merge. With --root, NEW is a set of the "
    "system below that directory; with two, so is OLD, of the first. Prints a line for each "
    "difference (+ added, "
    "- removed, ~ changed, with the column and its two values), then a summary. Exit status: 0 if "
    "no entry differs, 1 if some do, 16 if a list or set could not be read.\n"
    "\n"
    "Examples:\n"
    "  zemo-selfcheck diff old/wam.full.base.list ./wam.full.base.list\n"
    "  zemo-selfcheck diff ./wam.full.base.list wam --format json\n"
    "  zemo-selfcheck diff wam wam --root /mnt\n";

struct Options {
  std::string before;
  std::string after;
  std::string mode = defaultMode;
  std::vector<std::string> roots;
  std::optional<std::string> lists;
  bool noVerify = false;
  std::string format = "text";
};

void requireName(const std::string& name, bool inRoot) {
  if (!namesPath(name))
    requireSetName(name);
  else if (inRoot)
    throw UsageError("with --root, " + inQuotes(name) + " must be the name of a set");
}

void requireUsable(const Options& options) {
  requireModeName(options.mode);
  if (options.roots.size() > 2)
    throw UsageError("--root may be given at most twice");
  if (options.lists && options.roots.size() != 1)
    throw UsageError("--lists needs one --root");
  requireName(options.before, options.roots.size() == 2);
  requireName(options.after, !options.roots.empty());
}

Side readSideIn(const Options& options, const std::string& directory, const std::string& name) {
  OtherRoot const root(directory, options.lists);
  Side side = readSide(name, options.mode, !options.noVerify, &root);
  OtherRoot::leave();
  return side;
}

Side readBefore(const Options& options) {
  return options.roots.size() == 2 ? readSideIn(options, options.roots.front(), options.before)
                                   : readSide(options.before, options.mode, !options.noVerify);
}

Side readAfter(const Options& options) {
  return options.roots.empty() ? readSide(options.after, options.mode, !options.noVerify)
                               : readSideIn(options, options.roots.back(), options.after);
}

int runDiff(const Options& options) {
  requireUsable(options);
  Side const before = readBefore(options);
  Side const after = readAfter(options);
  std::unique_ptr<DiffReport> report;
  if (options.format == "json")
    report = std::make_unique<JsonReport>();
  else
    report = std::make_unique<TextReport>();
  Counts const counts = compareSides(before, after, *report);
  report->summary(before, after, counts);
  return counts.added + counts.removed + counts.changed == 0 ? STATUS_INTACT : STATUS_CHANGED;
}

}  // namespace

void addDiff(Commands& program) {
  auto const options = std::make_shared<Options>();
  Arguments takes = program.add("diff", "Compare two lists or sets, column by column", examples,
                                [options] { return runDiff(*options); });
  takes.word("OLD", options->before, "List, directory of lists, or set to compare with");
  takes.word("NEW", options->after, "List, directory of lists, or set to compare");
  takes.value("--mode", "MODE", options->mode, "Mode of the sets' lists");
  takes.repeated("--root", "DIR", options->roots,
                 "NEW is a set of the system below this directory; given twice, OLD is one of the "
                 "first");
  takes.value("--lists", "DIR", options->lists,
              "With one --root: use the lists in this directory instead");
  takes.flag("--no-verify", options->noVerify, "Do not verify the sets' signatures");
  takes.choice("--format", {"text", "json"}, options->format, "Output format");
}

}  // namespace tool
