// doctor: checks that everything the library relies on is in order, and says how to fix it if not.

#include <sys/stat.h>
#include <unistd.h>
#include <zemo/selfcheck.h>

#include <cerrno>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "commands.h"
#include "doctor/entries.h"
#include "doctor/findings.h"
#include "doctor/fixed_directories.h"
#include "doctor/home.h"
#include "doctor/manifest.h"
#include "doctor/order.h"
#include "doctor/ownership.h"
#include "doctor/parents.h"
#include "doctor/set_files.h"
#include "doctor/signatures.h"
#include "io/exit_status.h"
#include "io/regular_file.h"
#include "root/other_root.h"
#include "root/package.h"
#include "run/log_relay.h"
#include "sets/highest_serial.h"
#include "sets/label.h"
#include "sets/merged_set.h"
#include "sets/set_content.h"
#include "sets/sets.h"
#include "text/strings.h"

using ZEMO::SELF_CHECK::ProtectedFile;

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
    for (const std::string& set : sets)
      examine(set);
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

  // Calls `look` where the paths in lists are those of the files.
  void whereFilesAre(const std::function<void()>& look) const {
    if (_root)
      _root->inside(look);
    else
      look();
  }

  // Calls `look` where the directories of sets are, with their owners.
  void whereListsAre(const std::function<void()>& look) const {
    if (_options.lists)
      look();
    else
      whereFilesAre(look);
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

  void examine(const std::string& set) {
    SetFiles files;
    files.set = set;
    files.mode = _mode;
    files.directory = setDirectory(set);
    std::string const directory = shellWord(files.directory);
    if (!_ownership->look(files.directory, Kind::DIRECTORY, STATUS_NOT_LOADED,
                          "put the directory with the set's lists there"))
      return;
    if (!isReadable(files.directory)) {
      _findings.problem(
          STATUS_NOT_LOADED,
          "the lists in " + inQuotes(files.directory) + " cannot be found by this user",
          "chmod a+rx " + directory);
      return;
    }
    {
      std::vector<std::string> ignored;  // checkOrder() reports an unreadable listorder
      CollectedLog const log(ignored);
      files.lists = listsOf(set, _mode);
    }
    if (files.lists.empty()) {
      _findings.problem(
          STATUS_NOT_LOADED, whyNoLists(set, _mode),
          set == systemSet
              ? "make, sign and install one (see zemo-selfcheck-make(1))"
              : "make, sign and install one (see zemo-selfcheck-make(1)), or remove the directory");
      return;
    }
    // Signing or removing the blocker would make a set of old and new lists.
    if (hasBlocker(files.lists, set, _mode)) {
      _findings.problem(STATUS_NOT_LOADED,
                        "an installation of set " + inQuotes(set) + " has not ended",
                        "if none runs, run the same zemo-selfcheck install or retire again");
      return;
    }
    try {
      files.orderLines = orderLines(files.directory);
    } catch (const Failure&) {
      if (isReadable(files.directory + "/listorder"))
        throw;
      _findings.leftOut(files.directory + "/listorder");  // checkOrder() reports it
    }
    files.orderPosition = orderPositions(files.orderLines);
    bool const verified = checkSignatures(files, _home, *_ownership, _findings);
    // Lists from strangers could be made to take any amount of time and memory.
    bool const complete = verified && readLists(files);
    files.contents.resize(files.lists.size());
    checkOrder(files, *_ownership, _findings);
    auto const accepted = _accepted.find(set);
    if (accepted != _accepted.end())
      files.acceptedSerial = accepted->second;
    checkManifest(files, _home, *_ownership, _findings);
    if (!verified)
      return;
    checkLabels(files, _findings);
    checkNames(files);
    checkEntries(files, _findings);
    checkNumber(files);
    if (isInstalled(set) && complete)
      checkMerged(files);
  }

  // A file that is not regular does not verify; checkSignatures() reports this.
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
        _findings.problem(
            failure.status(), failure.what(),
            isReadable(list)
                ? "make, sign and install the list again: it must begin with the line " +
                      listHeader + " and a second line of any text"
                : "chmod a+r " + shellWord(list));
      }
    }
    return complete;
  }

  // The pattern for a mode's lists also matches lists of a mode whose name continues with a dot.
  void checkNames(const SetFiles& files) {
    Repeated foreign;
    for (std::size_t i = 0; i < files.lists.size(); ++i) {
      std::string const name = listName(files.lists[i], files.set, files.mode);
      if (name.find('.') == std::string::npos || !files.contents[i])
        continue;
      std::optional<Label> const label = parseLabel(files.contents[i]->label);
      if (!label || label->set != files.set || label->mode != files.mode || label->list != name)
        foreign.add(inQuotes(files.lists[i]) + " is read as a list of mode " +
                    inQuotes(files.mode) + ", but it is named like one of mode " +
                    inQuotes(files.mode + "." + name.substr(0, name.find('.'))));
    }
    _findings.problems(STATUS_UNCHECKED, foreign,
                       "give the other mode a name without a dot, or the list the name that its "
                       "second line states, and sign it",
                       "set " + inQuotes(files.set) +
                           " has no lists named like those of another "
                           "mode");
  }

  // GnuPG starts once for each list, which takes longer than checking the entries of a small one.
  void checkNumber(const SetFiles& files) {
    constexpr std::size_t many = 20;
    if (files.lists.size() >= many)
      _findings.hint("set " + inQuotes(files.set) + " has " + std::to_string(files.lists.size()) +
                         " lists, and each delays every load of the set",
                     "join lists that are read one after the other with zemo-selfcheck merge (see "
                     "zemo-selfcheck-make(1))");
  }

  bool isInstalled(const std::string& set) {
    if (set == systemSet)
      return true;
    if (_root)
      return isInstalledIn(_root->tree(), set);
    std::vector<std::string> lines;
    CollectedLog const log(lines);
    if (ProtectedFile::setPkg(set)) {
      _findings.well("package " + inQuotes(set) + " is installed");
      return true;
    }
    std::string const package = "/var/packages/" + set;
    std::error_code error;
    if (std::filesystem::is_directory(package + "/target", error))
      _findings.problem(
          STATUS_NOT_LOADED,
          "the user of package " + inQuotes(set) + " is not known: " + reasonFrom(lines),
          "write the name of an existing account as the only line of " +
              inQuotes(package + "/user"));
    else
      _findings.problem(
          STATUS_NOT_LOADED, "set " + inQuotes(set) + " has no package: " + reasonFrom(lines),
          "install the package, or, if it is gone for good, remove the directory of its set: " +
              inQuotes(setDirectory(set)));
    return false;
  }

  bool isInstalledIn(const Tree& root, const std::string& set) {
    try {
      (void)packageIn(root, set);
      _findings.well("package " + inQuotes(set) + " is installed");
      return true;
    } catch (const Failure& failure) {
      _findings.problem(failure.status(), failure.what(),
                        "install the package, correct its user, or, if it is gone for good, remove "
                        "the directory of its set: " +
                            inQuotes(setDirectory(set)));
      return false;
    }
  }

  void checkMerged(const SetFiles& files) {
    std::vector<std::string> lines;
    CollectedLog const log(lines);
    try {
      MergedSet const merged =
          mergedSetOf(_root ? &_root->tree() : nullptr, files.set, files.mode, false);
      _findings.well("set " + inQuotes(files.set) + " has " +
                     counted(merged.entries.size(), "entry", "entries") + " in " +
                     counted(merged.lists.size(), "list", "lists"));
      if (merged.entries.empty())
        _findings.problem(
            STATUS_NOT_LOADED,
            "the lists of set " + inQuotes(files.set) + " have no entries, so nothing is checked",
            "make, sign and install others (see zemo-selfcheck-make(1))");
      whereFilesAre([&] {
        checkFixedDirectories(files.set, merged, _findings);
        checkParents(files.set, merged, _findings);
      });
    } catch (const Failure& failure) {
      _findings.problem(failure.status(),
                        "set " + inQuotes(files.set) + " does not load: " + failure.what() +
                            (lines.empty() ? "" : " (" + reasonFrom(lines) + ")"),
                        "make, sign and install its lists again");
    }
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
