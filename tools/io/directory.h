// A directory that is opened once, and who could exchange what is in one.

#ifndef ZEMO_TOOLS_IO_DIRECTORY_H
#define ZEMO_TOOLS_IO_DIRECTORY_H

#include <sys/stat.h>

#include <memory>
#include <string>
#include <vector>

#include "io/descriptors.h"

namespace tool {

// What is done in it is done in this very directory, whatever its path leads to meanwhile.
class Directory {
 public:
  // Follows links. Where that fails, get() is -1, and error() says why.
  explicit Directory(std::string path);

  const std::string& path() const { return _path; }
  int get() const { return _opened->get(); }
  int error() const { return _error; }

  // The names of its members; none if they cannot be read.
  std::vector<std::string> members() const;

  // Brings its names onto the disk. Returns an errno value, or 0.
  int sync() const;

 private:
  std::string _path;
  std::shared_ptr<const Descriptor> _opened;
  int _error = 0;
};

// Why somebody other than root and the caller can change what has this status: "belongs to the user
// 1000" or "is writable by others"; empty if nobody else can.
std::string strangerIn(const struct stat& status);

// `user` is what the kernel shows for all users that have no number in this process's user
// namespace. Of such an owner nobody here knows whether it is root.
bool isWithoutNumber(uid_t user);

// Throws Failure(STATUS_NOT_LOADED) if somebody other than root and the caller owns or can write to
// what is at `path`, or could put another in its place, by a directory above it. What does not
// exist yet is passed over. The last component must not be a link.
void requireOwn(const std::string& path);

}  // namespace tool

#endif
