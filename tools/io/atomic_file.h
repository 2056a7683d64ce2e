// A file that is there whole or not at all, whatever happens while it is written.

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

// Writes to a temporary file beside the target and puts it in the target's place by commit().
// Without that, the temporary file is removed when this goes, and when a signal ends the program
// that it did not handle or ignore (temporary_path.h). One that a power cut has left is removed by
// the next AtomicFile in its directory, once it is a day old and no writer holds its lock. To be
// made and destroyed by one thread.
//
// All operations throw Failure(STATUS_NOT_LOADED), naming the target.
class AtomicFile {
 public:
  // `mode` holds from commit() on, whatever the umask; until then nobody else can read the file. A
  // target that is a link is replaced, not followed.
  AtomicFile(const std::string& path, mode_t mode);

  // The same for the last component of `path` in `directory`, which is the rest of it.
  AtomicFile(Directory directory, std::string path, mode_t mode);

  // A path that leads to the temporary file, whatever becomes of its name.
  const std::string& temporary() const { return _temporary; }

  void write(std::string_view data);

  // Brings what was written onto the disk. The temporary file can be read from now on, and nothing
  // more be written.
  void finish();

  // finish(), with the mode, and gives the temporary file the target's name.
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
