#include "doctor/set_examination.h"

#include <zemo/selfcheck.h>

#include <filesystem>
#include <string>
#include <vector>

#include "doctor/entries.h"
#include "doctor/fixed_directories.h"
#include "doctor/manifest.h"
#include "doctor/order.h"
#include "doctor/parents.h"
#include "doctor/set_files.h"
#include "doctor/signatures.h"
#include "io/exit_status.h"
#include "root/package.h"
#include "run/log_relay.h"
#include "sets/label.h"
#include "sets/merged_set.h"
#include "sets/set_content.h"
#include "sets/sets.h"
#include "text/strings.h"

using ZEMO::SELF_CHECK::ProtectedFile;

namespace tool {
namespace {

class Examination {
 public:
  Examination(const Surroundings& in, Findings& findings) : _in(in), _findings(findings) {}

  void run(const std::string& set, const std::optional<uint64_t>& acceptedSerial) {
    SetFiles files;
    files.set = set;
    files.mode = _in.mode;
    files.directory = setDirectory(set);
    std::string const directory = shellWord(files.directory);
    if (!_in.ownership.look(files.directory, Kind::DIRECTORY, STATUS_NOT_LOADED,
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
      files.lists = listsOf(set, _in.mode);
    }
    if (files.lists.empty()) {
      _findings.problem(
          STATUS_NOT_LOADED, whyNoLists(set, _in.mode),
          set == systemSet
              ? "make, sign and install one (see zemo-selfcheck-make(1))"
              : "make, sign and install one (see zemo-selfcheck-make(1)), or remove the directory");
      return;
    }
    // Signing or removing the blocker would make a set of old and new lists.
    if (hasBlocker(files.lists, set, _in.mode)) {
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
    bool const verified = checkSignatures(files, _in.home, _in.ownership, _findings);
    // Lists from strangers could be made to take any amount of time and memory.
    bool const complete = verified && readLists(files);
    files.contents.resize(files.lists.size());
    checkOrder(files, _in.ownership, _findings);
    files.acceptedSerial = acceptedSerial;
    checkManifest(files, _in.home, _in.ownership, _findings);
    if (!verified)
      return;
    checkLabels(files, _findings);
    checkNames(files);
    checkEntries(files, _findings);
    checkNumber(files);
    if (isInstalled(set) && complete)
      checkMerged(files);
  }

 private:
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
    if (_in.root != nullptr)
      return isInstalledIn(_in.root->tree(), set);
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
      MergedSet const merged = mergedSetOf(_in.root != nullptr ? &_in.root->tree() : nullptr,
                                           files.set, files.mode, false);
      _findings.well("set " + inQuotes(files.set) + " has " +
                     counted(merged.entries.size(), "entry", "entries") + " in " +
                     counted(merged.lists.size(), "list", "lists"));
      if (merged.entries.empty())
        _findings.problem(
            STATUS_NOT_LOADED,
            "the lists of set " + inQuotes(files.set) + " have no entries, so nothing is checked",
            "make, sign and install others (see zemo-selfcheck-make(1))");
      auto const look = [&] {
        checkFixedDirectories(files.set, merged, _findings);
        checkParents(files.set, merged, _findings);
      };
      if (_in.root != nullptr)
        _in.root->inside(look);
      else
        look();
    } catch (const Failure& failure) {
      _findings.problem(failure.status(),
                        "set " + inQuotes(files.set) + " does not load: " + failure.what() +
                            (lines.empty() ? "" : " (" + reasonFrom(lines) + ")"),
                        "make, sign and install its lists again");
    }
  }

  const Surroundings& _in;
  Findings& _findings;
};

}  // namespace

void examineSet(const std::string& set, const std::optional<uint64_t>& acceptedSerial,
                const Surroundings& surroundings, Findings& findings) {
  Examination(surroundings, findings).run(set, acceptedSerial);
}

}  // namespace tool
