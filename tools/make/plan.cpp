#include "make/plan.h"

#include <sys/stat.h>

#include <algorithm>
#include <cstdlib>
#include <memory>

#include "io/exit_status.h"
#include "io/paths.h"
#include "make/record.h"
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

std::vector<std::string> allOf(const std::vector<std::string>& paths,
                               std::string (*absolute)(const std::string&)) {
  std::vector<std::string> result;
  result.reserve(paths.size());
  for (const std::string& path : paths)
    result.push_back(absolute(path));
  return result;
}

// The real path, or an empty one.
std::string realPath(const std::string& path) {
  std::unique_ptr<char, void (*)(void*)> const real(realpath(path.c_str(), nullptr), free);
  return real != nullptr ? real.get() : "";
}

// The names of the list and its signature as the listed files' root sees them.
std::set<std::string> namesOfOutput(const std::string& output,
                                    const std::optional<std::string>& root) {
  std::set<std::string> names = {output};
  std::string const directory = realPath(directoryOf(output));
  if (!directory.empty())
    names.insert(joined(directory, fileName(output)));
  if (root) {
    std::set<std::string> inside;
    for (std::string const& top : {root->empty() ? "" : absolutePath(*root), realPath(*root)}) {
      for (const std::string& name : names) {
        if (!top.empty() && isAtOrBelow(top, name))
          inside.insert(top == "/" ? name : name.substr(top.size()));
      }
    }
    names.swap(inside);
  }
  for (const std::string& name : std::set<std::string>(names))
    names.insert(name + ".asc");
  return names;
}

}  // namespace

MakePlan planOf(const MakeOptions& given) {
  MakeOptions const options = withPathsGivenBack(given);
  if (options.output.empty())
    throw UsageError("--output is required; see zemo-selfcheck make --help");
  MakePlan plan;
  plan.label = labelOf(options);
  plan.output = absolutePath(options.output);
  plan.bases = allOf(options.base, absolutePath);
  requireBases(plan.bases, plan.output);
  if (options.paths.empty() && !options.from && options.dpkg.empty() && !options.dpkgAll &&
      options.fixed.empty())
    throw UsageError("nothing to list: give paths, --from, --dpkg, --dpkg-all or --fixed");
  plan.root = options.root;
  auto* const absolute = options.root ? pathInRoot : absolutePath;
  plan.trees = allOf(options.paths, absolute);
  plan.oneFileSystem = options.oneFileSystem;
  plan.ownNames = namesOfOutput(plan.output, plan.root);
  plan.from = options.from && *options.from != "-" ? absolutePath(*options.from) : options.from;
  plan.nul = options.nul;
  plan.debs = options.dpkg;
  plan.allDebs = options.dpkgAll;
  plan.conffiles = options.conffiles;
  plan.allowChanged = options.allowChanged;
  plan.excluded = options.exclude;
  plan.exclusions = Exclusions(options.exclude);
  plan.fixed = allOf(options.fixed, absolute);
  for (const std::string& directory : plan.fixed) {
    if (plan.exclusions.cover(directory))
      throw UsageError("--fixed " + inQuotes(directory) + " is excluded by --exclude");
  }
  plan.omitted = itemsNamed(options.omit);
  plan.forPackage = plan.label.set != systemSet;
  plan.readAs = plan.root ? systemSet : plan.label.set;
  plan.mode = options.mode;
  plan.jobs = options.jobs;
  plan.progress = !options.noProgress;
  plan.label.made = recordOf(plan);
  return plan;
}

}  // namespace tool
