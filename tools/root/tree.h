// A directory with everything below it, as data that nobody has vouched for.

#ifndef ZEMO_TOOLS_ROOT_TREE_H
#define ZEMO_TOOLS_ROOT_TREE_H

#include <cstdint>
#include <string>
#include <vector>

#include "io/descriptors.h"

namespace tool {

// The directory as it is when the object is made, with all that is mounted there; what is mounted
// on it afterwards is not seen. In this view nothing can be written, executed or loaded as code, no
// device can be opened, no access time changes, and links of a mounted procfs are not followed.
//
// All paths below are absolute and lead from this directory: links and ".." never lead out of it,
// even while others rename directories. Failures name the path and the directory, and have the
// status STATUS_NOT_LOADED.
class Tree {
 public:
  // isolateMounts() must have been called. Throws Failure if `directory` cannot be opened.
  explicit Tree(std::string directory);

  const std::string& name() const { return _name; }

  // Makes this directory the calling thread's root and working directory. Other threads keep
  // theirs. Throws Failure; the thread must then not open anything.
  void enter() const;

  // Opens `path`; -1, with the reason in errno.
  Descriptor opened(const std::string& path, uint64_t flags) const;

  // True if nothing exists at `path`. A dangling link counts as existing.
  bool isAbsent(const std::string& path) const;

  // True if a directory or a link to one is at `path`. Throws if that cannot be found out.
  bool isDirectory(const std::string& path) const;

  // The names in a directory in byte order; none if nothing exists at `path`. Throws.
  std::vector<std::string> members(const std::string& path) const;

  // The opened regular file. Throws, without waiting, if it is something else.
  Descriptor regular(const std::string& path) const;

  // The content of a regular file. Throws if it has more than `most` bytes.
  std::string content(const std::string& path, std::size_t most) const;

  // The failure to read `path`, for the errno value `error`.
  [[noreturn]] void cannotRead(const std::string& path, int error) const;

 private:
  std::string _name;
  Descriptor _mount;
};

}  // namespace tool

#endif
