#include "make/plan.h"

#include <sys/stat.h>

#include <charconv>
#include <climits>
#include <cstdlib>
#include <ctime>

#include "io/exit_status.h"
#include "io/paths.h"
#include "run/workers.h"
#include "sets/items.h"
#include "text/escape.h"

namespace tool {
namespace {

constexpr std::string_view signatureEnding = ".asc";
constexpr uint64_t lastSecond = 253402300799;  // of the year 9999

// `text` as a decimal number from `least` to `most`. Messages call it `what`.
uint64_t numberOf(const std::string& text, const std::string& what, uint64_t least, uint64_t most) {
  uint64_t number = 0;
  const char* const end = text.data() + text.size();
  std::from_chars_result const result = std::from_chars(text.data(), end, number);
  if (result.ec != std::errc() || result.ptr != end || number < least || number > most)
    throw UsageError(what + " " + inQuotes(text) + " is not a number from " +
                     std::to_string(least) + " to " + std::to_string(most));
  return number;
}

// The current time, or the time that a reproducible build specifies.
std::time_t dateOfList() {
  const char* const given = getenv("SOURCE_DATE_EPOCH");
  if (given == nullptr)
    return std::time(nullptr);
  return static_cast<std::time_t>(numberOf(given, "SOURCE_DATE_EPOCH", 0, lastSecond));
}

std::string setOf(const MakeOptions& options) {
  if (!options.package)
    return systemSet;
  requireSetName(*options.package);
  if (*options.package == systemSet)
    throw UsageError("--package wam: that is the operating system's own set, not a package");
  return *options.package;
}

Label labelOf(const MakeOptions& options) {
  Label label;
  label.set = setOf(options);
  label.mode = options.mode;
  label.list = listName(options.output, label.set, label.mode);
  label.date = dateOfList();
  label.serial = !options.serial ? static_cast<uint64_t>(label.date)
                                 : numberOf(*options.serial, "--serial", 0, UINT64_MAX);
  return label;
}

bool isDirectory(const std::string& path) {
  struct stat status = {};
  return stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

// An option with several values also consumes the paths that follow it. Words that cannot be its
// own are returned to the paths, so that the order of options and paths does not matter.
MakeOptions withPathsGivenBack(MakeOptions options) {
  auto const giveBack = [&options](std::vector<std::string>& values, auto const& isPath) {
    auto const end = std::stable_partition(
        values.begin(), values.end(), [&](const std::string& value) { return !isPath(value); });
    options.paths.insert(options.paths.end(), end, values.end());
    values.erase(end, values.end());
  };
  giveBack(options.dpkg,
           [](const std::string& word) { return word.find('/') != std::string::npos; });
  giveBack(options.base, isDirectory);
  return options;
}

bool isSameFile(const std::string& one, const std::string& other) {
  struct stat first = {};
  struct stat second = {};
  return one == other || (stat(one.c_str(), &first) == 0 && stat(other.c_str(), &second) == 0 &&
                          first.st_dev == second.st_dev && first.st_ino == second.st_ino);
}

void requireBases(const std::vector<std::string>& lists, const std::string& output) {
  for (const std::string& list : lists) {
    if (isSameFile(list, output))
      throw UsageError("--base " + inQuotes(list) +
                       " is the list to be written: it cannot be read before itself");
  }
}

std::vector<std::string> allAbsolute(const std::vector<std::string>& paths) {
  std::vector<std::string> result;
  result.reserve(paths.size());
  for (const std::string& path : paths)
    result.push_back(absolutePath(path));
  return result;
}

}  // namespace

MakePlan planOf(const MakeOptions& given) {
  MakeOptions const options = withPathsGivenBack(given);
  MakePlan plan;
  requireModeName(options.mode);
  plan.label = labelOf(options);
  if (!isNamedLikeListOf(options.output, plan.label.set, options.mode))
    throw UsageError("--output " + inQuotes(options.output) +
                     " is not named like a list of its set: " +
                     escaped(plan.label.set + "." + options.mode) + ".*.list");
  if (fileName(options.output).size() + signatureEnding.size() > NAME_MAX)
    throw UsageError("--output " + inQuotes(options.output) + ": its name may have at most " +
                     std::to_string(NAME_MAX - signatureEnding.size()) +
                     " bytes, to leave room for .asc");
  plan.output = absolutePath(options.output);
  plan.bases = allAbsolute(options.base);
  requireBases(plan.bases, plan.output);
  if (options.paths.empty() && !options.from && options.dpkg.empty() && options.fixed.empty())
    throw UsageError("nothing to list: give paths, --from, --dpkg or --fixed");
  plan.trees = allAbsolute(options.paths);
  plan.from = options.from;
  plan.nul = options.nul;
  plan.debs = options.dpkg;
  plan.conffiles = options.conffiles;
  plan.allowChanged = options.allowChanged;
  plan.exclusions = Exclusions(options.exclude);
  plan.fixed = allAbsolute(options.fixed);
  for (const std::string& directory : plan.fixed) {
    if (plan.exclusions.cover(directory))
      throw UsageError("--fixed " + inQuotes(directory) + " is excluded by --exclude");
  }
  plan.omitted = itemsNamed(options.omit);
  plan.forPackage = plan.label.set != systemSet;
  plan.mode = options.mode;
  plan.jobs = options.jobs;
  plan.progress = !options.noProgress;
  return plan;
}

}  // namespace tool
