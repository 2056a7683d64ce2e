#include "make/plan.h"

#include <sys/stat.h>

#include <algorithm>

#include "io/exit_status.h"
#include "run/workers.h"
#include "sets/items.h"

namespace tool {
namespace {

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
  plan.label = labelOf(options);
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
