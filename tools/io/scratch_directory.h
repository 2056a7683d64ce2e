// A private directory for what other programs write on the way.

#ifndef ZEMO_TOOLS_IO_SCRATCH_DIRECTORY_H
#define ZEMO_TOOLS_IO_SCRATCH_DIRECTORY_H

#include <memory>
#include <string>
#include <vector>

#include "io/temporary_path.h"

namespace tool {

// A new directory below TMPDIR or /tmp that nobody else can enter. It goes with all that is in it;
// where a signal ends the program, the files `names` go, and then the directory.
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

// Writes a file with this content, readable by its owner alone. Throws Failure(STATUS_NOT_LOADED).
void writeWholeFile(const std::string& path, const std::string& content);

}  // namespace tool

#endif
