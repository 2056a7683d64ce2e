#include "doctor/home.h"

#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <fstream>
#include <set>
#include <sstream>

#include "common/process.h"
#include "common/sets.h"

namespace tool {
namespace {

const char* const program = "/usr/bin/gpg";
const std::string trustModel = "trust-model ";
const char* const makeHome = "zemo-selfcheck init-home --import KEYFILE";

bool exists(const std::string& path) {
  struct stat status = {};
  return lstat(path.c_str(), &status) == 0;
}

bool checkProgram(Findings& findings) {
  std::string problem;
  struct stat status = {};
  if (stat(program, &status) != 0 || !S_ISREG(status.st_mode) || access(program, X_OK) != 0) {
    problem = "cannot be run by this caller";
  } else {
    Command command;
    command.words = {program, "--no-options", "--version"};
    command.cleanEnvironment = true;
    try {
      Outcome const outcome = run(command);
      if (outcome.status != 0)
        problem = "ends with status " + std::to_string(outcome.status);
    } catch (const Failure& failure) {
      problem = std::string("cannot be run: ") + failure.what();
    }
  }
  if (!problem.empty()) {
    findings.problem(STATUS_NOT_LOADED, "GnuPG, " + inQuotes(program) + ", " + problem,
                     "apt-get install --reinstall gpg");
    return false;
  }
  findings.well("GnuPG runs");
  return true;
}

// What only its owner may read serves nobody else.
void checkReadable(const std::string& path, Findings& findings) {
  struct stat status = {};
  if (stat(path.c_str(), &status) != 0)
    return;  // told by Ownership
  bool const directory = S_ISDIR(status.st_mode);
  mode_t const wanted = directory ? S_IROTH | S_IXOTH : S_IROTH;
  std::string const mend = (directory ? "chmod a+rx " : "chmod a+r ") + shellWord(path);
  if (!isReadable(path))
    findings.problem(STATUS_UNCHECKED, inQuotes(path) + " cannot be read by this caller", mend);
  else if ((status.st_mode & wanted) != wanted)
    findings.problem(
        STATUS_UNCHECKED,
        inQuotes(path) + " cannot be read by everybody, so that other callers cannot verify", mend);
  else
    findings.well(inQuotes(path) + " can be read by every caller");
}

// All files that GnuPG opens in its home. False if one of them is no regular file.
bool checkFiles(Ownership& ownership) {
  bool usable = true;
  for (const char* const name : {"gpg.conf", "gpg.conf-2", "gpg.conf-2.2", "common.conf",
                                 "pubring.kbx", "pubring.gpg", "trustdb.gpg"}) {
    std::string const path = systemDirectory + "/" + name;
    if (exists(path) &&
        !ownership.look(path, Kind::FILE, STATUS_NOT_LOADED,
                        "rm " + shellWord(path) + ", or make what the link leads to"))
      usable = false;
  }
  return usable;
}

void checkKeyRing(Findings& findings) {
  std::string const keybox = systemDirectory + "/pubring.kbx";
  std::string const old = systemDirectory + "/pubring.gpg";
  if (!exists(keybox) && !exists(old)) {
    findings.problem(STATUS_NOT_LOADED, inQuotes(keybox) + ", the key ring, does not exist",
                     makeHome);
    return;
  }
  checkReadable(exists(keybox) ? keybox : old, findings);
}

// The options in gpg.conf, with one blank between their words.
std::set<std::string> optionsIn(const std::string& path) {
  std::set<std::string> options;
  std::ifstream file(path);
  for (std::string line; std::getline(file, line);) {
    std::istringstream words(line);
    std::string option;
    for (std::string word; words >> word;)
      option += (option.empty() ? "" : " ") + word;
    if (option.compare(0, trustModel.size(), trustModel) == 0)  // the last one counts
      options.erase(options.lower_bound(trustModel), options.lower_bound("trust-model!"));
    options.insert(option);
  }
  return options;
}

void checkOptions(Findings& findings) {
  struct Wanted {
    const char* option;
    const char* reason;
  };
  static const std::array<Wanted, 4> wanted = {{
      {"trust-model always",
       "GnuPG needs a trust database that the caller can write, and fails for all others"},
      {"weak-digest SHA1", "a forged list with the SHA-1 of a signed one would verify"},
      {"no-auto-key-retrieve", "GnuPG may ask the network for a key"},
      {"no-auto-check-trustdb", "GnuPG may write to its home when it verifies"},
  }};
  std::string const path = systemDirectory + "/gpg.conf";
  bool const isThere = exists(path);
  if (isThere) {
    checkReadable(path, findings);
    if (!isReadable(path))
      return;
  } else {
    findings.problem(STATUS_UNCHECKED, inQuotes(path) + " does not exist", makeHome);
  }
  std::set<std::string> const options = isThere ? optionsIn(path) : std::set<std::string>();
  for (const Wanted& line : wanted) {
    std::string const quotedLine = std::string("'") + line.option + "'";
    if (options.count(line.option) != 0)
      findings.well(inQuotes(path) + " has the line " + quotedLine);
    else
      findings.problem(STATUS_UNCHECKED,
                       inQuotes(path) + " lacks the line " + quotedLine + ": " + line.reason,
                       "echo " + quotedLine + " >>" + shellWord(path));
  }
  if (options.count("trust-model always") == 0 && !exists(systemDirectory + "/trustdb.gpg"))
    findings.problem(STATUS_UNCHECKED,
                     inQuotes(systemDirectory) +
                         " has no trust database, and without 'trust-model always' GnuPG fails "
                         "for every caller that cannot make one",
                     "echo 'trust-model always' >>" + shellWord(path));
}

}  // namespace

bool checkHome(Ownership& ownership, Findings& findings) {
  bool const runs = checkProgram(findings);
  checkReadable(systemDirectory, findings);
  // What is in a directory that this caller cannot look into is not known to be missing.
  if (!isReadable(systemDirectory) || !checkFiles(ownership))
    return false;
  checkKeyRing(findings);
  checkOptions(findings);
  return runs;
}

}  // namespace tool
