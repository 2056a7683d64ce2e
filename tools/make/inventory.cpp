#include "make/inventory.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <memory>
#include <set>

#include "io/descriptors.h"
#include "io/exit_status.h"
#include "io/names_input.h"
#include "io/paths.h"
#include "make/dpkg.h"

using ZEMO::SELF_CHECK::CHECK_ITEM_HASH;
using ZEMO::SELF_CHECK::FileList;

namespace tool {
namespace {

using DirectoryStream = std::unique_ptr<DIR, int (*)(DIR*)>;

// Does not follow a link that has replaced the directory since it was examined.
DirectoryStream openDirectory(const std::string& path) {
  Descriptor file(open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
  DirectoryStream stream(file.get() < 0 ? nullptr : fdopendir(file.get()), closedir);
  if (stream != nullptr)
    (void)file.release();  // the stream owns it now
  return stream;
}

// True if something is mounted at `path`, which is on `device`: a file system, or a directory of
// one. Where the kernel does not say (before Linux 5.8, or where statx() is forbidden), only
// another device than that of the directory above, `above`, shows it; a directory of the same file
// system that is mounted there is then not recognized.
bool isMountPoint(const std::string& path, dev_t device, dev_t above) {
  struct statx status = {};
  bool const known =
      statx(AT_FDCWD, path.c_str(), AT_SYMLINK_NOFOLLOW | AT_NO_AUTOMOUNT, 0, &status) == 0 &&
      (status.stx_attributes_mask & STATX_ATTR_MOUNT_ROOT) != 0;
  return known ? (status.stx_attributes & STATX_ATTR_MOUNT_ROOT) != 0 : device != above;
}

class Collector {
 public:
  Collector(const MakePlan& plan, const FileList::ProtectedFileMap& base, Progress& progress,
            Problems& problems)
      : _plan(plan), _base(base), _progress(progress), _problems(problems) {}

  void addTree(const std::string& root);
  void addName(const std::string& path);
  void addFixed(const std::string& directory);
  void addDeb(const DebFiles& files);
  Inventory taken() { return std::move(_inventory); }

 private:
  Found* add(const std::string& path, const struct stat& status);
  bool examine(const std::string& path, struct stat& status);
  std::vector<std::string> addMembers(const std::string& directory);
  bool hasEntryAtOrBelow(const std::string& path) const;
  void tell(const DebFiles& files, std::size_t number, const std::string& first, const char* what);

  const MakePlan& _plan;
  const FileList::ProtectedFileMap& _base;
  Progress& _progress;
  Problems& _problems;
  Inventory _inventory;
};

// Returns null if the path is the list's own.
Found* Collector::add(const std::string& path, const struct stat& status) {
  if (_plan.ownNames.count(path) != 0) {
    _progress.clear();
    say(inQuotes(path) + " is left out: it is this list or its signature");
    return nullptr;
  }
  auto const [found, isNew] = _inventory.try_emplace(path);
  if (isNew) {
    found->second.bytes = S_ISREG(status.st_mode) ? static_cast<uint64_t>(status.st_size) : 0;
    _progress.advance(1, found->second.bytes);
    _progress.show();
  }
  return &found->second;
}

// Examines a path that the user has named. Returns false if it must not be listed.
bool Collector::examine(const std::string& path, struct stat& status) {
  if (_plan.exclusions.cover(path))
    return false;
  if (lstat(path.c_str(), &status) == 0)
    return true;
  int const error = errno;
  if ((error != ENOENT && error != ENOTDIR) || !hasEntryAtOrBelow(path))
    _problems.cannotRead(path, error);
  return false;
}

bool Collector::hasEntryAtOrBelow(const std::string& path) const {
  if (_base.count(path) != 0)
    return true;
  auto const below = _base.lower_bound(joined(path, ""));
  return below != _base.end() && isAtOrBelow(path, below->first);
}

// Returns the members that are directories.
std::vector<std::string> Collector::addMembers(const std::string& directory) {
  std::vector<std::string> directories;
  DirectoryStream const stream = openDirectory(directory);
  if (stream == nullptr) {
    if (errno != ENOENT)  // describing it leaves out a vanished one
      _problems.cannotRead(directory, errno);
    return directories;
  }
  struct stat above = {};
  if (fstat(dirfd(stream.get()), &above) != 0)
    _problems.cannotRead(directory, errno);
  for (errno = 0; const dirent* member = readdir(stream.get()); errno = 0) {
    std::string const name = member->d_name;
    std::string const path = joined(directory, name);
    if (name == "." || name == ".." || _plan.exclusions.match(path))
      continue;
    struct stat status = {};
    if (lstat(path.c_str(), &status) != 0) {
      if (errno != ENOENT)  // it may have vanished
        _problems.cannotRead(path, errno);
    } else if (add(path, status) != nullptr && S_ISDIR(status.st_mode) &&
               (!_plan.oneFileSystem || !isMountPoint(path, status.st_dev, above.st_dev))) {
      directories.push_back(path);
    }
  }
  if (errno != 0)
    _problems.cannotRead(directory, errno);
  return directories;
}

void Collector::addTree(const std::string& root) {
  struct stat status = {};
  if (!examine(root, status) || add(root, status) == nullptr || !S_ISDIR(status.st_mode))
    return;
  std::vector<std::string> directories = {root};
  while (!directories.empty()) {
    std::string const directory = directories.back();
    directories.pop_back();
    std::vector<std::string> const more = addMembers(directory);
    directories.insert(directories.end(), more.begin(), more.end());
  }
}

void Collector::addName(const std::string& path) {
  struct stat status = {};
  if (path.find('\0') != std::string::npos)
    _problems.add(path, "its name contains a zero byte; do the names end with zero bytes (-z)?");
  else if (examine(path, status))
    (void)add(path, status);
}

void Collector::addFixed(const std::string& directory) {
  struct stat status = {};
  if (lstat(directory.c_str(), &status) != 0) {
    _problems.cannotRead(directory, errno);
  } else if (!S_ISDIR(status.st_mode)) {
    _problems.add(directory, "--fixed needs a directory");
  } else if (Found* const found = add(directory, status)) {
    found->fixed = true;
    (void)addMembers(directory);
  }
}

void Collector::addDeb(const DebFiles& files) {
  std::size_t gone = 0;
  std::string first;
  std::size_t unknown = 0;
  std::string firstUnknown;
  for (const std::string& path : files.paths) {
    struct stat status = {};
    if (_plan.exclusions.cover(path))
      continue;
    if (lstat(path.c_str(), &status) == 0) {
      Found* const found = add(path, status);
      if (found == nullptr)
        continue;
      auto const digest = files.digests.find(path);
      if (digest != files.digests.end())
        found->digests.insert(digest->second);
      else if (S_ISREG(status.st_mode) && (_plan.omitted & CHECK_ITEM_HASH) == 0 && unknown++ == 0)
        firstUnknown = path;
      if (!_plan.conffiles && files.conffiles.count(path) != 0)
        found->config = true;
    } else if (errno != ENOENT && errno != ENOTDIR) {
      _problems.cannotRead(path, errno);
    } else if (gone++ == 0) {
      first = path;
    }
  }
  tell(files, gone, first, "left out: not on disk");
  tell(files, unknown, firstUnknown, "listed unchecked: dpkg has no digest to compare with");
}

void Collector::tell(const DebFiles& files, std::size_t number, const std::string& first,
                     const char* what) {
  if (number == 0)
    return;
  _progress.clear();
  say("package " + inQuotes(files.name) + ": " + inQuotes(first) +
      (number == 1 ? " is " : " and " + std::to_string(number - 1) + " more are ") + what);
}

}  // namespace

Sources readSources(const MakePlan& plan, const Tree* root) {
  Sources sources;
  if (plan.from) {
    for (const std::string& name : readNames(*plan.from, plan.nul))
      sources.names.push_back(root == nullptr ? absolutePath(name) : pathInRoot(name));
  }
  if (plan.allDebs || !plan.debs.empty())
    sources.debs = filesOf(plan.debs, plan.allDebs, root);
  return sources;
}

Inventory takeInventory(const MakePlan& plan, Sources sources,
                        const FileList::ProtectedFileMap& base, Progress& progress,
                        Problems& problems) {
  resolveLinks(sources.debs);
  Collector collector(plan, base, progress, problems);
  for (const DebFiles& files : sources.debs)
    collector.addDeb(files);
  for (const std::string& name : sources.names)
    collector.addName(name);
  for (const std::string& directory : plan.fixed)
    collector.addFixed(directory);
  for (const std::string& tree : plan.trees)
    collector.addTree(tree);
  return collector.taken();
}

void requireOutputOutside(const MakePlan& plan, const FileList::ProtectedFileMap& base) {
  for (const std::string& output : plan.ownNames) {
    std::string const directory = directoryOf(output);
    auto const before = base.find(directory);
    bool const isFixed =
        (before != base.end() && before->second->_hash == "FIXED") ||
        std::find(plan.fixed.begin(), plan.fixed.end(), directory) != plan.fixed.end();
    if (isFixed)
      throw UsageError("--output " + inQuotes(plan.output) + " would be in " + inQuotes(directory) +
                       ", whose members are fixed: write it elsewhere");
  }
}

void keepFixed(const ZEMO::SELF_CHECK::FileList::ProtectedFileMap& base, Inventory& inventory) {
  for (auto& [path, found] : inventory) {
    auto const before = base.find(path);
    struct stat status = {};
    if (before != base.end() && before->second->_hash == "FIXED" &&
        lstat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode))
      found.fixed = true;
  }
}

}  // namespace tool
