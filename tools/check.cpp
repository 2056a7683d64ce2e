// check: compares all files named by sets of lists with their entries.

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "check/accepted.h"
#include "check/counters.h"
#include "check/metrics.h"
#include "check/report.h"
#include "check/set_check.h"
#include "commands.h"
#include "io/exit_status.h"
#include "io/paths.h"
#include "root/other_root.h"
#include "run/interruption.h"
#include "run/workers.h"
#include "sets/highest_serial.h"
#include "sets/items.h"
#include "sets/sets.h"

using namespace ZEMO::SELF_CHECK;

namespace tool {
namespace {

const char* const examples =
    "Prints each mismatch, then a summary. The file for --accept has one line for each known "
    "difference: a path, or a directory ending in / for everything below it, optionally followed "
    "by a TAB and the kinds of mismatch, such as size,hash (the others are owner, group, type, "
    "permission, missing and stray).\n"
    "\nExamples:\n"
    "  zemo-selfcheck check\n"
    "  zemo-selfcheck check --all --format json > report.jsonl\n"
    "  zemo-selfcheck check --all --metrics /var/lib/prometheus/node-exporter/zemo-selfcheck.prom\n"
    "  zemo-selfcheck check notes --under /var/packages/notes/target/bin --items size,hash\n"
    "  zemo-selfcheck check --format paths -z | xargs -0 -r dpkg -S\n";

struct Options {
  std::vector<std::string> sets;
  bool all = false;
  std::string mode = defaultMode;
  std::vector<std::string> items = {"all"};
  std::vector<std::string> under;
  std::optional<std::string> root;
  std::optional<std::string> lists;
  unsigned jobs = processors();
  std::optional<std::string> accept;
  std::optional<std::string> metrics;
  bool noVerify = false;
  std::string require;
  std::optional<std::string> state;
  bool acceptOlder = false;
  std::string format = "text";
  bool nul = false;
  bool noProgress = false;
  bool quiet = false;
};

// Throws UsageError for a word that no set can have as its name.
void requireSet(const std::string& word) {
  if (!canNameSet(word) && word.find('/') != std::string::npos)
    throw UsageError(inQuotes(word) + " is not a valid set name; to check files, use --under " +
                     inQuotes(std::filesystem::absolute(word).lexically_normal().string()));
  requireSetName(word);
}

std::vector<std::string> directoriesNamed(std::vector<std::string> directories) {
  for (std::string& directory : directories) {
    if (directory.empty())
      throw UsageError("--under takes an absolute path, not ''");
    if (directory.front() != '/')
      throw UsageError("--under takes an absolute path, not " + inQuotes(directory) + "; use " +
                       inQuotes(std::filesystem::absolute(directory).lexically_normal().string()));
    while (directory.size() > 1 && directory.back() == '/')
      directory.pop_back();
  }
  return directories;
}

std::unique_ptr<CheckReport> reportFor(const Options& options) {
  if (options.nul && options.format == "json")
    throw UsageError("-z cannot be combined with --format json");
  if (options.quiet)
    return std::make_unique<CheckReport>();
  if (options.format == "paths")
    return pathsReport(options.nul);
  return options.format == "json" ? jsonReport() : textReport(options.nul);
}

// Readers of metrics assume that they cover whole sets, and a file may contain each sample only
// once.
void requireMeasurable(const Options& options) {
  if (options.metrics->empty())
    throw UsageError("--metrics needs the name of a file");
  if (*options.metrics == "-")
    throw UsageError(
        "--metrics writes to a file, not to standard output; use ./- for a file called -");
  if (!options.under.empty() || itemsNamed(options.items) != itemsNamed({"all"}))
    throw UsageError(
        "--metrics covers whole checks and cannot be combined with --under or --items");
  std::set<std::string> seen;
  for (const std::string& set : options.sets) {
    if (!seen.insert(set).second)
      throw UsageError("--metrics takes each set only once: " + inQuotes(set) + " is repeated");
  }
}

// The path of `directory` as the lists of the other root `root` write it.
std::string pathIn(const std::filesystem::path& root, const std::string& directory) {
  std::string const top = (std::filesystem::absolute(root) / "").lexically_normal().parent_path();
  if (top == "/" || !isAtOrBelow(top, directory))
    return directory;
  return directory == top ? "/" : directory.substr(top.size());
}

// The directories of --under that have another path, which lists may name instead.
std::string otherPaths(const Options& options) {
  std::string text;
  for (const std::string& directory : directoriesNamed(options.under)) {
    std::error_code error;
    std::string const other = options.root ? pathIn(*options.root, directory)
                                           : std::filesystem::canonical(directory, error).string();
    if (!error && other != directory)
      text += "; " + inQuotes(directory) + " is " + inQuotes(other);
  }
  return text;
}

// True if every mismatch of the sets would have been found.
bool isWhole(const Options& options, const Counters& counters) {
  return options.under.empty() && itemsNamed(options.items) == itemsNamed({"all"}) &&
         !counters.partial && !counters.withoutIds && !counters.setsUnknown &&
         counters.notLoaded + counters.unchecked == 0;
}

// Says what may help people, whose format is the text.
void hint(const Options& options, const Accepted& accepted, const Counters& counters) {
  std::string const unused = isWhole(options, counters) ? accepted.unused() : "";
  if (!unused.empty())
    say("note: no mismatch needed " + unused);
  if (counters.hidden > 0)
    say("note: " + std::to_string(counters.hidden) + " of the missing files " +
        (counters.hidden == 1 ? "is" : "are") +
        " below a directory that this user may not search, for example " +
        inQuotes(counters.unsearchable) + ": they may exist");
}

// Says what neither the report nor a message has said yet.
void explain(const Counters& counters, const Options& options) {
  bool const summed = !options.quiet && options.format != "paths";
  if (counters.partial && !summed)
    say(summaryLine(counters));
  else if (counters.withoutIds && !summed)
    say("owner and group were not compared");
  if (counters.checked + counters.unchecked + counters.notLoaded == 0 && !counters.partial)
    say(options.under.empty()
            ? "nothing was checked: there are no entries"
            : "nothing was checked: no entry is at or below --under" + otherPaths(options));
}

// Returns the bits to add to the exit status.
int writeMetricsOrSay(const Options& options, std::vector<SetRun> runs) {
  // Print the findings now, since a slow disk could delay the metrics. flushOutput() reports a
  // failure.
  (void)fflush(stdout);
  try {
    writeMetrics(*options.metrics, options.mode, std::move(runs), options.root.value_or(""));
    return 0;
  } catch (const Failure& failure) {
    say(failure.what());
    return STATUS_UNCHECKED;
  }
}

// The items that can be compared.
CHECK_ITEM itemsVisible(CHECK_ITEM wanted) {
  auto const ids = CHECK_ITEM_OWNER | CHECK_ITEM_GROUP;
  auto const visible = static_cast<CHECK_ITEM>(wanted & ~ids);
  if (visible == 0)
    throw Failure(STATUS_NOT_LOADED, "only root can compare the owners and groups of another root");
  return visible;
}

// Readies the process for another root, if one is wanted, once the arguments are known to be right.
void enterRoot(const Options& options, CheckOptions& check) {
  check.root = chosenRoot(options.root, options.lists);
  if (!check.root)
    return;
  check.plan.root = options.root;
  check.plan.lists = options.lists;
  if (check.root->knowsIds())
    return;
  if (options.metrics)
    throw Failure(STATUS_NOT_LOADED,
                  "--metrics covers whole checks, and only root can compare owners and groups");
  check.plan.items = itemsVisible(check.plan.items);
}

// The directory that remembers the serials of manifests. The default one is about this machine's
// own sets.
std::optional<std::string> stateDirectory(const Options& options) {
  bool const required = !options.require.empty();
  if (required && options.noVerify)
    throw UsageError("--require manifest cannot be combined with --no-verify");
  if (!required && (options.state || options.acceptOlder))
    throw UsageError("--state and --accept-older need --require manifest");
  if (options.acceptOlder && options.root && !options.state)
    throw UsageError("--accept-older with --root needs --state");
  if (options.state || !required || options.root)
    return options.state;
  return serialDirectory;
}

// Returns whether serials may be remembered. If not, says so.
bool takeKnownSerials(const std::string& directory, bool evenLower, CheckOptions& check) {
  KnownSerials const known = knownSerials(directory, check.plan.sets, check.plan.mode);
  if (!evenLower)
    check.highestSerials = known.highest;
  if (!known.unused.empty())
    say("it is not known whether the manifests are the newest: " + known.unused);
  else if (!known.mayRemember)
    say("serials are compared, but not remembered: only root and the owner of " +
        inQuotes(directory) + " write there");
  return known.mayRemember;
}

// Stores the serials of the manifests that were accepted. Returns the bits to add to the exit
// status.
int rememberSerialsOrSay(const Options& options, const std::string& directory,
                         const std::vector<SetRun>& runs) {
  try {
    for (const SetRun& run : runs) {
      if (run.facts.manifest && run.facts.manifest->state == ManifestCheck::State::FITS)
        rememberSerial(directory, run.set, options.mode, run.facts.manifest->manifest->label.serial,
                       options.acceptOlder);
    }
    return 0;
  } catch (const Failure& failure) {
    say(failure.what());
    return STATUS_UNCHECKED;
  }
}

int runCheck(const Options& options) {
  requireModeName(options.mode);
  std::for_each(options.sets.begin(), options.sets.end(), requireSet);
  auto check = std::make_shared<CheckOptions>();
  check->plan = {{}, options.mode, itemsNamed(options.items)};
  check->under = directoriesNamed(options.under);
  check->jobs = options.jobs;
  check->verify = !options.noVerify;
  check->requireManifest = !options.require.empty();
  std::optional<std::string> state = stateDirectory(options);
  check->measure = options.metrics.has_value();
  if (check->measure)
    requireMeasurable(options);
  std::unique_ptr<CheckReport> const report = reportFor(options);
  if (options.accept)
    check->accepted = Accepted(*options.accept);
  if (options.metrics)
    requireMetricsFile(*options.metrics);
  enterRoot(options, *check);
  ChosenSets const chosen = chosenSets(options.sets, options.all);
  check->plan.sets = chosen.names;
  if (state && !takeKnownSerials(*state, options.acceptOlder, *check))
    state.reset();

  endSoonAfterInterruption(STATUS_UNCHECKED);
  watchForInterruption();
  Progress progress(!options.noProgress && !options.quiet);
  Counters counters;
  counters.withoutIds = check->root && !check->root->knowsIds();
  report->begin(check->plan);
  if (!chosen.unknown.empty()) {
    counters.setsUnknown = true;
    say(chosen.unknown);
  }
  std::vector<SetRun> runs = checkSets(check, *report, counters, progress);
  int status = exitStatus(counters);
  // Waiting for the directory's lock could delay the end of a partial check.
  if (state && !counters.partial)
    status |= rememberSerialsOrSay(options, *state, runs);
  auto const measure = [&] {
    // Metrics without the packages' sets would suggest that there are none.
    if (options.metrics && counters.setsUnknown)
      say("the metrics in " + inQuotes(*options.metrics) + " are left unchanged");
    else if (options.metrics)
      status |= writeMetricsOrSay(options, std::move(runs));
  };
  // The summary states the exit status, so the metrics come first. The status of a partial check
  // already has the bit for metrics that cannot be written, and a partial check must end soon.
  if (!counters.partial)
    measure();
  report->end(counters, status);
  explain(counters, options);
  if (options.format == "text" && !options.quiet)
    hint(options, check->accepted, counters);
  if (counters.partial)
    measure();
  return status;
}

}  // namespace

void addCheck(Commands& program) {
  auto const options = std::make_shared<Options>();
  Arguments takes = program.add("check", "Check every file that the lists of a set name", examples,
                                [options] { return runCheck(*options); });
  takes.words("SET", options->sets, "Sets to check (default: wam, the system's own)");
  takes.flag("--all", options->all, "Check wam and the sets of all packages");
  takes.value("--mode", "MODE", options->mode, "Mode of the lists");
  takes.list("--items", "ITEM,...", options->items,
             "Items to compare: size, owner, group, type, permission, hash or all (default: all)");
  takes.repeated("--under", "DIR", options->under,
                 "Check only what is at or below this directory; may be repeated");
  takes.value("--root", "DIR", options->root,
              "Check the files of the system below this directory, with its lists");
  takes.value("--lists", "DIR", options->lists,
              "With --root: use the lists in this directory instead");
  takes.number("--jobs", options->jobs, 1, mostJobs,
               "Number of threads (default: one per processor)");
  takes.value("--accept", "FILE", options->accept, "Read accepted mismatches from this file");
  takes.value("--metrics", "FILE", options->metrics,
              "Write metrics to this file, for Prometheus's node_exporter");
  takes.choice("--require", {"manifest"}, options->require,
               "Check only sets that are exactly what their signed manifest describes");
  takes.value("--state", "DIR", options->state,
              "With --require manifest: remember in this directory the highest serial accepted, "
              "and do not check a set whose manifest has a lower one (default, without --root: "
              "/var/lib/zemo-selfcheck)");
  takes.flag("--accept-older", options->acceptOlder,
             "With --require manifest: check such a set, and remember its lower serial");
  takes.flag("--no-verify", options->noVerify, "Do not verify the lists' signatures");
  takes.choice("--format", {"text", "paths", "json"}, options->format, "Output format");
  takes.flag("-z,--null", options->nul, "End lines with a zero byte, and do not escape names");
  takes.flag("--no-progress", options->noProgress, "Do not show progress on a terminal");
  takes.flag("-q,--quiet", options->quiet, "Print only errors");
}

}  // namespace tool
