// The dpkg database of another root, for this machine's dpkg-query.

#ifndef ZEMO_TOOLS_MAKE_DPKG_COPY_H
#define ZEMO_TOOLS_MAKE_DPKG_COPY_H

#include <string>

#include "io/scratch_directory.h"
#include "root/tree.h"

namespace tool {

// A file system in memory, for as long as the object exists, and no longer than the process.
class MemoryMount {
 public:
  // Throws Failure(STATUS_NOT_LOADED).
  explicit MemoryMount(const std::string& place);
  ~MemoryMount();
  MemoryMount(const MemoryMount&) = delete;
  MemoryMount& operator=(const MemoryMount&) = delete;

 private:
  std::string _place;
};

// A copy in memory: nothing in the other root, such as a link or a FIFO, can lead dpkg-query to
// other files or keep it waiting. dpkg-query reads it and executes nothing from it. All operations
// throw Failure(STATUS_NOT_LOADED).
class DpkgCopy {
 public:
  // Copies what the database says about all packages, but not the lists of their files.
  explicit DpkgCopy(const Tree& root);

  // Copies the names and digests of this package's files.
  void addFilesOf(const std::string& package, const std::string& architecture);

  // The directory for --admindir.
  const std::string& path() const { return _place.path(); }

 private:
  void copyIfThere(const std::string& name);

  const Tree& _root;
  ScratchDirectory _place;
  MemoryMount _mount;  // on it
};

}  // namespace tool

#endif
