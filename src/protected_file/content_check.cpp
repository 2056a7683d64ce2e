// The comparison of what a file contains with its entry's hash column.

#include "protected_file/content_check.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <cerrno>
#include <memory>
#include <string_view>
#include <unordered_set>
#include <utility>

#include "log.h"
#include "open_file.h"
#include "protected_file/digest.h"
#include "protected_file/formatted.h"
#include "protected_file/mismatch.h"

namespace ZEMO::SELF_CHECK {
namespace {

struct CloseDirectory {
  void operator()(DIR* directory) const { (void)closedir(directory); }
};

using Directory = std::unique_ptr<DIR, CloseDirectory>;

// Unlike opendir, does not follow a symbolic link that was put at the path since it was examined.
Directory openDirectory(const std::string& path) {
  int const fd = openFile(path, O_DIRECTORY | O_NOFOLLOW);
  Directory directory(fd < 0 ? nullptr : fdopendir(fd));
  if (!directory && fd >= 0)
    (void)close(fd);
  return directory;
}

// Appends the names of all members except "." and "..", in the order of the directory stream.
// False, with some of them appended, when not all can be read.
bool readMembers(DIR* directory, std::vector<std::string>& names) {
  for (;;) {
    errno = 0;
    const dirent* const member = readdir(directory);
    if (member == nullptr)
      return errno == 0;
    std::string name = member->d_name;
    if (name != "." && name != "..")
      names.push_back(std::move(name));
  }
}

// Like compareContent. A directory whose members cannot be read fails like an unreadable file or
// link does: taking it for an empty one would call it intact.
bool checkMembers(ProtectedFile& entry, bool& changed, struct stat& read) {
  Directory directory = openDirectory(entry._path);
  if (!directory) {
    log::openDirectoryFailed(entry._path);
    return true;
  }
  std::vector<std::string> names;
  if (!readMembers(directory.get(), names) || fstat(dirfd(directory.get()), &read) != 0) {
    log::readDirectoryFailed(entry._path);
    return true;
  }
  directory.reset();

  // A set, so that a directory of a million members takes a second and not a week.
  std::unordered_set<std::string_view> const allowed(entry._fixedEntries.begin(),
                                                     entry._fixedEntries.end());
  for (std::string& name : names) {
    if (allowed.count(name) == 0)
      recordMismatch(entry, changed, CHECK_ERROR_UNKNOWN_FILE, "", std::move(name));
  }
  return false;
}

// Stores at most 1023 bytes of the link's target.
bool readTarget(const std::string& path, std::string& target) {
  char text[1024] = {};
  if (readlink(path.c_str(), text, sizeof text) < 0)
    return false;
  text[sizeof text - 1] = '\0';
  target = text;
  return true;
}

}  // namespace

bool compareContent(ProtectedFile& entry, const struct stat& st, bool& changed, struct stat& read) {
  const std::string& path = entry._path;
  const std::string& expected = entry._hash;
  if (!isChecked(expected))
    return false;

  std::string actual;
  switch (st.st_mode & S_IFMT) {
    case S_IFDIR:
      return checkMembers(entry, changed, read);
    case S_IFREG:
      if (!calculateRegularFileHash(path, st.st_size, actual, &read)) {
        log::hashFailed(path);
        return true;
      }
      break;
    case S_IFLNK:
      if (!readTarget(path, actual)) {
        log::readLinkFailed(path);
        return true;
      }
      break;
    case S_IFCHR:
      actual = formatted("%u,%u", major(st.st_rdev), minor(st.st_rdev));
      break;
    default:  // block devices too: lists do not state their numbers
      return false;
  }

  if (actual != expected)
    recordMismatch(entry, changed, CHECK_ERROR_HASH, expected, std::move(actual));
  return false;
}

bool ProtectedFile::checkHash(const struct stat& st, bool& changed) {
  struct stat read = {};
  return compareContent(*this, st, changed, read);
}

}  // namespace ZEMO::SELF_CHECK
