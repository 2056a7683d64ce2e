// Files that must not remain if the program is interrupted.

#ifndef ZEMO_TOOLS_IO_TEMPORARY_PATH_H
#define ZEMO_TOOLS_IO_TEMPORARY_PATH_H

#include <csignal>
#include <string>

namespace tool {

// The destructor removes the file or empty directory at a path. So does a signal such as SIGINT,
// SIGTERM, SIGHUP or SIGPIPE, which still ends the program. A signal that is ignored or already has
// a handler is left alone: the program then continues and ends on its own. For use on one thread.
class TemporaryPath {
 public:
  // Nothing needs to exist at `path`, now or later.
  explicit TemporaryPath(const std::string& path);
  ~TemporaryPath();
  TemporaryPath(const TemporaryPath&) = delete;
  TemporaryPath& operator=(const TemporaryPath&) = delete;

  // Leaves the file at the path in place.
  void keep();

 private:
  char* _path;
};

// Removes all of them at once. For signal handlers that end the process.
void removeTemporaryPaths();

// Blocks these signals while it exists, between creating a file and registering it.
class HeldSignals {
 public:
  HeldSignals();
  ~HeldSignals();
  HeldSignals(const HeldSignals&) = delete;
  HeldSignals& operator=(const HeldSignals&) = delete;

 private:
  sigset_t _before{};
};

}  // namespace tool

#endif
