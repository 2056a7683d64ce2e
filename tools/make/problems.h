// Why a list cannot be written: all reasons, not only the first.

#ifndef ZEMO_TOOLS_MAKE_PROBLEMS_H
#define ZEMO_TOOLS_MAKE_PROBLEMS_H

#include <map>
#include <mutex>
#include <string>

namespace tool {

class Problems {
 public:
  // The file at `path` cannot be listed, because of `reason`, which is said as it is. Of several
  // reasons for one path the first stays. May be called by any thread.
  void add(const std::string& path, const std::string& reason);

  // The same for a call that failed with the errno value `error`.
  void cannotRead(const std::string& path, int error);

  // If there are any, says them all, in byte order of their paths, and throws
  // Failure(STATUS_UNCHECKED).
  void refuse();

 private:
  std::mutex _mutex;
  std::map<std::string, std::string> _reasons;
};

}  // namespace tool

#endif
