#include "engine/memory_file.h"

#include <sys/mman.h>
#include <unistd.h>

#include <stdexcept>

namespace fuzz {

MemoryFile::MemoryFile()
    : _descriptor(memfd_create("zemo-fuzz", MFD_CLOEXEC)),
      _path("/proc/self/fd/" + std::to_string(_descriptor)) {
  if (_descriptor < 0)
    throw std::runtime_error("cannot make a file in memory");
}

MemoryFile::~MemoryFile() {
  (void)close(_descriptor);
}

void MemoryFile::write(const std::string& content) {
  auto const size = static_cast<ssize_t>(content.size());
  if (ftruncate(_descriptor, 0) != 0 ||
      pwrite(_descriptor, content.data(), content.size(), 0) != size)
    throw std::runtime_error("cannot write to a file in memory");
}

}  // namespace fuzz
