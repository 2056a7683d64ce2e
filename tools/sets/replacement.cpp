#include "sets/replacement.h"

#include <dirent.h>
#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <set>
#include <string_view>
#include <vector>

#include "io/descriptors.h"
#include "io/directory.h"
#include "io/exit_status.h"
#include "io/paths.h"
#include "io/temporary_path.h"
#include "sets/sets.h"
#include "text/strings.h"

namespace tool {
namespace {

// It is not a set's directory: the names of sets' directories are looked for in packages/ only.
const std::string previousName = ".previous";
const std::string nextName = ".next";       // in `previousName`: files that are going to be renamed
const std::string keptName = ".kept";       // likewise, the files of the old set
const std::string ownNames = ".zemo-";      // locks and temporary files
const std::string lockName = ".zemo-lock";  // follows the directory to its new place

// Why a directory cannot be exchanged as a whole.
struct NoExchange {
  std::string reason;
};

// Another program has changed the directory.
struct Changed {};

[[noreturn]] void fail(const std::string& what, int error) {
  throw Failure(STATUS_NOT_LOADED, withReason(what, error));
}

[[noreturn]] void failOrRename(const std::string& what, int error) {
  static const std::set<int> reasons = {EXDEV,      EPERM,  EACCES, EMLINK, EBUSY,
                                        EOPNOTSUPP, ENOSYS, EINVAL, EROFS};
  if (error == ENOENT)
    throw Changed{};
  if (reasons.count(error) != 0)
    throw NoExchange{withReason(what, error)};
  fail(what, error);
}

int synced(int descriptor) {
  int result = -1;
  do {
    result = fsync(descriptor);
  } while (result != 0 && errno == EINTR);
  return result;
}

// A file system that cannot sync a directory reports EINVAL.
void syncDirectory(int directory, const std::string& path) {
  if (synced(directory) != 0 && errno != EINVAL)
    fail("cannot sync " + inQuotes(path), errno);
}

// The directory `name` in `at`, neither through a link nor on another file system.
Descriptor directoryIn(int at, const std::string& name, const std::string& path) {
  struct open_how how = {};
  how.flags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;
  how.resolve = RESOLVE_NO_XDEV | RESOLVE_NO_SYMLINKS;
  Descriptor opened(static_cast<int>(syscall(SYS_openat2, at, name.c_str(), &how, sizeof how)));
  if (opened.get() < 0)
    failOrRename("cannot open " + inQuotes(path), errno);
  return opened;
}

Descriptor directoryAt(const std::string& path) {
  Descriptor opened(open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
  if (opened.get() < 0)
    fail("cannot open " + inQuotes(path), errno);
  return opened;
}

Descriptor madeDirectory(int at, const std::string& name, const std::string& path) {
  if (mkdirat(at, name.c_str(), 0755) != 0 && errno != EEXIST)
    fail("cannot create directory " + inQuotes(path), errno);
  Descriptor made = directoryIn(at, name, path);
  return made;
}

// Regardless of the umask.
void publish(int directory, const std::string& path) {
  if (fchmod(directory, 0755) != 0)
    fail("cannot change " + inQuotes(path), errno);
}

std::vector<std::string> namesIn(int directory, const std::string& path) {
  Descriptor file(openat(directory, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  std::unique_ptr<DIR, int (*)(DIR*)> const stream(file.get() < 0 ? nullptr : fdopendir(file.get()),
                                                   closedir);
  if (stream == nullptr)
    fail("cannot read " + inQuotes(path), errno);
  (void)file.release();
  std::vector<std::string> names;
  for (errno = 0; const dirent* const member = readdir(stream.get()); errno = 0) {
    std::string name = member->d_name;
    if (name != "." && name != "..")
      names.push_back(std::move(name));
  }
  if (errno != 0)
    fail("cannot read " + inQuotes(path), errno);
  std::sort(names.begin(), names.end());
  return names;
}

void writeFile(int directory, const std::string& name, const std::string& content,
               const std::string& path) {
  auto const stop = [&](int error) { fail("cannot write " + inQuotes(path), error); };
  Descriptor file(
      openat(directory, name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0644));
  if (file.get() < 0 || fchmod(file.get(), 0644) != 0)
    stop(errno);
  for (std::string_view rest = content; !rest.empty();) {
    ssize_t const count = write(file.get(), rest.data(), rest.size());
    if (count < 0 && errno == EINTR)
      continue;
    if (count <= 0)
      stop(count < 0 ? errno : EIO);
    rest.remove_prefix(static_cast<std::size_t>(count));
  }
  // Some file systems report a failed write only on close.
  if (synced(file.get()) != 0 || (close(file.release()) != 0 && errno != EINTR))
    stop(errno);
}

// Also puts a file that is in `from` into `to`. One that is no longer there, and that nobody could
// read, is left out.
void keepFile(int from, int to, const std::string& name, const std::optional<std::string>& content,
              const std::string& path) {
  if (linkat(from, name.c_str(), to, name.c_str(), 0) != 0 && content)
    writeFile(to, name, *content, path);
}

void copyAttributes(int from, int to, const std::string& path) {
  struct stat old = {};
  struct stat made = {};
  std::string const what = "cannot give another directory the owner and mode of " + inQuotes(path);
  if (fstat(from, &old) != 0 || fstat(to, &made) != 0)
    fail(what, errno);
  if ((old.st_uid != made.st_uid || old.st_gid != made.st_gid) &&
      fchown(to, old.st_uid, old.st_gid) != 0)
    failOrRename(what, errno);
  std::string names(XATTR_LIST_MAX, '\0');
  ssize_t const length = flistxattr(from, names.data(), names.size());
  if (length < 0 && errno != EOPNOTSUPP && errno != ENOSYS)
    failOrRename(what, errno);
  for (ssize_t start = 0; start < length;) {
    const char* const name = names.data() + start;
    start += static_cast<ssize_t>(std::string_view(name).size()) + 1;
    std::string value(XATTR_SIZE_MAX, '\0');
    ssize_t const size = fgetxattr(from, name, value.data(), value.size());
    std::string has(XATTR_SIZE_MAX, '\0');
    ssize_t const there = fgetxattr(to, name, has.data(), has.size());
    bool const same = size >= 0 && size == there &&
                      value.compare(0, static_cast<std::size_t>(size), has, 0,
                                    static_cast<std::size_t>(there)) == 0;
    if (size < 0 ||
        (!same && fsetxattr(to, name, value.data(), static_cast<std::size_t>(size), 0) != 0))
      failOrRename(what, errno);
  }
  if (fchmod(to, old.st_mode & 07777U) != 0)  // last: it depends on the access control list
    failOrRename(what, errno);
}

// GnuPG makes such files while it verifies. In the new directory, nobody would remove them.
bool isLockOfGnupg(const std::string& name) {
  return startsWith(name, ".#lk") || name == "pubring.kbx.lock" || name == "pubring.gpg.lock" ||
         name == "trustdb.gpg.lock";
}

// A directory tree whose files are carried over into another directory by hard links.
class Carried {
 public:
  // `handled`: the paths, relative to the directory, that are not carried over.
  Carried(int directory, std::string path, std::set<std::string> handled)
      : _directory(directory), _path(std::move(path)), _handled(std::move(handled)) {}

  void into(int to) { _seen = walk(_directory, to, ""); }

  // True if nobody has changed the directory since.
  bool isUnchanged() { return walk(_directory, -1, "") == _seen; }

 private:
  // Returns which files are below `from`, and which version of each. If `to` is a directory, they
  // are linked there.
  std::string walk(int from, int to, const std::string& below) {
    std::string seen;
    for (const std::string& name : namesIn(from, joined(_path, below))) {
      std::string const inside = below + name;
      std::string const path = joined(_path, inside);
      bool const carries = to >= 0 && _handled.count(inside) == 0;
      if (isLockOfGnupg(name))
        continue;
      if (startsWith(name, ownNames)) {
        if (carries && name == lockName && linkat(from, name.c_str(), to, name.c_str(), 0) != 0)
          failOrRename("cannot link " + inQuotes(path), errno);
        continue;
      }
      struct stat status = {};
      if (fstatat(from, name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0)
        failOrRename("cannot examine " + inQuotes(path), errno);
      seen += inside + '\0' + std::to_string(status.st_ino) + ' ';
      if (S_ISDIR(status.st_mode)) {
        seen += walkDirectory(from, carries ? to : -1, name, inside);
        continue;
      }
      seen += std::to_string(status.st_size) + ' ' + std::to_string(status.st_mtim.tv_sec) + '.' +
              std::to_string(status.st_mtim.tv_nsec);
      if (carries && linkat(from, name.c_str(), to, name.c_str(), 0) != 0)
        failOrRename("cannot link " + inQuotes(path), errno);
    }
    return seen;
  }

  std::string walkDirectory(int from, int to, const std::string& name, const std::string& inside) {
    std::string const path = joined(_path, inside);
    Descriptor const old = directoryIn(from, name, path);
    if (to < 0)
      return walk(old.get(), -1, inside + "/");
    Descriptor const made = madeDirectory(to, name, path);
    std::string seen = walk(old.get(), made.get(), inside + "/");
    copyAttributes(old.get(), made.get(), path);
    syncDirectory(made.get(), path);
    return seen;
  }

  int _directory;
  std::string _path;
  std::set<std::string> _handled;
  std::string _seen;
};

// Removes the file or tree at `path`, without following links. If that fails twice, the next run
// tries again.
void removeTree(const std::string& path) {
  std::error_code error;
  (void)std::filesystem::remove_all(path, error);
  if (error)
    (void)std::filesystem::remove_all(path, error);
}

std::string siblingStart(const SetPlace& place) {
  return "." + fileName(place.top) + ".new-";
}

// A new directory next to the top directory. The destructor removes it, or what is then in its
// place.
class Sibling {
 public:
  explicit Sibling(const SetPlace& place)
      : _path(joined(directoryOf(place.top), siblingStart(place)) + "XXXXXX") {
    if (mkdtemp(_path.data()) == nullptr)
      failOrRename("cannot create directory " + inQuotes(_path), errno);
  }
  ~Sibling() { removeTree(_path); }
  Sibling(const Sibling&) = delete;
  Sibling& operator=(const Sibling&) = delete;

  const std::string& path() const { return _path; }

 private:
  std::string _path;
};

bool isKept(const SetContent& before) {
  return !before.unfinished && !before.lists.empty();
}

void removeStaging(const SetPlace& place) {
  std::string const staging = joined(place.directory, previousName);
  for (const std::string& name : {nextName, keptName})
    removeTree(joined(staging, name));
  (void)rmdir(staging.c_str());  // unless it has a previous set
}

// The directories in `previousName` for files that are going to be renamed.
class Staging {
 public:
  explicit Staging(const SetPlace& place) : _place(place) {}
  ~Staging() { removeStaging(_place); }
  Staging(const Staging&) = delete;
  Staging& operator=(const Staging&) = delete;

 private:
  const SetPlace& _place;
};

class Replacement {
 public:
  Replacement(const SetPlace& place, const SetContent& before, const SetContent& after)
      : _place(place), _before(before), _after(after) {}

  // Throws Changed if it must be done again, and NoExchange if it must be done file by file.
  void byExchange() {
    Sibling const sibling(_place);
    Descriptor const fresh = directoryAt(sibling.path());
    struct stat status = {};
    bool const exists = lstat(_place.directory.c_str(), &status) == 0;
    Descriptor const old = exists ? directoryAt(_place.directory) : Descriptor();
    Carried carried(old.get(), _place.directory, handled());
    if (exists)
      carried.into(fresh.get());
    writeNew(old.get(), fresh.get());
    if (exists && isKept(_before))
      keepOld(old.get(), fresh.get());
    if (exists)
      copyAttributes(old.get(), fresh.get(), _place.directory);
    else
      publish(fresh.get(), sibling.path());
    syncDirectory(fresh.get(), sibling.path());
    if (exists && !carried.isUnchanged())
      throw Changed{};
    if (renameat2(AT_FDCWD, sibling.path().c_str(), AT_FDCWD, _place.directory.c_str(),
                  exists ? RENAME_EXCHANGE : RENAME_NOREPLACE) != 0)
      failOrRename("cannot exchange " + inQuotes(_place.directory), errno);
    syncParents();
  }

  // The blocker makes every loading fail from before the first change until after the last. So
  // lists that were signed for the one set are never loaded together with lists of the other, in
  // whichever order they are replaced, and whenever this ends. Each of the steps is on the disk
  // before the next begins, or after a power cut the blocker alone could be missing.
  void byRenames() {
    makeMissing();
    Staging const staged(_place);
    Descriptor const directory = directoryAt(_place.directory);
    std::string const staging = joined(_place.directory, previousName);
    Descriptor const previous = madeDirectory(directory.get(), previousName, staging);
    publish(previous.get(), staging);
    if (isKept(_before))
      keepFileByFile(directory.get(), previous.get());
    Descriptor const next = emptied(previous.get(), nextName);
    for (const auto& [name, content] : _after.files) {
      if (isNew(name))
        writeFile(next.get(), name, content.value_or(""), pathOf(name));
    }
    syncDirectory(next.get(), staging);
    try {
      change(directory.get(), next.get());
    } catch (const Failure& failure) {
      throw Failure(failure.status(),
                    std::string(failure.what()) +
                        "; the set does not load until the same command has completed");
    }
  }

 private:
  std::string pathOf(const std::string& name) const { return joined(_place.directory, name); }
  std::string blocker() const { return blockerName(_place.set, _place.mode); }

  bool isNew(const std::string& name) const {
    auto const old = _before.files.find(name);
    auto const now = _after.files.find(name);
    return now != _after.files.end() && (old == _before.files.end() || old->second != now->second);
  }

  bool stays(const std::string& name) const {
    return _after.files.count(name) != 0 && !isNew(name);
  }

  std::set<std::string> handled() const {
    std::set<std::string> paths = {previousName + "/" + nextName, previousName + "/" + keptName};
    if (isKept(_before))
      paths.insert(previousName + "/" + fileName(previousDirectory(_place)));
    for (const auto& [name, content] : _before.files)
      paths.insert(name);
    return paths;
  }

  void writeNew(int old, int fresh) const {
    for (const auto& [name, content] : _after.files) {
      if (isNew(name))
        writeFile(fresh, name, content.value_or(""), pathOf(name));
      else
        keepFile(old, fresh, name, content, pathOf(name));
    }
  }

  void keepFiles(int old, int directory) const {
    std::string const path = previousDirectory(_place);
    for (const auto& [name, content] : _before.files) {
      // A program may later write into a file that stays, and would change its other hard link.
      if (content && stays(name))
        writeFile(directory, name, *content, joined(path, name));
      else
        keepFile(old, directory, name, content, joined(path, name));
    }
    publish(directory, path);
    syncDirectory(directory, path);
  }

  void keepOld(int old, int fresh) const {
    std::string const path = previousDirectory(_place);
    Descriptor const previous = madeDirectory(fresh, previousName, directoryOf(path));
    publish(previous.get(), directoryOf(path));
    keepFiles(old, madeDirectory(previous.get(), fileName(path), path).get());
    syncDirectory(previous.get(), directoryOf(path));
  }

  // The name leads to a complete set or to nothing.
  void keepFileByFile(int old, int previous) const {
    std::string const path = previousDirectory(_place);
    keepFiles(old, emptied(previous, keptName).get());
    std::error_code error;
    std::filesystem::remove_all(path, error);
    if (error)
      fail("cannot remove " + inQuotes(path), error.value());
    if (renameat(previous, keptName.c_str(), previous, fileName(path).c_str()) != 0)
      fail("cannot create " + inQuotes(path), errno);
    syncDirectory(previous, directoryOf(path));
  }

  // The new directory `name` in `previous`.
  Descriptor emptied(int previous, const std::string& name) const {
    std::string const path = joined(joined(_place.directory, previousName), name);
    std::error_code error;
    std::filesystem::remove_all(path, error);
    if (error)
      fail("cannot remove " + inQuotes(path), error.value());
    return madeDirectory(previous, name, path);
  }

  void change(int directory, int next) const {
    // Without O_EXCL: an interrupted run has left it.
    Descriptor const made(
        openat(directory, blocker().c_str(), O_WRONLY | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0644));
    if (made.get() < 0)
      fail("cannot write " + inQuotes(pathOf(blocker())), errno);
    syncDirectory(directory, _place.directory);
    // Signatures come after their lists in this map, and are removed before them.
    for (auto file = _before.files.rbegin(); file != _before.files.rend(); ++file) {
      if (_after.files.count(file->first) == 0 && file->first != blocker())
        removeFile(directory, file->first);
    }
    for (const auto& [name, content] : _after.files) {
      if (isNew(name) && renameat(next, name.c_str(), directory, name.c_str()) != 0)
        fail("cannot replace " + inQuotes(pathOf(name)), errno);
    }
    syncDirectory(directory, _place.directory);
    removeFile(directory, blocker());
    syncDirectory(directory, _place.directory);
  }

  void removeFile(int directory, const std::string& name) const {
    if (unlinkat(directory, name.c_str(), 0) != 0 && errno != ENOENT)
      fail("cannot remove " + inQuotes(pathOf(name)), errno);
  }

  void makeMissing() const {
    if (mkdir(_place.directory.c_str(), 0755) != 0) {
      if (errno != EEXIST)
        fail("cannot create directory " + inQuotes(_place.directory), errno);
      return;
    }
    publish(directoryAt(_place.directory).get(), _place.directory);
  }

  void syncParents() const {
    for (const std::string& path : {directoryOf(_place.directory), directoryOf(_place.top)}) {
      int const error = Directory(path).sync();
      if (error != 0 && error != EACCES && error != EINVAL)
        throw Failure(STATUS_NOT_LOADED,
                      withReason("cannot sync " + inQuotes(path), error) +
                          "; the new set is in place, but after a power cut the old one may be "
                          "back");
    }
  }

  const SetPlace& _place;
  const SetContent& _before;
  const SetContent& _after;
};

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
      fail("cannot create directory " + inQuotes(path), error);
    makeAbove(parent);
    if (mkdir(path.c_str(), 0755) != 0)
      fail("cannot create directory " + inQuotes(path), errno);
  }
  publish(directoryAt(path).get(), path);
}

Failure keepsChanging(const SetPlace& place) {
  return {STATUS_NOT_LOADED,
          "other programs keep changing " + inQuotes(place.directory) + "; nothing was done"};
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

std::string previousDirectory(const SetPlace& place) {
  return joined(joined(place.directory, previousName), place.set + "." + place.mode);
}

SetContent lastWhole(const SetPlace& place, const SetContent& now) {
  if (!now.unfinished)
    return now;
  SetContent kept = contentIn(previousDirectory(place), place.set, place.mode);
  if (kept.lists.empty())
    return now;
  // The order also has lines of other modes, which may have changed since.
  kept.files.erase(orderName);
  auto const order = now.files.find(orderName);
  if (order != now.files.end())
    kept.files.insert(*order);
  return kept;
}

Way replaceSet(const SetPlace& place, const SetContent& before, const SetContent& after) {
  HeldSignals const untilDone;
  Replacement replacement(place, before, after);
  constexpr int attempts = 10;
  for (int left = attempts; left > 0; --left) {
    try {
      replacement.byExchange();
      return Way::EXCHANGE;
    } catch (const Changed&) {
      if (left == 1)
        throw keepsChanging(place);
    } catch (const NoExchange& no) {
      say("warning: " + no.reason +
          "; the files are replaced one after the other, and meanwhile the set does not load");
      break;
    }
  }
  // Renaming also needs a directory for the new files on the same file system.
  try {
    replacement.byRenames();
  } catch (const NoExchange& no) {
    throw Failure(STATUS_NOT_LOADED, no.reason + "; nothing was done");
  } catch (const Changed&) {
    throw keepsChanging(place);
  }
  return Way::RENAMES;
}

}  // namespace tool
