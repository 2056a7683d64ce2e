#include "sets/set_lock.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <string>

#include "io/directory.h"
#include "io/paths.h"
#include "sets/replacement_steps.h"
#include "text/strings.h"

namespace tool {
namespace {

// Removes directories that runs which were killed have left. They held the lock until then, so no
// run uses these directories.
void removeSiblings(const SetPlace& place) {
  std::string const parent = directoryOf(place.top);
  std::string const start = siblingStart(place);
  for (const std::string& name : Directory(parent).members()) {
    struct stat status = {};
    std::string const path = joined(parent, name);
    if (name.size() != start.size() + 6 || !startsWith(name, start) ||
        lstat(path.c_str(), &status) != 0 || !S_ISDIR(status.st_mode) || status.st_uid != geteuid())
      continue;
    removeTree(path);
  }
}

void makeAbove(const std::string& path) {
  if (mkdir(path.c_str(), 0755) != 0) {
    int const error = errno;
    if (error == EEXIST)
      return;
    std::string const parent = directoryOf(path);
    if (error != ENOENT || parent == path)
      failToReplace("cannot create directory " + inQuotes(path), error);
    makeAbove(parent);
    if (mkdir(path.c_str(), 0755) != 0)
      failToReplace("cannot create directory " + inQuotes(path), errno);
  }
  publish(directoryAt(path).get(), path);
}

DirectoryLock lockOf(const SetPlace& place) {
  makeAbove(place.top);
  if (place.directory != place.top)
    makeAbove(directoryOf(place.directory));
  return lockOn([&] { return Directory(place.top); });
}

}  // namespace

SetLock::SetLock(const SetPlace& place) : _top(lockOf(place)) {
  requireOwnStill(place);
  struct stat status = {};
  if (place.directory != place.top && lstat(place.directory.c_str(), &status) == 0)
    _own = std::make_unique<DirectoryLock>(lockOn([&] { return Directory(place.directory); }));
  removeSiblings(place);
  removeStaging(place);
}

}  // namespace tool
