#include "common/atomic_file.h"
#include "common/paths.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>

#include "common/failure.h"

namespace tool {
namespace {

constexpr std::size_t blockSize = std::size_t{1} << 16U;

int synced(int descriptor) {
  int result = -1;
  do {
    result = fsync(descriptor);
  } while (result != 0 && errno == EINTR);
  return result;
}

}  // namespace

AtomicFile::AtomicFile(std::string path, mode_t mode)
    : _path(std::move(path)),
      _directory(directoryOf(_path)),
      // Short, since the target's name may be as long as a name can be, and like no list's.
      _temporary(_directory + (_directory == "/" ? "" : "/") + ".zemo-XXXXXX") {
  HeldSignals const untilNoted;
  _file = Descriptor(mkostemp(_temporary.data(), O_CLOEXEC));
  if (_file.get() < 0)
    fail("cannot write", errno);
  _leftover = std::make_unique<Leftover>(_temporary);
  if (fchmod(_file.get(), mode) != 0)
    fail("cannot write", errno);
}

void AtomicFile::fail(const char* what, int error) const {
  throw Failure(STATUS_NOT_LOADED, withReason(what + (" " + inQuotes(_path)), error));
}

void AtomicFile::write(std::string_view data) {
  _held += data;
  if (_held.size() >= blockSize)
    flush();
}

void AtomicFile::flush() {
  std::string_view rest = _held;
  while (!rest.empty()) {
    ssize_t const count = ::write(_file.get(), rest.data(), rest.size());
    if (count < 0 && errno == EINTR)
      continue;
    if (count <= 0)
      fail("cannot write", count < 0 ? errno : EIO);
    rest.remove_prefix(static_cast<std::size_t>(count));
  }
  _held.clear();
}

void AtomicFile::finish() {
  flush();
  if (synced(_file.get()) != 0)
    fail("cannot write", errno);
  // Some file systems tell of a failed write only here.
  if (::close(_file.release()) != 0 && errno != EINTR)
    fail("cannot write", errno);
  _finished = true;
}

void AtomicFile::commit() {
  if (!_finished)
    finish();
  if (rename(_temporary.c_str(), _path.c_str()) != 0)
    fail("cannot replace", errno);
  _leftover->keep();
  syncDirectory();
}

void AtomicFile::syncDirectory() const {
  Descriptor const directory(open(_directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  // A directory may be written but not read, and its file system may know no such request.
  if ((directory.get() < 0 || synced(directory.get()) != 0) && errno != EACCES && errno != EINVAL)
    fail("after a crash, the old file may be back instead of", errno);
}

}  // namespace tool
