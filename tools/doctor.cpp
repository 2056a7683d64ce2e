// doctor: checks that everything the library relies on is in order, and says how to fix it if not.

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "commands.h"
#include "doctor/findings.h"
#include "doctor/home.h"
#include "doctor/ownership.h"
#include "doctor/set_examination.h"
#include "io/exit_status.h"
#include "io/regular_file.h"
#include "root/other_root.h"
#include "sets/highest_serial.h"
#include "sets/sets.h"
#include "text/strings.h"

namespace tool {
namespace {

const char* const examples =
    "Examines the set wam and the set of every package: directories, lists, signatures, listorder, "
    "key ring, gpg.conf, who may write to them and to all directories above them (by owner and "
    "permissions; access control lists are not examined), and the lists' lines. Each problem is "
    "followed by a fix, a command or an edit; so is a hint, which is not a problem. Exit status: 0 "
    "if all is well, otherwise the sum of 16 (a set does not load or verify for this user) and 8 "
    "(another problem).\n"
    "\n"
    "Examples:\n"
    "  zemo-selfcheck doctor              all problems\n"
    "  zemo-selfcheck doctor --verbose    all checks that pass as well\n"
    "  zemo-selfcheck doctor --root /mnt  of the system below /mnt\n";

const char* const makeHome = "zemo-selfcheck init-home --import KEYFILE";

struct Options {
  std::string mode = defaultMode;
  std::optional<std::string> root;
  std::optional<std::string> lists;
  bool verbose = false;
  std::string format = "text";
};

// This machine's key ring; empty if it has another format.
std::string keyRing() {
  std::string const path = systemDirectory + "/pubring.kbx";
  struct stat status = {};
  bool const isAbsent = lstat(path.c_str(), &status) != 0 && errno == ENOENT;
  return isAbsent ? "" : readWholeFile(path);
}

class Doctor {
 public:
  explicit Doctor(const Options& options)
      : _options(options),
        _mode(options.mode),
        _findings(options.verbose, options.format == "json"),
        _ownership(std::make_unique<Ownership>(_findings)) {}

  int run() {
    _findings.begin(_mode, _options.root, _options.lists);
    if (!_ownership->look(systemDirectory, Kind::DIRECTORY, STATUS_NOT_LOADED, makeHome)) {
      _findings.summarize(0);
      return _findings.status();
    }
    _home = checkHome(*_ownership, _findings);
    if (_options.root && !enterRoot()) {
      _findings.summarize(0);
      return _findings.status();
    }
    std::vector<std::string> sets = {systemSet};
    addPackages(sets);
    if (!_root)
      recallSerials(sets);
    Surroundings const surroundings = {_mode, _root.get(), _home, *_ownership};
    for (const std::string& set : sets) {
      auto const accepted = _accepted.find(set);
      examineSet(set, accepted == _accepted.end() ? std::nullopt : std::optional(accepted->second),
                 surroundings, _findings);
    }
    _findings.settle();
    _findings.summarize(sets.size());
    return _findings.status();
  }

 private:
  // From now on, everything is about the other root, but this machine's home verifies its lists.
  // Returns false if it has no lists.
  bool enterRoot() {
    _root = chosenRoot(_options.root, _options.lists);
    if (!_root->knowsIds())
      _findings.hint("the owners in the other root are not examined", "run this as root");
    _findings.lookElsewhere();
    _ownership = std::make_unique<Ownership>(_findings, _root.get());
    bool const isThere =
        _ownership->look(systemDirectory, Kind::DIRECTORY, STATUS_NOT_LOADED, makeHome);
    if (isThere)
      checkHomeOf(*_root, keyRing(), *_ownership, _findings);
    if (!_options.lists)
      return isThere;
    // They are not where that root would have them.
    _ownership = std::make_unique<Ownership>(_findings);
    _ownership->ignoreOwners();
    return true;
  }

  void recallSerials(const std::vector<std::string>& sets) {
    KnownSerials const known = serialsToCompare(sets, _mode);
    _accepted = known.highest;
    // Ordinary users usually cannot read them.
    if (known.unused.empty() || geteuid() != 0)
      return;
    std::string const what =
        "it is not known whether the manifests are the newest: " + known.unused;
    std::error_code ignored;
    // systemd makes it a link for a dynamic user.
    if (std::filesystem::is_symlink(serialDirectory, ignored))
      _findings.hint(what, "do not use a dynamic user if sets have manifests");
    else
      _findings.problem(STATUS_UNCHECKED, what, "correct or remove it");
  }

  // Calls `look` where the directories of sets are, with their owners.
  void whereListsAre(const std::function<void()>& look) const {
    if (_root && !_options.lists)
      _root->inside(look);
    else
      look();
  }

  void addPackages(std::vector<std::string>& sets) {
    std::error_code error;
    bool isThere = false;
    whereListsAre([&] {
      isThere = std::filesystem::exists(std::filesystem::symlink_status(packagesDirectory, error));
    });
    if (!isThere) {
      if (error && error != std::errc::no_such_file_or_directory &&
          error != std::errc::not_a_directory)
        _findings.problem(STATUS_UNCHECKED,
                          "cannot examine " + inQuotes(packagesDirectory) + ": " + error.message(),
                          "run this as root");
      else
        _findings.well("there are no sets of packages");
      return;
    }
    if (!_ownership->look(packagesDirectory, Kind::DIRECTORY, STATUS_NOT_LOADED,
                          "create it as a directory with the sets of packages, if there are any"))
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
      problem = "the set of that name is in " + inQuotes(systemDirectory);
    } catch (const Failure& failure) {
      problem = failure.what();
    }
    _findings.problem(STATUS_UNCHECKED,
                      "no set can be loaded from " + inQuotes(directory) + ": " + problem,
                      "rename or remove this directory");
    return false;
  }

  const Options& _options;
  std::string _mode;
  Findings _findings;
  std::shared_ptr<const OtherRoot> _root;     // null: this machine is examined
  std::unique_ptr<Ownership> _ownership;      // of the directories of sets
  std::map<std::string, uint64_t> _accepted;  // by set: the highest serial of a manifest so far
  HomeState _home;                            // always this machine's
};

int runDoctor(const Options& options) {
  requireModeName(options.mode);
  if (options.lists && !options.root)
    throw UsageError("--lists needs --root");
  return Doctor(options).run();
}

}  // namespace

void addDoctor(Commands& program) {
  auto const options = std::make_shared<Options>();
  Arguments takes = program.add("doctor", "Look for problems with lists, signatures and keys",
                                examples, [options] { return runDoctor(*options); });
  takes.value("--mode", "MODE", options->mode, "Mode of the lists");
  takes.value("--root", "DIR", options->root,
              "Examine the lists of the system below this directory, and what its own checks need");
  takes.value("--lists", "DIR", options->lists,
              "With --root: use the lists in this directory instead");
  takes.flag("--verbose", options->verbose, "Also print what is well");
  takes.choice("--format", {"text", "json"}, options->format, "Output format");
}

}  // namespace tool
