// The reasons why a list cannot be written: all of them, not only the first.

#ifndef ZEMO_TOOLS_MAKE_PROBLEMS_H
#define ZEMO_TOOLS_MAKE_PROBLEMS_H

#include <map>
#include <mutex>
#include <string>

namespace tool {

class Problems {
 public:
  // Adds that the file at `path` cannot be listed because of `reason`, which is printed unchanged.
  // Only the first reason for a path is kept. Any thread may call this.
  void add(const std::string& path, const std::string& reason);

  // The same for a call that failed with the errno value `error`.
  void cannotRead(const std::string& path, int error);

  // The printed reasons, by path.
  const std::map<std::string, std::string>& reasons() const { return _reasons; }

  // If there are any problems, prints all of them in byte order of their paths and throws
  // Failure(STATUS_UNCHECKED).
  void refuse();

 private:
  std::mutex _mutex;
  std::map<std::string, std::string> _reasons;
};

}  // namespace tool

#endif
