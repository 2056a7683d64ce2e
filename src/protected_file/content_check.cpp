// Comparing a file's content with its entry's hash column.

#include <dirent.h>
#include <fcntl.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <cerrno>
#include <ctime>
#include <memory>
#include <string_view>
#include <unordered_set>
#include <utility>

#include "log.h"
#include "open_file.h"
#include "protected_file/comparison.h"
#include "protected_file/digest.h"

namespace ZEMO::SELF_CHECK {
namespace {

struct CloseDirectory {
  void operator()(DIR* directory) const { (void)closedir(directory); }
};

using Directory = std::unique_ptr<DIR, CloseDirectory>;

// Unlike opendir(), does not follow a symbolic link that has replaced the directory since it was
// examined.
Directory openDirectory(const std::string& path) {
  int const fd = openFile(path, O_DIRECTORY | O_NOFOLLOW);
  Directory directory(fd < 0 ? nullptr : fdopendir(fd));
  if (!directory && fd >= 0)
    (void)close(fd);
  return directory;
}

// The names of members that are not allowed, each once, in the order in which they were found.
class Strays {
 public:
  // A set, because with a linear search a directory of a million members would take a week instead
  // of a second.
  explicit Strays(const std::vector<std::string>& allowed)
      : _allowed(allowed.begin(), allowed.end()) {}

  // Finds stray members among the rest of the stream. Returns false if the stream cannot be read to
  // its end.
  bool findIn(DIR* directory) {
    for (;;) {
      errno = 0;
      const dirent* const member = readdir(directory);
      if (member == nullptr)
        return errno == 0;
      std::string_view const name = member->d_name;
      if (name == "." || name == ".." || _allowed.count(name) != 0)
        continue;
      auto const [found, isNew] = _names.emplace(name);
      if (isNew)
        _inOrder.push_back(&*found);
    }
  }

  void record(ProtectedFile& entry, bool& changed) const {
    for (const std::string* const name : _inOrder)
      recordMismatch(entry, changed, CHECK_ERROR_UNKNOWN_FILE, "", *name);
  }

 private:
  std::unordered_set<std::string_view> _allowed;
  std::unordered_set<std::string> _names;
  std::vector<const std::string*> _inOrder;  // elements of _names
};

bool isSame(const timespec& a, const timespec& b) {
  return a.tv_sec == b.tv_sec && a.tv_nsec == b.tv_nsec;
}

bool isBefore(const timespec& a, const timespec& b) {
  return a.tv_sec < b.tv_sec || (a.tv_sec == b.tv_sec && a.tv_nsec < b.tv_nsec);
}

// Finds the stray members of a directory. A member that is renamed while the directory is read may
// be missed under both names. So a directory that changed meanwhile is read again, and the strays
// of all readings count. A process that keeps changing the directory must not keep the check from
// ending, so there are at most five readings. (A directory whose change time is ahead of a wrong
// clock always takes five.)
//
// Stores in `read` the metadata after the last complete reading. Returns false if the first reading
// fails; if a later one does, the strays found so far count.
bool findStrays(DIR* directory, timespec changeTime, Strays& strays, struct stat& read) {
  for (int reading = 1; reading <= 5; ++reading) {
    // The clock that change times are taken from. Two changes within one tick leave the same time.
    timespec started = {};
    (void)clock_gettime(CLOCK_REALTIME_COARSE, &started);
    struct stat after = {};
    if (!strays.findIn(directory) || fstat(dirfd(directory), &after) != 0)
      return reading > 1;
    read = after;
    bool const moved = !isSame(after.st_ctim, changeTime);
    if (!moved && isBefore(changeTime, started))
      break;
    changeTime = after.st_ctim;
    rewinddir(directory);
  }
  return true;
}

// Like compareContent(). A directory whose members cannot be read fails like an unreadable file or
// link: treating it as empty would call it intact. Strays found by then are still recorded.
bool checkMembers(ProtectedFile& entry, const struct stat& st, bool& changed, struct stat& read) {
  Directory const directory = openDirectory(entry._path);
  if (!directory) {
    log::openDirectoryFailed(entry._path);
    return false;
  }
  Strays strays(entry._fixedEntries);
  bool const complete = findStrays(directory.get(), st.st_ctim, strays, read);
  if (!complete)
    log::readDirectoryFailed(entry._path);
  strays.record(entry, changed);
  return complete;
}

// Stores the link's target, at most 1023 bytes of it.
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
    return true;

  std::string actual;
  switch (st.st_mode & S_IFMT) {
    case S_IFDIR:
      return checkMembers(entry, st, changed, read);
    case S_IFREG:
      if (!calculateRegularFileHash(path, st.st_size, actual, &read)) {
        log::hashFailed(path);
        return false;
      }
      break;
    case S_IFLNK:
      if (!readTarget(path, actual)) {
        log::readLinkFailed(path);
        return false;
      }
      break;
    case S_IFCHR:
      actual = formatted("%u,%u", major(st.st_rdev), minor(st.st_rdev));
      break;
    default:  // including block devices: lists do not contain their numbers
      return true;
  }

  if (actual != expected)
    recordMismatch(entry, changed, CHECK_ERROR_HASH, expected, std::move(actual));
  return true;
}

}  // namespace ZEMO::SELF_CHECK
