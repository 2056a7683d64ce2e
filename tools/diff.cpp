// diff: shows the differences between two lists or sets.

#include <memory>
#include <string>

#include "commands.h"
#include "diff/report.h"
#include "diff/side.h"
#include "io/exit_status.h"
#include "sets/sets.h"
#include "text/entry_json.h"

namespace tool {
namespace {

const char* const examples =
    "OLD and NEW are lists if they contain a slash or end in .list, and sets otherwise. A list is "
    "taken as it is written, a set as its lists merge. Prints a line for each difference (+ added, "
    "- removed, ~ changed, with the column and its two values), then a summary. Exit status: 0 if "
    "no entry differs, 1 if some do, 16 if a list or set could not be read.\n"
    "\n"
    "Examples:\n"
    "  zemo-selfcheck diff old/wam.full.base.list ./wam.full.base.list\n"
    "  zemo-selfcheck diff ./wam.full.base.list wam --format json\n";

struct Options {
  std::string before;
  std::string after;
  std::string mode = defaultMode;
  bool noVerify = false;
  std::string format = "text";
};

bool isSame(const Statement& before, const Statement& after) {
  if (before.removal)
    return true;  // the other columns of such a line do not count
  for (const Column& column : columns) {
    if ((*before.entry).*column.text != (*after.entry).*column.text)
      return false;
  }
  return true;
}

void compareStatements(const std::string& path, const Statement& before, const Statement& after,
                       DiffReport& report, Counts& counts) {
  if (before.removal != after.removal) {
    report.removed(path, before);
    report.added(path, after);
    ++counts.removed;
    ++counts.added;
  } else if (isSame(before, after)) {
    ++counts.same;
  } else {
    report.changed(path, before, after);
    ++counts.changed;
  }
}

Counts compareSides(const Side& before, const Side& after, DiffReport& report) {
  Counts counts;
  auto old = before.statements.begin();
  auto now = after.statements.begin();
  while (old != before.statements.end() || now != after.statements.end()) {
    if (now == after.statements.end() ||
        (old != before.statements.end() && old->first < now->first)) {
      report.removed(old->first, old->second);
      ++counts.removed;
      ++old;
    } else if (old == before.statements.end() || now->first < old->first) {
      report.added(now->first, now->second);
      ++counts.added;
      ++now;
    } else {
      compareStatements(old->first, old->second, now->second, report, counts);
      ++old;
      ++now;
    }
  }
  return counts;
}

int runDiff(const Options& options) {
  requireModeName(options.mode);
  for (const std::string& name : {options.before, options.after}) {
    if (!namesList(name))
      requireSetName(name);
  }
  Side const before = readSide(options.before, options.mode, !options.noVerify);
  Side const after = readSide(options.after, options.mode, !options.noVerify);
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
  takes.word("OLD", options->before, "List or set to compare with");
  takes.word("NEW", options->after, "List or set to compare");
  takes.value("--mode", "MODE", options->mode, "Mode of the sets' lists");
  takes.flag("--no-verify", options->noVerify, "Do not verify the sets' signatures");
  takes.choice("--format", {"text", "json"}, options->format, "Output format");
}

}  // namespace tool
