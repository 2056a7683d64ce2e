#include "doctor/home.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <vector>

#include "gnupg/home_files.h"
#include "gnupg/options.h"
#include "io/regular_file.h"
#include "run/process.h"
#include "sets/sets.h"

namespace tool {
namespace {

const char* const program = "/usr/bin/gpg";
const std::string configurationPath = systemDirectory + "/gpg.conf";
const std::string ringPath = systemDirectory + "/pubring.kbx";
constexpr std::size_t longestOptions = 1 << 20;
const char* const makeHome = "zemo-selfcheck init-home --import KEYFILE";

bool exists(const std::string& path) {
  struct stat status = {};
  return lstat(path.c_str(), &status) == 0 || errno != ENOENT;
}

bool checkProgram(Findings& findings) {
  std::string problem;
  struct stat status = {};
  if (stat(program, &status) != 0 || !S_ISREG(status.st_mode) || access(program, X_OK) != 0) {
    problem = "cannot be run by this user";
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

// A file that only its owner can read is of no use to other users.
void checkReadable(const std::string& path, Findings& findings) {
  struct stat status = {};
  if (stat(path.c_str(), &status) != 0) {
    findings.leftOut(path);  // Ownership reports it
    return;
  }
  bool const directory = S_ISDIR(status.st_mode);
  mode_t const wanted = directory ? S_IROTH | S_IXOTH : S_IROTH;
  std::string const fix = (directory ? "chmod a+rx " : "chmod a+r ") + shellWord(path);
  if (!isReadable(path))
    findings.problem(STATUS_UNCHECKED, inQuotes(path) + " cannot be read by this user", fix);
  else if ((status.st_mode & wanted) != wanted)
    findings.problem(STATUS_UNCHECKED,
                     inQuotes(path) + " is not readable by everyone, so other users cannot verify",
                     fix);
  else
    findings.well(inQuotes(path) + " can be read by every user");
}

// Checks all files that GnuPG opens to verify. Returns false if one of them is not a regular file.
bool checkFiles(Ownership& ownership) {
  bool usable = true;
  for (const std::string& path : gnupgFilesOf(systemDirectory)) {
    bool const needed = path == ringPath || path == configurationPath;
    if (!ownership.look(path, Kind::FILE, STATUS_NOT_LOADED, needed ? makeHome : ""))
      usable = false;
  }
  return usable;
}

void checkOtherConfigurations(Findings& findings) {
  std::vector<std::string> const others = otherConfigurationsIn(systemDirectory);
  for (const std::string& path : others)
    findings.problem(STATUS_UNCHECKED,
                     inQuotes(path) + " replaces gpg.conf for GnuPG of that version",
                     "rm " + shellWord(path));
  if (others.empty())
    findings.well("no file replaces gpg.conf");
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

// The command that adds this line to the home's gpg.conf.
std::string fixByLine(const std::string& line) {
  struct stat status = {};
  std::string const file = shellWord(configurationPath);
  // The file's last line may lack its line feed. sed adds it, but does nothing to an empty file.
  if (stat(configurationPath.c_str(), &status) == 0 && status.st_size > 0)
    return "sed -i '$a " + line + "' " + file;
  return "echo '" + line + "' >>" + file;
}

// Reports the lines that an option file should not have.
void checkHarmless(const std::string& path, const OptionReading& reading, HomeState& state,
                   Findings& findings) {
  Repeated doubtful;
  std::string numbers;
  for (const OptionLine& line : reading.doubtful) {
    doubtful.add(optionText(line, path));
    numbers += (numbers.empty() ? "" : ";") + std::to_string(line.number) + "d";
  }
  state.doubtful = state.doubtful || doubtful.count() != 0;
  std::vector<std::string> const others = otherConfigurationsIn(systemDirectory);
  bool const mayStay = std::find(others.begin(), others.end(), path) == others.end();
  findings.problems(
      STATUS_NOT_LOADED, doubtful,
      mayStay ? "sed -i '" + numbers + "' " + shellWord(path) : "remove the whole file (see above)",
      inQuotes(path) + " has only harmless lines");
}

void checkNeeded(const OptionReading& reading, HomeState& state, Findings& findings) {
  std::string const path = inQuotes(configurationPath);
  for (const NeededOption* const option : reading.held)
    findings.well(path + " has the line " + inQuotes(option->line));
  for (const NeededOption* const option : reading.missing) {
    state.trusting = state.trusting && option != &neededOptions.front();
    findings.problem(STATUS_UNCHECKED,
                     path + " lacks the line " + inQuotes(option->line) + ": " + option->reason,
                     fixByLine(option->line));
  }
}

void checkOptions(HomeState& state, Findings& findings) {
  if (!exists(configurationPath)) {
    state.trusting = false;
    findings.problem(
        STATUS_UNCHECKED,
        inQuotes(configurationPath) +
            " does not exist: GnuPG fails for every user who cannot create a trust database",
        exists(ringPath) ? "zemo-selfcheck init-home" : makeHome);
  }
  for (const std::string& path : optionFilesOf(systemDirectory)) {
    checkReadable(path, findings);
    if (!isReadable(path)) {
      findings.leftOut(path);
      continue;
    }
    std::string const content = RegularFile::following(path).content(longestOptions + 1);
    if (content.size() > longestOptions) {
      state.doubtful = true;
      findings.problem(STATUS_NOT_LOADED,
                       inQuotes(path) + " has more than " + std::to_string(longestOptions) +
                           " bytes, so it is not read",
                       "rm " + shellWord(path));
      continue;
    }
    OptionReading const reading = readOptions(content);
    checkHarmless(path, reading, state, findings);
    if (path == configurationPath)
      checkNeeded(reading, state, findings);
  }
}

// Nothing in another root may be executed from here.
void checkProgramThere(Findings& findings) {
  struct stat status = {};
  bool const isFile = stat(program, &status) == 0 && S_ISREG(status.st_mode);
  if (isFile && (status.st_mode & S_IXOTH) != 0)
    findings.well("GnuPG, " + inQuotes(program) + ", exists");
  else
    findings.problem(STATUS_NOT_LOADED,
                     "GnuPG, " + inQuotes(program) + ", does not exist or cannot be executed",
                     "apt-get install --reinstall gpg");
}

// Compares it with this machine's, and says that it is a key ring otherwise.
void compareRing(const std::string& ring, Findings& findings) {
  constexpr std::size_t placeOfMagic = 8;
  std::string const keybox = "KBXf";
  if (!exists(ringPath))
    return;
  std::string const content = RegularFile::following(ringPath).content(
      std::max(ring.size(), placeOfMagic + keybox.size()) + 1);
  if (content == ring)
    findings.well(inQuotes(ringPath) + " is the same as the key ring of this machine");
  else if (content.compare(std::min(placeOfMagic, content.size()), keybox.size(), keybox) != 0)
    findings.problem(STATUS_NOT_LOADED, inQuotes(ringPath) + " is not a key ring", makeHome);
  else
    findings.hint(inQuotes(ringPath) +
                      " is not the key ring of this machine, so other lists may verify by it",
                  "run zemo-selfcheck verify once that system has been started");
}

// Returns false if a file of the home is not one that GnuPG can be left to open.
bool checkHomeFiles(HomeState& state, Ownership& ownership, Findings& findings) {
  checkReadable(systemDirectory, findings);
  // If this caller cannot list the directory, its files are not known to be missing.
  if (!isReadable(systemDirectory)) {
    findings.leftOut(systemDirectory);
    return false;
  }
  if (!checkFiles(ownership))
    return false;
  checkKeyRing(findings);
  checkOtherConfigurations(findings);
  checkOptions(state, findings);
  return true;
}

}  // namespace

HomeState checkHome(Ownership& ownership, Findings& findings) {
  HomeState state;
  bool const runs = checkProgram(findings);
  state.runs = checkHomeFiles(state, ownership, findings) && runs;
  return state;
}

void checkHomeOf(const OtherRoot& root, const std::string& ring, Ownership& ownership,
                 Findings& findings) {
  root.inside([&] {
    checkProgramThere(findings);
    HomeState unused;
    if (checkHomeFiles(unused, ownership, findings))
      compareRing(ring, findings);
  });
}

}  // namespace tool
