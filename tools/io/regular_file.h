// Files that can be opened without waiting (GnuPG and the library wait for the writer of a FIFO),
// and that are examined after they have been opened.

#ifndef ZEMO_TOOLS_IO_REGULAR_FILE_H
#define ZEMO_TOOLS_IO_REGULAR_FILE_H

#include <sys/stat.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "io/descriptors.h"
#include "io/directory.h"

namespace tool {

// A regular file that is opened once. All operations use this very file, even if its name leads
// elsewhere by then. They throw Failure(STATUS_NOT_LOADED), naming its path.
class RegularFile {
 public:
  // Opens the last component of `path` in `directory`, which is the rest of `path`. If it is a
  // link, it is rejected, not followed.
  RegularFile(const Directory& directory, const std::string& path);

  // The same; empty if it does not exist.
  static std::optional<RegularFile> ifThere(const Directory& directory, const std::string& path);

  // Opens the file at `path`, which may be a link to it.
  static RegularFile following(const std::string& path);

  const struct stat& status() const { return _status; }

  // The content from its start, at most `most` bytes.
  std::string content(std::size_t most = SIZE_MAX) const;

  // Makes it readable by everybody and writable by its owner.
  void publish() const;

 private:
  RegularFile(Descriptor file, std::string path);

  std::string _path;
  Descriptor _file;
  struct stat _status = {};
};

// The content of the regular file at `path`, which may be a link to it. Throws
// Failure(STATUS_NOT_LOADED) if it cannot be read or is not a regular file.
std::string readWholeFile(const std::string& path);

// Why the file at `path` must not be opened: "'PATH' is not a regular file". Empty if it is one or
// a link to one. Also empty if it does not exist or cannot be examined; opening it reports that.
std::string irregular(const std::string& path);

}  // namespace tool

#endif
