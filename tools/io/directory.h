// A directory that is opened once, and tests whether other users could replace a file.

#ifndef ZEMO_TOOLS_IO_DIRECTORY_H
#define ZEMO_TOOLS_IO_DIRECTORY_H

#include <sys/stat.h>

#include <memory>
#include <string>
#include <vector>

#include "io/descriptors.h"

namespace tool {

// All operations use this very directory, even if its path leads elsewhere by then.
class Directory {
 public:
  // Follows links. On failure, get() is -1 and error() gives the reason.
  explicit Directory(std::string path);

  const std::string& path() const { return _path; }
  int get() const { return _opened->get(); }
  int error() const { return _error; }

  // The names of its members; empty if they cannot be read.
  std::vector<std::string> members() const;

  // Writes the directory to the disk. Returns 0 or an errno value.
  int sync() const;

 private:
  std::string _path;
  std::shared_ptr<const Descriptor> _opened;
  int _error = 0;
};

// Why users other than root and the caller can change a file with this status: "belongs to the user
// 1000" or "is writable by others"; empty if they cannot.
std::string strangerIn(const struct stat& status);

// True if `user` is the number that the kernel shows for all users without a number in this
// process's user namespace. It is unknown whether such an owner is root. The first call finds out
// which number this is; later ones open nothing.
bool isWithoutNumber(uid_t user);

// Throws Failure(STATUS_NOT_LOADED) if users other than root and the caller own or can write to the
// file at `path`, or could replace it through a directory above it. Parts that do not exist yet are
// skipped. The last component must not be a link.
void requireOwn(const std::string& path);

}  // namespace tool

#endif
