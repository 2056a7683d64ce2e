#include "support/temporary_directory.h"

#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <stdexcept>

TemporaryDirectory::TemporaryDirectory() : _maker(getpid()) {
  const char* const parent = getenv("TMPDIR");
  _path = std::string(parent != nullptr ? parent : "/tmp") + "/zemo-test.XXXXXX";
  if (mkdtemp(_path.data()) == nullptr)
    throw std::runtime_error("cannot make " + _path);
}

TemporaryDirectory::~TemporaryDirectory() {
  if (getpid() != _maker)
    return;               // the copy in a child process
  std::error_code error;  // a member that cannot be removed must not hide the test's own result
  // A program that the test has ended may still add one.
  for (int left = 100; left > 0; --left) {
    std::filesystem::remove_all(_path, error);
    if (error != std::errc::directory_not_empty)
      break;
    (void)usleep(10000);
  }
}
