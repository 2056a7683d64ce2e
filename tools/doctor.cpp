// doctor: whether all that the library relies on is in order, and how to mend what is not.

#include <zemo/selfcheck.h>

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "commands.h"
#include "common/failure.h"
#include "common/log_relay.h"
#include "common/merged_set.h"
#include "common/sets.h"
#include "doctor/entries.h"
#include "doctor/findings.h"
#include "doctor/fixed_directories.h"
#include "doctor/home.h"
#include "doctor/order.h"
#include "doctor/ownership.h"
#include "doctor/set_files.h"
#include "doctor/signatures.h"

using ZEMO::SELF_CHECK::ProtectedFile;

namespace tool {
namespace {

const char* const examples =
    "Looks at the set wam and at every set of a package: directories, lists, signatures, "
    "listorder,\n"
    "key ring, gpg.conf, who may write to them and to all above them (by owner and permission;\n"
    "access control lists are not looked at), and the lists' lines. Each problem is followed by a\n"
    "command or an edit that mends it. Exit status: 0 all is well, 16 a set does not load or "
    "verify\n"
    "for this caller, 8 another problem; both are added.\n"
    "\n"
    "Examples:\n"
    "  zemo-selfcheck doctor              all problems\n"
    "  zemo-selfcheck doctor --verbose    what is well, too\n";

struct Options {
  std::string mode = defaultMode;
  bool verbose = false;
};

class Doctor {
 public:
  explicit Doctor(const Options& options)
      : _mode(options.mode), _findings(options.verbose), _ownership(_findings) {}

  int run() {
    if (!_ownership.look(systemDirectory, Kind::DIRECTORY, STATUS_NOT_LOADED,
                         "zemo-selfcheck init-home --import KEYFILE")) {
      summarize(0);
      return _findings.status();
    }
    _home = checkHome(_ownership, _findings);
    std::vector<std::string> sets = {systemSet};
    addPackages(sets);
    for (const std::string& set : sets)
      examine(set);
    _findings.settle();
    summarize(sets.size());
    return _findings.status();
  }

 private:
  void addPackages(std::vector<std::string>& sets) {
    std::error_code error;
    if (!std::filesystem::exists(std::filesystem::symlink_status(packagesDirectory, error))) {
      if (error && error != std::errc::no_such_file_or_directory &&
          error != std::errc::not_a_directory)
        _findings.problem(STATUS_UNCHECKED,
                          "cannot look at " + inQuotes(packagesDirectory) + ": " + error.message(),
                          "run this as root");
      else
        _findings.well("there are no sets of packages");
      return;
    }
    if (!_ownership.look(packagesDirectory, Kind::DIRECTORY, STATUS_NOT_LOADED, ""))
      return;
    try {
      for (const std::string& name : packageDirectories()) {
        if (canBeNamed(name))
          sets.push_back(name);
      }
    } catch (const Failure& failure) {
      _findings.problem(STATUS_UNCHECKED, failure.what(),
                        "chmod a+rx " + shellWord(packagesDirectory));
    }
  }

  bool canBeNamed(const std::string& name) {
    std::string const directory = packagesDirectory + "/" + name;
    std::string problem;
    try {
      requireSetName(name);
      if (name != systemSet)
        return true;
      problem = "the set of that name lies in " + inQuotes(systemDirectory);
    } catch (const Failure& failure) {
      problem = failure.what();
    }
    _findings.problem(STATUS_UNCHECKED,
                      "no set can be loaded from " + inQuotes(directory) + ": " + problem,
                      "rename or remove " + shellWord(directory));
    return false;
  }

