// A directory of one test, which is removed with this object.

#ifndef ZEMO_TESTS_SUPPORT_TEMPORARY_DIRECTORY_H
#define ZEMO_TESTS_SUPPORT_TEMPORARY_DIRECTORY_H

#include <sys/types.h>

#include <string>

class TemporaryDirectory {
 public:
  TemporaryDirectory();
  ~TemporaryDirectory();
  TemporaryDirectory(const TemporaryDirectory&) = delete;
  TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;

  const std::string& path() const { return _path; }

  // The path of `name` in the directory.
  std::string operator/(const std::string& name) const { return _path + "/" + name; }

 private:
  pid_t _maker;
  std::string _path;
};

#endif
