#include "io/atomic_file.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <ctime>

#include "io/exit_status.h"
#include "io/paths.h"
#include "text/strings.h"

namespace tool {
namespace {

constexpr std::size_t blockSize = std::size_t{1} << 16U;

// Short, because the target's name may have the maximum length, and unlike the name of any list.
const std::string temporaryStart = ".zemo-";
constexpr std::string_view letters =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789";
constexpr std::size_t randomLetters = 6;

constexpr std::time_t oldAge =
    86400;  // seconds; even a writer without a working lock is done by then

// Empty if there is no source of random numbers.
std::string randomName() {
  std::array<unsigned char, randomLetters> random{};
  if (getrandom(random.data(), random.size(), 0) != static_cast<ssize_t>(random.size()))
    return "";
  std::string name = temporaryStart;
  for (unsigned char const byte : random)
    name += letters[byte % letters.size()];
  return name;
}

bool isOurName(const std::string& name) {
  return name.size() == temporaryStart.size() + randomLetters && startsWith(name, temporaryStart) &&
         name.find_first_not_of(letters, temporaryStart.size()) == std::string::npos;
}

bool isOld(const struct stat& status) {
  return S_ISREG(status.st_mode) && status.st_uid == geteuid() &&
         std::time(nullptr) - status.st_mtime > oldAge;
}

// Removes temporary files that writers could not remove themselves.
void removeStale(const Directory& directory) {
  for (const std::string& name : directory.members()) {
    struct stat status = {};
    if (!isOurName(name) ||
        fstatat(directory.get(), name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0 || !isOld(status))
      continue;
    Descriptor const file(openat(directory.get(), name.c_str(),
                                 O_RDWR | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    if (file.get() >= 0 && flock(file.get(), LOCK_EX | LOCK_NB) == 0)
      (void)unlinkat(directory.get(), name.c_str(), 0);  // the next writer tries again
  }
}

// Some file systems report a failed write only on close. Returns 0 or an errno value.
int closedOnce(int descriptor) {
  int const copy = fcntl(descriptor, F_DUPFD_CLOEXEC, 0);
  return copy >= 0 && close(copy) != 0 && errno != EINTR ? errno : 0;
}

}  // namespace

AtomicFile::AtomicFile(const std::string& path, mode_t mode)
    : AtomicFile(Directory(directoryOf(path)), path, mode) {}

AtomicFile::AtomicFile(Directory directory, std::string path, mode_t mode)
    : _path(std::move(path)), _mode(mode), _directory(std::move(directory)) {
  if (_directory.get() < 0)
    fail("cannot write", _directory.error());
  removeStale(_directory);
  HeldSignals const untilNoted;
  open();
  _guard = std::make_unique<TemporaryPath>(joined(_directory.path(), _name));
  // Only processes that may read the file can hold the lock. Some file systems have no locks.
  (void)flock(_file.get(), LOCK_EX | LOCK_NB);
  _temporary = "/proc/self/fd/" + std::to_string(_file.get());
  if (access(_temporary.c_str(), F_OK) != 0)
    _temporary = joined(_directory.path(), _name);
}

void AtomicFile::open() {
  constexpr int tries = 100;
  for (int i = 0; i < tries; ++i) {
    _name = randomName();
    if (_name.empty())
      break;
    _file = Descriptor(openat(_directory.get(), _name.c_str(),
                              O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
    if (_file.get() >= 0)
      return;
    if (errno != EEXIST)
      break;
  }
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
  if (int const error = writeAll(_file.get(), _held); error != 0)
    fail("cannot write", error);
  _held.clear();
}

void AtomicFile::finish() {
  flush();
  int error = syncToDisk(_file.get());
  if (error == 0)
    error = closedOnce(_file.get());
  if (error != 0)
    fail("cannot write", error);
}

void AtomicFile::commit() {
  // Before the sync: a crash must not leave a file that others cannot read.
  if (fchmod(_file.get(), _mode) != 0)
    fail("cannot write", errno);
  finish();
  if (renameat(_directory.get(), _name.c_str(), _directory.get(), fileName(_path).c_str()) != 0)
    fail("cannot replace", errno);
  _guard->keep();
  syncDirectory();
}

void AtomicFile::syncDirectory() const {
  int const error = _directory.sync();
  // The directory may be writable but not readable, and its file system may not support the
  // request.
  if (error != 0 && error != EACCES && error != EINVAL)
    throw Failure(STATUS_NOT_LOADED,
                  withReason("cannot sync " + inQuotes(_path), error) +
                      "; the new file is in place, but after a power cut the old one may be back");
}

}  // namespace tool
