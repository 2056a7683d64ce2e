#include "sets/replacement_steps.h"

#include <dirent.h>
#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <memory>
#include <set>

#include "io/exit_status.h"
#include "io/paths.h"

namespace tool {

void failToReplace(const std::string& what, int error) {
  throw Failure(STATUS_NOT_LOADED, withReason(what, error));
}

void failOrRename(const std::string& what, int error) {
  static const std::set<int> reasons = {EXDEV,      EPERM,  EACCES, EMLINK, EBUSY,
                                        EOPNOTSUPP, ENOSYS, EINVAL, EROFS};
  if (error == ENOENT)
    throw Changed{};
  if (reasons.count(error) != 0)
    throw NoExchange{withReason(what, error)};
  failToReplace(what, error);
}

void syncDirectory(int directory, const std::string& path) {
  int const error = syncToDisk(directory);
  if (error != 0 && error != EINVAL)
    failToReplace("cannot sync " + inQuotes(path), error);
}

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
    failToReplace("cannot open " + inQuotes(path), errno);
  return opened;
}

Descriptor madeDirectory(int at, const std::string& name, const std::string& path) {
  if (mkdirat(at, name.c_str(), 0755) != 0 && errno != EEXIST)
    failToReplace("cannot create directory " + inQuotes(path), errno);
  Descriptor made = directoryIn(at, name, path);
  return made;
}

void publish(int directory, const std::string& path) {
  if (fchmod(directory, 0755) != 0)
    failToReplace("cannot change " + inQuotes(path), errno);
}

std::vector<std::string> namesIn(int directory, const std::string& path) {
  Descriptor file(openat(directory, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  std::unique_ptr<DIR, int (*)(DIR*)> const stream(file.get() < 0 ? nullptr : fdopendir(file.get()),
                                                   closedir);
  if (stream == nullptr)
    failToReplace("cannot read " + inQuotes(path), errno);
  (void)file.release();
  std::vector<std::string> names;
  for (errno = 0; const dirent* const member = readdir(stream.get()); errno = 0) {
    std::string name = member->d_name;
    if (name != "." && name != "..")
      names.push_back(std::move(name));
  }
  if (errno != 0)
    failToReplace("cannot read " + inQuotes(path), errno);
  std::sort(names.begin(), names.end());
  return names;
}

void writeFile(int directory, const std::string& name, const std::string& content,
               const std::string& path) {
  auto const stop = [&](int error) { failToReplace("cannot write " + inQuotes(path), error); };
  Descriptor file(
      openat(directory, name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0644));
  if (file.get() < 0 || fchmod(file.get(), 0644) != 0)
    stop(errno);
  int error = writeAll(file.get(), content);
  if (error == 0)
    error = syncToDisk(file.get());
  // Some file systems report a failed write only on close.
  if (close(file.release()) != 0 && errno != EINTR && error == 0)
    error = errno;
  if (error != 0)
    stop(error);
}

void removeTree(const std::string& path) {
  std::error_code error;
  (void)std::filesystem::remove_all(path, error);
  if (error)
    (void)std::filesystem::remove_all(path, error);
}

void removeStaging(const SetPlace& place) {
  std::string const staging = joined(place.directory, previousName);
  for (const std::string& name : {nextName, keptName})
    removeTree(joined(staging, name));
  (void)rmdir(staging.c_str());  // unless it has a previous set
}

std::string siblingStart(const SetPlace& place) {
  return "." + fileName(place.top) + ".new-";
}

}  // namespace tool
