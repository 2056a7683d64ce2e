#include "sets/replacement.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <set>

#include "io/descriptors.h"
#include "io/directory.h"
#include "io/exit_status.h"
#include "io/paths.h"
#include "io/temporary_path.h"
#include "sets/carried.h"
#include "sets/replacement_steps.h"
#include "text/strings.h"

namespace tool {
namespace {

// Also puts a file that is in `from` into `to`. One that is no longer there, and that nobody could
// read, is left out.
void keepFile(int from, int to, const std::string& name, const std::optional<std::string>& content,
              const std::string& path) {
  if (linkat(from, name.c_str(), to, name.c_str(), 0) != 0 && content)
    writeFile(to, name, *content, path);
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
      failToReplace("cannot remove " + inQuotes(path), error.value());
    if (renameat(previous, keptName.c_str(), previous, fileName(path).c_str()) != 0)
      failToReplace("cannot create " + inQuotes(path), errno);
    syncDirectory(previous, directoryOf(path));
  }

  // The new directory `name` in `previous`.
  Descriptor emptied(int previous, const std::string& name) const {
    std::string const path = joined(joined(_place.directory, previousName), name);
    std::error_code error;
    std::filesystem::remove_all(path, error);
    if (error)
      failToReplace("cannot remove " + inQuotes(path), error.value());
    return madeDirectory(previous, name, path);
  }

  void change(int directory, int next) const {
    // Without O_EXCL: an interrupted run has left it.
    Descriptor const made(
        openat(directory, blocker().c_str(), O_WRONLY | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0644));
    if (made.get() < 0)
      failToReplace("cannot write " + inQuotes(pathOf(blocker())), errno);
    syncDirectory(directory, _place.directory);
    // Signatures come after their lists in this map, and are removed before them.
    for (auto file = _before.files.rbegin(); file != _before.files.rend(); ++file) {
      if (_after.files.count(file->first) == 0 && file->first != blocker())
        removeFile(directory, file->first);
    }
    for (const auto& [name, content] : _after.files) {
      if (isNew(name) && renameat(next, name.c_str(), directory, name.c_str()) != 0)
        failToReplace("cannot replace " + inQuotes(pathOf(name)), errno);
    }
    syncDirectory(directory, _place.directory);
    removeFile(directory, blocker());
    syncDirectory(directory, _place.directory);
  }

  void removeFile(int directory, const std::string& name) const {
    if (unlinkat(directory, name.c_str(), 0) != 0 && errno != ENOENT)
      failToReplace("cannot remove " + inQuotes(pathOf(name)), errno);
  }

  void makeMissing() const {
    if (mkdir(_place.directory.c_str(), 0755) != 0) {
      if (errno != EEXIST)
        failToReplace("cannot create directory " + inQuotes(_place.directory), errno);
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

Failure keepsChanging(const SetPlace& place) {
  return {STATUS_NOT_LOADED,
          "other programs keep changing " + inQuotes(place.directory) + "; nothing was done"};
}

}  // namespace

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
