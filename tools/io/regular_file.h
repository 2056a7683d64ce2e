// Files that can be opened without waiting (GnuPG and the library wait for the writer of a FIFO),
// and that are looked at after they have been opened.

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

// A regular file that is opened once. What is looked at, read and published is this file, whatever
// its name leads to meanwhile. All operations throw Failure(STATUS_NOT_LOADED), naming its path.
class RegularFile {
 public:
  // Opens the last component of `path` in `directory`, which is the rest of it. A link there is not
  // followed but refused.
  RegularFile(const Directory& directory, const std::string& path);

  // The same; nothing if it does not exist.
  static std::optional<RegularFile> ifThere(const Directory& directory, const std::string& path);

  const struct stat& status() const { return _status; }

  // From its start to its end, or as many bytes.
  std::string content(std::size_t most = SIZE_MAX) const;

  // Lets everybody read it, and the owner write.
  void publish() const;

 private:
  friend std::string readWholeFile(const std::string& path);
  RegularFile(Descriptor file, std::string path);

  std::string _path;
  Descriptor _file;
  struct stat _status = {};
};

// The content of the regular file at `path`, to which a link may lead. Throws
// Failure(STATUS_NOT_LOADED) if it cannot be read or is no regular file.
std::string readWholeFile(const std::string& path);

// Why the file at `path` is not to be opened: "'PATH' is not a regular file". Empty if it is one or
// a link to one, and also if it does not exist or cannot be looked at, of which opening it tells.
std::string irregular(const std::string& path);

// The paths of the files that GnuPG may read options from, for this home and, in /etc/gnupg, for
// all homes; but those known not to exist. Which of them it reads depends on its version.
std::vector<std::string> optionFilesOf(const std::string& home);

// Those, and the paths of all other files in `home` that GnuPG may open to verify, but those known
// not to exist.
std::vector<std::string> gnupgFilesOf(const std::string& home);

// The paths of the files in `home` that GnuPG reads instead of gpg.conf: gpg.conf-2.2, for example.
std::vector<std::string> otherConfigurationsIn(const std::string& home);

// irregular() of the first file that GnuPG, run as the library does, would open to verify `list`.
std::string irregularToVerify(const std::string& list);

}  // namespace tool

#endif