  void examine(const std::string& set) {
    SetFiles files;
    files.set = set;
    files.mode = _mode;
    files.directory = setDirectory(set);
    std::string const directory = shellWord(files.directory);
    if (!_ownership.look(files.directory, Kind::DIRECTORY, STATUS_NOT_LOADED,
                         "mkdir -m 755 -p " + directory))
      return;
    if (!isReadable(files.directory)) {
      _findings.problem(
          STATUS_NOT_LOADED,
          "the lists in " + inQuotes(files.directory) + " cannot be found by this caller",
          "chmod a+rx " + directory);
      return;
    }
    {
      std::vector<std::string> ignored;  // an unreadable listorder, of which checkOrder() tells
      CollectedLog const log(ignored);
      files.lists = listsOf(set, _mode);
    }
    if (files.lists.empty()) {
      _findings.problem(STATUS_NOT_LOADED, whyNoLists(set, _mode),
                        "make, sign and install one: zemo-selfcheck make --help" +
                            std::string(set == systemSet ? "" : "; or rmdir " + directory));
      return;
    }
    try {
      files.orderLines = orderLines(files.directory);
    } catch (const Failure&) {
      if (isReadable(files.directory + "/listorder"))
        throw;
      _findings.leftOut(files.directory + "/listorder");  // checkOrder() tells of it
    }
    files.orderPosition = orderPositions(files.orderLines);
    bool const complete = readLists(files);
    checkOrder(files, _ownership, _findings);
    checkSignatures(files, _home, _ownership, _findings);
    checkLabels(files, _findings);
    checkEntries(files, _findings);
    if (isInstalled(set) && complete)
      checkMerged(files);
  }

  // Of what is no regular file checkSignatures() tells.
  bool readLists(SetFiles& files) {
    bool complete = true;
    for (const std::string& list : files.lists) {
      files.contents.emplace_back();
      std::error_code ignored;
      if (!std::filesystem::is_regular_file(list, ignored)) {
        _findings.leftOut(list);
        complete = false;
        continue;
      }
      try {
        files.contents.back() = readListFile(list);
      } catch (const Failure& failure) {
        complete = false;
        _findings.problem(failure.status(), failure.what(),
                          isReadable(list)
                              ? "install the list again; a list begins with the line " +
                                    listHeader + " and a line of any text"
                              : "chmod a+r " + shellWord(list));
      }
    }
    return complete;
  }

  bool isInstalled(const std::string& set) {
    if (set == systemSet)
      return true;
    std::vector<std::string> lines;
    CollectedLog const log(lines);
    if (ProtectedFile::setPkg(set)) {
      _findings.well("the package " + inQuotes(set) + " is installed");
      return true;
    }
    _findings.problem(STATUS_NOT_LOADED,
                      "the set " + inQuotes(set) + " has no package: " + reasonFrom(lines),
                      "install the package, or rm -r " + shellWord(setDirectory(set)));
    return false;
  }

  void checkMerged(const SetFiles& files) {
    std::vector<std::string> lines;
    CollectedLog const log(lines);
    try {
      MergedSet const merged = mergedSet(files.set, files.mode, false);
      _findings.well("set " + inQuotes(files.set) + " has " +
                     std::to_string(merged.entries.size()) + " entries in " +
                     std::to_string(merged.lists.size()) + " lists");
      if (merged.entries.empty())
        _findings.problem(STATUS_NOT_LOADED,
                          "the lists of the set " + inQuotes(files.set) +
                              " have no entries, so that nothing is checked",
                          "make, sign and install others: zemo-selfcheck make --help");
      checkFixedDirectories(files.set, merged, _findings);
    } catch (const Failure& failure) {
      _findings.problem(failure.status(),
                        "the set " + inQuotes(files.set) + " does not load: " + failure.what() +
                            (lines.empty() ? "" : " (" + reasonFrom(lines) + ")"),
                        "install its lists again");
    }
  }

  void summarize(std::size_t sets) const {
    std::size_t const problems = _findings.problemCount();
    std::string const well = std::to_string(_findings.wellCount()) + " checks of " +
                             std::to_string(sets) + (sets == 1 ? " set" : " sets");
    if (problems == 0)
      printf("all is well: %s\n", well.c_str());
    else
      printf("%zu %s; %s are well\n", problems, problems == 1 ? "problem" : "problems",
             well.c_str());
  }

  std::string _mode;
  Findings _findings;
  Ownership _ownership;
  HomeState _home;
};

int runDoctor(const Options& options) {
  requireModeName(options.mode);
  return Doctor(options).run();
}

}  // namespace

void addDoctor(Commands& program) {
  auto const options = std::make_shared<Options>();
  Arguments takes = program.add("doctor", "Look whether lists, signatures and keys are in order",
                                examples, [options] { return runDoctor(*options); });
  takes.value("--mode", "MODE", options->mode, "Kind of lists");
  takes.flag("--verbose", options->verbose, "Name what is well, too");
}

}  // namespace tool
