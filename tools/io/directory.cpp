#include "io/directory.h"

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <fstream>

#include "io/exit_status.h"
#include "io/paths.h"

namespace tool {
namespace {

// In a user namespace, files of users without a number there, such as the machine's root, have this
// owner.
uid_t readOverflowUser() {
  uid_t user = 65534;
  std::ifstream("/proc/sys/kernel/overflowuid") >> user;
  return user;
}

uid_t overflowUser() {
  static uid_t const user = readOverflowUser();
  return user;
}

// Also true if that cannot be found out.
bool hasNumber(uid_t user) {
  std::ifstream map("/proc/self/uid_map");
  for (uint64_t inside = 0, outside = 0, count = 0; map >> inside >> outside >> count;) {
    if (user >= inside && user - inside < count)
      return true;
  }
  return !map.eof();
}

// `path` with links resolved as far as it exists.
std::string realPath(const std::string& path) {
  std::unique_ptr<char, void (*)(void*)> const real(realpath(path.c_str(), nullptr), free);
  if (real != nullptr)
    return real.get();
  std::string const parent = directoryOf(path);
  return parent == path ? path : realPath(parent);
}

[[noreturn]] void refuse(const std::string& path, const std::string& above,
                         const std::string& reason) {
  std::string const where = above == path ? "" : ": " + inQuotes(above);
  throw Failure(STATUS_NOT_LOADED, inQuotes(path) + " is not safe to use" + where + " " + reason);
}

}  // namespace

Directory::Directory(std::string path)
    : _path(std::move(path)),
      _opened(std::make_shared<const Descriptor>(
          open(_path.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC))),
      _error(get() < 0 ? errno : 0) {}

std::vector<std::string> Directory::members() const {
  std::vector<std::string> names;
  Descriptor file(openat(get(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  std::unique_ptr<DIR, int (*)(DIR*)> const stream(file.get() < 0 ? nullptr : fdopendir(file.get()),
                                                   closedir);
  if (stream == nullptr)
    return names;
  (void)file.release();  // the stream owns it now
  while (const dirent* const member = readdir(stream.get()))
    names.emplace_back(member->d_name);
  return names;
}

int Directory::sync() const {
  Descriptor const file(openat(get(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (file.get() < 0)
    return errno;
  return syncToDisk(file.get());
}

std::string strangerIn(const struct stat& status) {
  if (status.st_uid != 0 && status.st_uid != geteuid())
    return "belongs to user " + std::to_string(status.st_uid);
  mode_t const writers = status.st_mode & (S_IWGRP | S_IWOTH);
  if (writers == 0)
    return "";
  return writers == S_IWGRP ? "is writable by its group" : "is writable by others";
}

bool isWithoutNumber(uid_t user) {
  static bool const isMapped = hasNumber(overflowUser());
  return !isMapped && user == overflowUser();
}

void requireOwn(const std::string& path) {
  struct stat status = {};
  if (lstat(path.c_str(), &status) == 0) {
    if (S_ISLNK(status.st_mode))
      refuse(path, path, "because it is a symbolic link: give the path that it leads to");
    if (std::string const reason = strangerIn(status); !reason.empty())
      refuse(path, path, "because it " + reason);
  }
  // Without links, these directories alone decide where the path leads.
  for (std::string above = realPath(directoryOf(path));; above = directoryOf(above)) {
    if (lstat(above.c_str(), &status) == 0) {
      // In a directory with the sticky bit, users cannot remove files of others.
      bool const sticky = (status.st_mode & S_ISVTX) != 0;
      bool const unknown = isWithoutNumber(status.st_uid);
      if (unknown)
        status.st_uid = 0;
      if (sticky)
        status.st_mode &= ~static_cast<mode_t>(S_IWGRP | S_IWOTH);
      if (std::string const reason = strangerIn(status); !reason.empty())
        refuse(path, above, reason);
    }
    if (above == directoryOf(above))
      return;
  }
}

}  // namespace tool
