// Files that must not stay behind when the program ends half way.

#ifndef ZEMO_TOOLS_IO_TEMPORARY_PATH_H
#define ZEMO_TOOLS_IO_TEMPORARY_PATH_H

#include <csignal>
#include <string>

namespace tool {

// Removes the file or empty directory at a path when it goes, and also when a signal such as
// SIGINT, SIGTERM, SIGHUP or SIGPIPE ends the program meanwhile, which it still does. Where a
// signal is ignored or has a handler already, that stays: the program then goes on, and ends by its
// own doing. To be used on one thread.
class TemporaryPath {
 public:
  // Nothing needs to exist at `path` yet, now or later.
  explicit TemporaryPath(const std::string& path);
  ~TemporaryPath();
  TemporaryPath(const TemporaryPath&) = delete;
  TemporaryPath& operator=(const TemporaryPath&) = delete;

  // What is at the path stays.
  void keep();

 private:
  char* _path;
};

// Removes them all at once. For signal handlers that end the process.
void removeTemporaryPaths();

// Holds these signals back while it lives: between making a file and noting it.
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
