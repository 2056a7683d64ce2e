#include "sets/sets.h"

#include <dirent.h>
#include <sys/stat.h>
#include <zemo/selfcheck.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <memory>

#include "gnupg/options.h"
#include "gnupg/signature_check.h"
#include "io/exit_status.h"
#include "io/names_input.h"
#include "io/paths.h"
#include "sets/list_file.h"
#include "text/escape.h"
#include "text/strings.h"

namespace tool {
namespace {

const char* const wildcards = "*?[]\\";

// True if the library's pattern matcher treats the name literally. A blank is allowed.
bool isPlain(const std::string& name) {
  return !name.empty() && name.find('/') == std::string::npos &&
         name.find_first_of(wildcards) == std::string::npos;
}

// True if nothing exists at `path`. A dangling link counts as existing.
bool isAbsent(const std::string& path) {
  struct stat status = {};
  return lstat(path.c_str(), &status) != 0 && errno == ENOENT;
}

std::vector<std::string> directoriesIn(const std::string& directory) {
  std::unique_ptr<DIR, int (*)(DIR*)> const stream(opendir(directory.c_str()), closedir);
  int const error = errno;
  if (stream == nullptr && error == ENOENT && isAbsent(directory))
    return {};
  if (stream == nullptr)
    throw Failure(STATUS_NOT_LOADED, withReason("cannot read " + inQuotes(directory), error));
  std::vector<std::string> names;
  for (errno = 0; const dirent* member = readdir(stream.get()); errno = 0) {
    std::string const name = member->d_name;
    struct stat status = {};
    if (name == "." || name == "..")
      continue;
    // A member that cannot be examined may be a directory, and a dangling link may have led to one.
    bool const known = fstatat(dirfd(stream.get()), member->d_name, &status, 0) == 0;
    if (known ? S_ISDIR(status.st_mode)
              : errno != ENOENT || !isAbsent(std::string(directory).append("/").append(name)))
      names.push_back(name);
  }
  if (errno != 0)
    throw Failure(STATUS_NOT_LOADED, withReason("cannot read " + inQuotes(directory), errno));
  std::sort(names.begin(), names.end());
  return names;
}

// Empty if it can be read or does not exist.
std::string whyDirectoryUnreadable(const std::string& directory) {
  std::unique_ptr<DIR, int (*)(DIR*)> const stream(opendir(directory.c_str()), closedir);
  int const error = errno;
  if (stream != nullptr || (error == ENOENT && isAbsent(directory)))
    return "";
  return withReason("cannot read " + inQuotes(directory), error);
}

// Why the list does not verify; empty if it does.
std::string whyNotVerified(const std::string& list) {
  SignatureCheck const check = checkSignature(list);
  if (check.accepted)
    return "";
  std::string reason = check.reason;
  for (const Signature& signature : check.signatures) {
    if (reason.empty() && !isGood(signature))
      reason = escaped(signatureText(signature));
  }
  return "list " + inQuotes(list) + " does not verify" + (reason.empty() ? "" : ": " + reason);
}

}  // namespace

std::string setDirectory(const std::string& name) {
  return name == systemSet ? systemDirectory : packagesDirectory + "/" + name;
}

bool canNameSet(const std::string& name) {
  return isPlain(name) && name != "." && name != "..";
}

void requireSetName(const std::string& name) {
  if (!canNameSet(name))
    throw UsageError(inQuotes(name) + " is not a valid set name");
}

void requireModeName(const std::string& mode) {
  // The lists of a mode "full.x" would also be lists of the mode "full".
  if (!isPlain(mode) || mode.find('.') != std::string::npos)
    throw UsageError(inQuotes(mode) + " is not a valid mode name");
}

ChosenSets chosenSets(const std::vector<std::string>& named, bool all) {
  ChosenSets chosen;
  std::vector<std::string>& sets = chosen.names;
  sets = named;
  if (all) {
    if (!named.empty())
      throw UsageError("--all cannot be combined with named sets");
    try {
      sets = packageDirectories();
    } catch (const Failure& failure) {
      chosen.unknown = failure.what();
    }
    // The system's own set has its lists elsewhere.
    sets.erase(std::remove(sets.begin(), sets.end(), systemSet), sets.end());
  }
  std::for_each(named.begin(), named.end(), requireSetName);
  if (all || named.empty())
    sets.insert(sets.begin(), systemSet);
  return chosen;
}

std::vector<std::string> packageDirectories() {
  return directoriesIn(packagesDirectory);
}

std::vector<std::string> listsOf(const std::string& set, const std::string& mode) {
  if (!canNameSet(set))
    return {};  // it would be treated as a pattern
  std::string const directory = setDirectory(set);
  return ZEMO::SELF_CHECK::glob(directory, directory + "/" + set + "." + mode + ".*.list");
}

std::vector<std::string> listsIn(const std::string& directory, const std::string& mode) {
  if (directory.find_first_of(wildcards) != std::string::npos)
    throw Failure(STATUS_NOT_LOADED, "the lists in " + inQuotes(directory) +
                                         " cannot be found: its path has one of the characters " +
                                         wildcards);
  if (std::string const reason = whyDirectoryUnreadable(directory); !reason.empty())
    throw Failure(STATUS_NOT_LOADED, reason);
  // An absolute path does not begin with a tilde, which the pattern matcher would expand.
  std::string const path = std::filesystem::absolute(directory).string();
  return ZEMO::SELF_CHECK::glob(path, path + "/*." + mode + ".*.list");
}

std::string whyUnreadable(const std::string& set) {
  return whyDirectoryUnreadable(setDirectory(set));
}

std::string whyNoLists(const std::string& set, const std::string& mode) {
  std::string reason = whyUnreadable(set);
  if (!reason.empty())
    return reason;
  return "set " + inQuotes(set) + " has no list for mode " + inQuotes(mode) + " in " +
         inQuotes(setDirectory(set));
}

std::string whyNotLoaded(const std::vector<std::string>& lists, bool verify) try {
  // With doubtful options, GnuPG verifies for the library but not here.
  if (verify && doubtAbout(gnupgHome).empty()) {
    for (const std::string& list : lists) {
      std::string reason = whyNotVerified(list);
      if (!reason.empty())
        return reason;
    }
  }
  for (const std::string& list : lists)
    (void)readListFile(list);
  return "";
} catch (const Failure& failure) {
  return failure.what();
}

std::vector<std::string> orderLines(const std::string& directory) {
  std::string const path = directory + "/listorder";
  std::error_code error;
  std::filesystem::file_type const type = std::filesystem::status(path, error).type();
  if (type == std::filesystem::file_type::none)
    throw Failure(STATUS_NOT_LOADED, withReason("cannot read " + inQuotes(path), error.value()));
  if (type != std::filesystem::file_type::regular)
    return {};  // opening a FIFO would wait for its writer
  return readLines(path);
}

std::map<std::string, std::size_t> orderPositions(const std::vector<std::string>& lines) {
  std::map<std::string, std::size_t> positions;
  for (std::size_t i = 0; i < lines.size(); ++i)
    positions[lines[i]] = i + 1;
  return positions;
}

bool isNamedLikeListOf(const std::string& path, const std::string& set, const std::string& mode) {
  std::string const name = fileName(path);
  std::string const start = set + "." + mode + ".";
  std::string const end = ".list";
  return name.size() >= start.size() + end.size() && startsWith(name, start) && endsWith(name, end);
}

std::string listName(const std::string& path, const std::string& set, const std::string& mode) {
  if (!isNamedLikeListOf(path, set, mode))
    return "";
  std::string const name = fileName(path);
  std::size_t const start = set.size() + mode.size() + 2;
  return name.substr(start, name.size() - start - std::string(".list").size());
}

void forgetPackage() {
  ZEMO::SELF_CHECK::ProtectedFile::_pkginfo = {};
}

}  // namespace tool
