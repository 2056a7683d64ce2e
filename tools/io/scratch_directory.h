// A private directory for intermediate files of other programs.

#ifndef ZEMO_TOOLS_IO_SCRATCH_DIRECTORY_H
#define ZEMO_TOOLS_IO_SCRATCH_DIRECTORY_H

#include <memory>
#include <string>
#include <vector>

#include "io/temporary_path.h"

namespace tool {

// A new directory below TMPDIR or /tmp that only its owner can enter. The destructor removes it
// with everything in it. If a signal ends the program, the files `names` are removed, and then the
// directory.
class ScratchDirectory {
 public:
  // Throws Failure(STATUS_NOT_LOADED) if it cannot be made.
  explicit ScratchDirectory(const std::vector<std::string>& names);
  ~ScratchDirectory();
  ScratchDirectory(const ScratchDirectory&) = delete;
  ScratchDirectory& operator=(const ScratchDirectory&) = delete;

  const std::string& path() const { return _path; }
  std::string operator/(const std::string& name) const { return _path + "/" + name; }

 private:
  std::string _path;
  std::vector<std::unique_ptr<TemporaryPath>> _temporaryPaths;
};

// Writes a file with this content, readable only by its owner. Throws Failure(STATUS_NOT_LOADED).
void writeWholeFile(const std::string& path, const std::string& content);

}  // namespace tool

#endif
