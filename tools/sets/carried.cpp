#include "sets/carried.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <string_view>

#include "io/exit_status.h"
#include "io/paths.h"
#include "sets/replacement_steps.h"
#include "text/strings.h"

namespace tool {
namespace {

const std::string ownNames = ".zemo-";      // locks and temporary files
const std::string lockName = ".zemo-lock";  // follows the directory to its new place

// GnuPG makes such files while it verifies. In the new directory, nobody would remove them.
bool isLockOfGnupg(const std::string& name) {
  return startsWith(name, ".#lk") || name == "pubring.kbx.lock" || name == "pubring.gpg.lock" ||
         name == "trustdb.gpg.lock";
}

}  // namespace

void copyAttributes(int from, int to, const std::string& path) {
  struct stat old = {};
  struct stat made = {};
  std::string const what = "cannot give another directory the owner and mode of " + inQuotes(path);
  if (fstat(from, &old) != 0 || fstat(to, &made) != 0)
    failToReplace(what, errno);
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

std::string Carried::walk(int from, int to, const std::string& below) {
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

std::string Carried::walkDirectory(int from, int to, const std::string& name,
                                   const std::string& inside) {
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

}  // namespace tool
