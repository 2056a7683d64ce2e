#include "io/regular_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>

#include "io/exit_status.h"
#include "io/paths.h"

namespace tool {
namespace {

// Opening a FIFO would wait for its writer.
constexpr int reading = O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY;

[[noreturn]] void cannotRead(const std::string& path, int error) {
  throw Failure(STATUS_NOT_LOADED, withReason("cannot read " + inQuotes(path), error));
}

Descriptor openedIn(const Directory& directory, const std::string& path) {
  Descriptor file(directory.get() < 0
                      ? -1
                      : openat(directory.get(), fileName(path).c_str(), reading | O_NOFOLLOW));
  if (directory.get() < 0)
    errno = directory.error();
  return file;
}

}  // namespace

RegularFile::RegularFile(Descriptor file, std::string path)
    : _path(std::move(path)), _file(std::move(file)) {
  if (_file.get() < 0 && errno == ELOOP)
    throw Failure(STATUS_NOT_LOADED,
                  inQuotes(_path) + " is a symbolic link: give the path that it leads to");
  if (_file.get() < 0 || fstat(_file.get(), &_status) != 0)
    cannotRead(_path, errno);
  if (!S_ISREG(_status.st_mode))
    throw Failure(STATUS_NOT_LOADED,
                  "cannot read " + inQuotes(_path) + ": it is not a regular file");
}

RegularFile::RegularFile(const Directory& directory, const std::string& path)
    : RegularFile(openedIn(directory, path), path) {}

std::optional<RegularFile> RegularFile::ifThere(const Directory& directory,
                                                const std::string& path) {
  Descriptor file = openedIn(directory, path);
  if (file.get() < 0 && errno == ENOENT)
    return std::nullopt;
  return RegularFile(std::move(file), path);
}

RegularFile RegularFile::following(const std::string& path) {
  return {Descriptor(open(path.c_str(), reading)), path};
}

std::string RegularFile::content(std::size_t most) const {
  std::string content;
  std::array<char, 65536> buffer;  // NOLINT(cppcoreguidelines-pro-type-member-init) filled by read
  while (content.size() < most) {
    ssize_t const length =
        pread(_file.get(), buffer.data(), std::min(buffer.size(), most - content.size()),
              static_cast<off_t>(content.size()));
    if (length < 0 && errno == EINTR)
      continue;
    if (length < 0)
      cannotRead(_path, errno);
    if (length <= 0)
      break;
    content.append(buffer.data(), static_cast<std::size_t>(length));
  }
  return content;
}

void RegularFile::publish() const {
  if (fchmod(_file.get(), 0644) != 0)
    throw Failure(STATUS_NOT_LOADED,
                  withReason("cannot make " + inQuotes(_path) + " readable", errno));
}

std::string readWholeFile(const std::string& path) {
  return RegularFile::following(path).content();
}

std::string irregular(const std::string& path) {
  struct stat status = {};
  if (stat(path.c_str(), &status) != 0 || S_ISREG(status.st_mode))
    return "";
  return inQuotes(path) + " is not a regular file";
}

}  // namespace tool
