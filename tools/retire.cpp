// retire: takes lists out of an installed set, with their signatures and their lines in its order.

#include <algorithm>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "commands.h"
#include "io/exit_status.h"
#include "sets/manifest.h"
#include "sets/replacement.h"
#include "sets/set_change.h"
#include "sets/set_content.h"
#include "sets/set_lock.h"
#include "sets/sets.h"

namespace tool {
namespace {

const char* const examples =
    "LIST is the name of an installed list. Prints the entries that are then no longer checked (-) "
    "or that other lists of the set state differently (~). A set with a manifest is changed only "
    "by its maker: sign a manifest without the list, and install that.\n"
    "\n"
    "Examples:\n"
    "  zemo-selfcheck retire wam.full.local.list --dry-run\n"
    "  zemo-selfcheck retire notes.full.fix.list --package notes\n";

struct Options {
  std::vector<std::string> lists;
  std::optional<std::string> package;
  std::string mode = defaultMode;
  std::optional<std::string> root;
  std::optional<std::string> directory;
  SetChangeOptions change;
};

SetContent without(const std::vector<std::string>& lists, const SetContent& before,
                   const SetPlace& place) {
  SetContent after = before;
  after.unfinished = false;
  after.files.erase(blockerName(place.set, place.mode));
  for (const std::string& name : lists) {
    auto const found = std::find(after.lists.begin(), after.lists.end(), name);
    // A run that was killed may already have taken it away.
    if (found == after.lists.end() && !before.unfinished)
      throw Failure(STATUS_NOT_LOADED, "there is no list " + inQuotes(name) + " in " +
                                           inQuotes(place.directory) + "; nothing was done");
    if (found != after.lists.end())
      after.lists.erase(found);
    after.files.erase(name);
    after.files.erase(name + ".asc");
  }
  if (after.lists.empty())
    throw Failure(STATUS_NOT_LOADED,
                  "no list would be left, and the set would not load; nothing "
                  "was done");
  return after;
}

int runRetire(const Options& options) {
  std::string const set = options.package.value_or(systemSet);
  requireSetName(set);
  requireModeName(options.mode);
  for (const std::string& name : options.lists) {
    if (name.find('/') != std::string::npos || !isNamedLikeListOf(name, set, options.mode))
      throw UsageError(inQuotes(name) + " is not the name of a list of the set " + inQuotes(set) +
                       ", mode " + inQuotes(options.mode));
    if (std::count(options.lists.begin(), options.lists.end(), name) > 1)
      throw UsageError(inQuotes(name) + " is given twice");
  }
  SetPlace const place = placeOf(set, options.mode, options.root, options.directory);
  std::unique_ptr<const SetLock> const lock =
      options.change.dryRun ? nullptr : std::make_unique<const SetLock>(place);
  SetContent const now = contentIn(place.directory, set, options.mode);
  SetContent const before = lastWhole(place, now);
  if (before.files.count(manifestName(set, options.mode)) != 0)
    throw Failure(STATUS_NOT_LOADED,
                  "the set has a manifest, which names its lists: have its maker sign one without "
                  "the list, and install that; nothing was done");
  changeSet(place, now, without(options.lists, before, place), options.change);
  return STATUS_INTACT;
}

}  // namespace

void addRetire(Commands& program) {
  auto const options = std::make_shared<Options>();
  options->change.command = "retire";
  Arguments takes = program.add("retire", "Take lists out of an installed set", examples,
                                [options] { return runRetire(*options); });
  takes.requiredWords("LIST", options->lists, "Names of installed lists");
  takes.value("--package", "NAME", options->package,
              "The set of this package (default: wam, the system's own)");
  takes.value("--mode", "MODE", options->mode, "Mode of the lists");
  takes.flag("--dry-run", options->change.dryRun, "Show what would change, and stop");
  takes.value("--root", "DIR", options->root, "Change the system below this directory");
  takes.value("--lists", "DIR", options->directory,
              "Change this directory, laid out like /usr/zemo/selfcheck");
  takes.choice("--format", {"text", "json"}, options->change.format, "Output format");
}

}  // namespace tool
