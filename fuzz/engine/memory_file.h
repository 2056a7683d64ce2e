// A file in memory with a path, because creating a file in a directory would take most of a run's
// time.

#ifndef ZEMO_FUZZ_ENGINE_MEMORY_FILE_H
#define ZEMO_FUZZ_ENGINE_MEMORY_FILE_H

#include <string>

namespace fuzz {

class MemoryFile {
 public:
  MemoryFile();
  ~MemoryFile();
  MemoryFile(const MemoryFile&) = delete;
  MemoryFile& operator=(const MemoryFile&) = delete;

  // Replaces the content.
  void write(const std::string& content);

  const std::string& path() const { return _path; }

 private:
  int _descriptor;
  std::string _path;
};

}  // namespace fuzz

#endif
