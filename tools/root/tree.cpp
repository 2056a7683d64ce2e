#include "root/tree.h"

#include <dirent.h>
#include <fcntl.h>
#include <linux/openat2.h>
#include <mntent.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <memory>

#include "io/exit_status.h"
#include "io/paths.h"

namespace tool {
namespace {

// Says what is needed if the kernel does not have the system call, or does not permit it although
// this process may mount.
[[noreturn]] void cannotUse(const std::string& call, const std::string& directory, int error) {
  bool const refused = error == ENOSYS || error == EPERM;
  throw Failure(STATUS_NOT_LOADED,
                withReason("cannot open " + inQuotes(directory) +
                               (refused ? " as another root, which needs Linux 5.12 or later and "
                                          "the system call " +
                                              call + " (a container may forbid it)"
                                        : ""),
                           error));
}

// Links of procfs lead to any process's files and root directory, also out of a changed root. So,
// from now on, this mount namespace follows none where procfs is mounted below `directory`.
void followNoLinksOfProc(const std::string& directory) {
  constexpr std::size_t longestLine = 65536;
  std::error_code error;
  std::string const top = std::filesystem::canonical(directory, error);
  if (error || top == "/")
    return;  // it cannot be opened, or nothing is out of it
  std::unique_ptr<FILE, int (*)(FILE*)> const mounts(setmntent("/proc/self/mounts", "re"),
                                                     endmntent);
  if (mounts == nullptr)
    throw Failure(STATUS_NOT_LOADED, withReason("cannot read '/proc/self/mounts'", errno));
  std::vector<char> line(longestLine);
  mntent found = {};
  mount_attr restriction = {};
  restriction.attr_set = MOUNT_ATTR_NOSYMFOLLOW;
  while (getmntent_r(mounts.get(), &found, line.data(), static_cast<int>(line.size())) != nullptr) {
    if (std::string(found.mnt_type) != "proc" || !isAtOrBelow(top, found.mnt_dir))
      continue;
    if (mount_setattr(AT_FDCWD, found.mnt_dir, 0, &restriction, sizeof restriction) != 0)
      throw Failure(
          STATUS_NOT_LOADED,
          withReason("cannot keep links in " + inQuotes(found.mnt_dir) + " from leading out of " +
                         inQuotes(directory) + ", which needs Linux 5.14 or later; unmount it",
                     errno));
  }
}

// A mount of its own: the kernel then refuses ".." from a directory that was moved out of it, and
// enforces the restrictions for everything below.
Descriptor restrictedMount(const std::string& directory) {
  followNoLinksOfProc(directory);
  Descriptor tree(
      open_tree(AT_FDCWD, directory.c_str(), OPEN_TREE_CLONE | OPEN_TREE_CLOEXEC | AT_RECURSIVE));
  if (tree.get() < 0)
    cannotUse("open_tree", directory, errno);
  struct stat status = {};
  if (fstat(tree.get(), &status) != 0 || !S_ISDIR(status.st_mode))
    throw Failure(STATUS_NOT_LOADED, withReason("cannot open " + inQuotes(directory), ENOTDIR));
  mount_attr restrictions = {};
  // Without MOUNT_ATTR_NOATIME, which a user namespace may not set: read-only has the same effect.
  restrictions.attr_set =
      MOUNT_ATTR_RDONLY | MOUNT_ATTR_NOSUID | MOUNT_ATTR_NODEV | MOUNT_ATTR_NOEXEC;
  if (mount_setattr(tree.get(), "", AT_EMPTY_PATH | AT_RECURSIVE, &restrictions,
                    sizeof restrictions) != 0)
    cannotUse("mount_setattr", directory, errno);
  return tree;
}

}  // namespace

Tree::Tree(std::string directory) : _name(std::move(directory)), _mount(restrictedMount(_name)) {
  if (opened("/", O_PATH).get() < 0)
    cannotUse("openat2", _name, errno);
}

void Tree::enter() const {
  if (unshare(CLONE_FS) != 0 || fchdir(_mount.get()) != 0 || chroot(".") != 0)
    throw Failure(STATUS_NOT_LOADED, withReason("cannot enter " + inQuotes(_name), errno));
}

Descriptor Tree::opened(const std::string& path, uint64_t flags) const {
  constexpr int attempts = 100;
  open_how how = {};
  how.flags = flags | O_CLOEXEC;
  how.resolve = RESOLVE_IN_ROOT;
  long number = -1;
  // The kernel gives up if a directory is renamed meanwhile and the path contains "..".
  for (int i = 0; i < attempts; ++i) {
    number = syscall(SYS_openat2, _mount.get(), path.c_str(), &how, sizeof how);
    if (number >= 0 || (errno != EAGAIN && errno != EINTR))
      break;
  }
  return Descriptor(static_cast<int>(number));
}

bool Tree::isAbsent(const std::string& path) const {
  return opened(path, O_PATH | O_NOFOLLOW).get() < 0 && errno == ENOENT;
}

bool Tree::isDirectory(const std::string& path) const {
  if (opened(path, O_PATH | O_DIRECTORY).get() >= 0)
    return true;
  if (errno != ENOENT && errno != ENOTDIR)
    cannotRead(path, errno);
  return false;
}

std::vector<std::string> Tree::members(const std::string& path) const {
  Descriptor directory = opened(path, O_RDONLY | O_DIRECTORY | O_NONBLOCK);
  if (directory.get() < 0 && errno == ENOENT && isAbsent(path))
    return {};
  if (directory.get() < 0)
    cannotRead(path, errno);
  std::unique_ptr<DIR, int (*)(DIR*)> const stream(fdopendir(directory.get()), closedir);
  if (stream == nullptr)
    cannotRead(path, errno);
  (void)directory.release();  // the stream owns it now
  std::vector<std::string> names;
  for (errno = 0; const dirent* const member = readdir(stream.get()); errno = 0) {
    std::string const name = member->d_name;
    if (name != "." && name != "..")
      names.push_back(name);
  }
  if (errno != 0)
    cannotRead(path, errno);
  std::sort(names.begin(), names.end());
  return names;
}

// The mount forbids devices, and a FIFO is opened without waiting for its writer.
Descriptor Tree::regular(const std::string& path) const {
  Descriptor file = opened(path, O_RDONLY | O_NONBLOCK | O_NOCTTY);
  int const error = errno;
  struct stat status = {};
  Descriptor const found = file.get() < 0 ? opened(path, O_PATH) : Descriptor();
  int const known = file.get() < 0 ? found.get() : file.get();
  if (known >= 0 && fstat(known, &status) == 0 && !S_ISREG(status.st_mode))
    throw Failure(STATUS_NOT_LOADED, "cannot read " + inQuotes(path) + " in " + inQuotes(_name) +
                                         ": it is not a regular file");
  if (file.get() < 0)
    cannotRead(path, error);
  return file;
}

std::string Tree::content(const std::string& path, std::size_t most) const {
  Descriptor const file = regular(path);
  std::string content;
  int const error = readBlocks(file.get(), [&](std::string_view block) {
    if (content.size() + block.size() > most)
      cannotRead(path, EFBIG);
    content += block;
  });
  if (error != 0)
    cannotRead(path, error);
  return content;
}

void Tree::cannotRead(const std::string& path, int error) const {
  throw Failure(STATUS_NOT_LOADED,
                withReason("cannot read " + inQuotes(path) + " in " + inQuotes(_name), error));
}

}  // namespace tool
