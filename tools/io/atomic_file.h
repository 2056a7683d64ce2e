// A file that exists completely or not at all, even if writing it is interrupted.

#ifndef ZEMO_TOOLS_IO_ATOMIC_FILE_H
#define ZEMO_TOOLS_IO_ATOMIC_FILE_H

#include <sys/types.h>

#include <memory>
#include <string>
#include <string_view>

#include "io/descriptors.h"
#include "io/directory.h"
#include "io/temporary_path.h"

namespace tool {

// Writes to a temporary file in the target's directory; commit() puts it in the target's place.
// Without commit(), the destructor removes the temporary file, and so does a signal that ends the
// program and was neither handled nor ignored by it (temporary_path.h). A temporary file left by a
// power failure is removed by the next AtomicFile in its directory, once it is a day old and no
// writer holds its lock. The same thread must construct and destroy the object.
//
// All operations throw Failure(STATUS_NOT_LOADED), naming the target.
class AtomicFile {
 public:
  // `mode` applies from commit() on, regardless of the umask; until then only the owner can read
  // the file. If the target is a link, it is replaced, not followed.
  AtomicFile(const std::string& path, mode_t mode);

  // The same for the last component of `path` in `directory`, which is the rest of `path`.
  AtomicFile(Directory directory, std::string path, mode_t mode);

  // A path that leads to the temporary file even if that is renamed or removed.
  const std::string& temporary() const { return _temporary; }

  void write(std::string_view data);

  // Writes everything to the disk. Afterwards the temporary file can be read, and nothing more can
  // be written to it.
  void finish();

  // Sets the mode, calls finish() and renames the temporary file to the target.
  void commit();

 private:
  [[noreturn]] void fail(const char* what, int error) const;
  void open();
  void flush();
  void syncDirectory() const;

  std::string _path;
  mode_t _mode;
  Directory _directory;
  std::string _name;  // of the temporary file
  Descriptor _file;
  std::string _temporary;
  std::unique_ptr<TemporaryPath> _guard;
  std::string _held;  // written, but not yet to the file
};

}  // namespace tool

#endif
