#include "doctor/ownership.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <deque>
#include <sstream>
#include <vector>

#include "io/exit_status.h"
#include "text/strings.h"

namespace tool {
namespace {

constexpr int linkLimit = 40;  // the kernel's own limit

// Inserts the names in `path` before those in `names`.
void prepend(std::deque<std::string>& names, const std::string& path) {
  std::vector<std::string> more;
  std::istringstream stream(path);
  for (std::string name; std::getline(stream, name, '/');) {
    if (!name.empty() && name != ".")
      more.push_back(name);
  }
  names.insert(names.begin(), more.begin(), more.end());
}

std::string targetOf(const std::string& link) {
  std::array<char, 4096> buffer{};
  ssize_t const length = readlink(link.c_str(), buffer.data(), buffer.size());
  return length < 0 ? "" : std::string(buffer.data(), static_cast<std::size_t>(length));
}

std::string orRoot(const std::string& path) {
  return path.empty() ? "/" : path;
}

bool isCommand(const std::string& fix) {
  return startsWith(fix, "zemo-selfcheck ");
}

// `fix`, preceded by the removal of what is at `path`.
std::string withRemoval(const std::string& path, const std::string& fix) {
  struct stat status = {};
  if (lstat(path.c_str(), &status) != 0)
    return fix;
  std::string removal = (S_ISDIR(status.st_mode) ? "rm -r " : "rm ") + shellWord(path);
  if (fix.empty())
    return removal;
  return isCommand(fix) ? removal + " && " + fix : "remove " + inQuotes(path) + ", and then " + fix;
}

}  // namespace

bool Ownership::look(const std::string& path, Kind kind, ExitStatus status,
                     const std::string& fix) {
  if (_root == nullptr)
    return lookHere(path, kind, status, fix);
  bool found = false;
  _root->inside([&] { found = lookHere(path, kind, status, fix); });
  return found;
}

bool Ownership::lookHere(const std::string& path, Kind kind, ExitStatus status,
                         const std::string& fix) {
  std::string failure;
  bool hidden = false;
  _allWell = true;
  if (!follow(path, kind, failure, hidden)) {
    _findings.problem(status, failure,
                      hidden ? "examine and correct it as root" : withRemoval(path, fix));
    return false;
  }
  if (_allWell)
    _findings.well(inQuotes(path) + " and all directories above it can be changed only by root");
  return true;
}

bool Ownership::follow(const std::string& path, Kind kind, std::string& failure, bool& hidden) {
  std::deque<std::string> names;
  prepend(names, path);
  std::string at;  // without links; empty means the root directory
  struct stat status = {};
  int links = 0;
  for (;;) {
    if (lstat(orRoot(at).c_str(), &status) != 0) {
      int const error = errno;
      hidden = error != ENOENT;
      if (at != path)
        failure = inQuotes(path) + ": ";
      failure += hidden ? withReason("cannot examine " + inQuotes(at), error)
                        : inQuotes(at) + " does not exist";
      return false;
    }
    if (S_ISDIR(status.st_mode) || S_ISREG(status.st_mode) || S_ISLNK(status.st_mode))
      judge(orRoot(at), status);
    if (S_ISLNK(status.st_mode)) {
      std::string const target = targetOf(at);
      at.erase(target.empty() || target.front() != '/' ? at.rfind('/') : 0);
      prepend(names, target);
      if (target.empty() || ++links > linkLimit) {
        failure = inQuotes(path) + " leads through a link that cannot be followed";
        return false;
      }
    }
    while (!names.empty() && names.front() == "..") {  // from a link's target
      at.erase(at.empty() ? 0 : at.rfind('/'));
      names.pop_front();
    }
    if (names.empty() && !S_ISLNK(status.st_mode))
      break;
    if (names.empty())
      continue;
    at += "/" + names.front();
    names.pop_front();
  }
  bool const fits = kind == Kind::DIRECTORY ? S_ISDIR(status.st_mode) : S_ISREG(status.st_mode);
  if (!fits)
    failure = inQuotes(path) +
              (kind == Kind::DIRECTORY ? " is not a directory" : " is not a regular file");
  return fits;
}

void Ownership::judge(const std::string& path, const struct stat& status) {
  if (!_judges) {
    _allWell = false;
    return;
  }
  auto const judged = _judged.find(path);
  if (judged != _judged.end()) {
    _allWell = _allWell && judged->second;
    return;
  }
  bool const isLink = S_ISLNK(status.st_mode);
  bool const known = _root == nullptr || _root->knowsIds();
  bool const foreign = known && status.st_uid != 0;
  mode_t const writers = isLink ? 0 : status.st_mode & (S_IWGRP | S_IWOTH);
  if (foreign)
    _findings.problem(
        STATUS_UNCHECKED,
        inQuotes(path) + " belongs to user " + std::to_string(status.st_uid) + ", not to root",
        (isLink ? "chown -h root " : "chown root ") + shellWord(path));
  if (writers != 0) {
    std::string const who = writers == S_IWGRP   ? "its group"
                            : writers == S_IWOTH ? "others"
                                                 : "its group and others";
    _findings.problem(STATUS_UNCHECKED, inQuotes(path) + " is writable by " + who,
                      "chmod go-w " + shellWord(path));
  }
  _judged[path] = known && !foreign && writers == 0;
  _allWell = _allWell && _judged[path];
}

bool isReadable(const std::string& path) {
  struct stat status = {};
  if (stat(path.c_str(), &status) != 0)
    return false;
  return faccessat(AT_FDCWD, path.c_str(), S_ISDIR(status.st_mode) ? R_OK | X_OK : R_OK,
                   AT_EACCESS) == 0;
}

}  // namespace tool
