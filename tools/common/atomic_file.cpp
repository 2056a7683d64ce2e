#include "common/atomic_file.h"

#include <fcntl.h>
#include <limits.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "common/failure.h"

namespace tool {
namespace {

constexpr std::size_t blockSize = std::size_t{1} << 16U;

// The temporary files that a signal removes. More than these stay when a signal ends the program.
struct Doomed {
  volatile std::sig_atomic_t used;
  std::array<char, PATH_MAX> path;
};
std::array<Doomed, 4> doomed;

// The signals that end a program and that people and machines send, or that a write causes.
const std::array<int, 7> endings = {SIGHUP, SIGINT, SIGQUIT, SIGPIPE, SIGTERM, SIGXCPU, SIGXFSZ};

extern "C" void removeAndEnd(int number) {
  for (const Doomed& file : doomed) {
    if (file.used != 0)
      (void)unlink(file.path.data());
  }
  struct sigaction action = {};
  action.sa_handler = SIG_DFL;
  (void)sigaction(number, &action, nullptr);
  (void)raise(number);  // comes when this handler returns
}

// Signals that are handled otherwise, or ignored, stay so.
void handleEndings(bool handle) {
  for (int const number : endings) {
    struct sigaction action = {};
    if (sigaction(number, nullptr, &action) != 0)
      continue;
    auto* const before = handle ? SIG_DFL : removeAndEnd;
    if ((action.sa_flags & SA_SIGINFO) != 0 || action.sa_handler != before)
      continue;
    action = {};
    action.sa_handler = handle ? removeAndEnd : SIG_DFL;
    (void)sigaction(number, &action, nullptr);  // cannot fail for these signals
  }
}

// While one lives, this thread takes none of the endings: the list of files is just being changed.
class EndingsBlocked {
 public:
  EndingsBlocked() {
    sigset_t set;
    sigemptyset(&set);
    for (int const number : endings)
      sigaddset(&set, number);
    (void)pthread_sigmask(SIG_BLOCK, &set, &_before);
  }
  ~EndingsBlocked() { (void)pthread_sigmask(SIG_SETMASK, &_before, nullptr); }
  EndingsBlocked(const EndingsBlocked&) = delete;
  EndingsBlocked& operator=(const EndingsBlocked&) = delete;

 private:
  sigset_t _before{};
};

void doom(const std::string& path) {
  for (Doomed& file : doomed) {
    if (file.used != 0 || path.size() >= file.path.size())
      continue;
    memcpy(file.path.data(), path.c_str(), path.size() + 1);
    file.used = 1;
    break;
  }
  handleEndings(true);
}

void spare(const std::string& path) {
  bool left = false;
  for (Doomed& file : doomed) {
    if (file.used != 0 && path == file.path.data())
      file.used = 0;
    left = left || file.used != 0;
  }
  if (!left)
    handleEndings(false);
}

std::string directoryOf(const std::string& path) {
  std::size_t const slash = path.rfind('/');
  if (slash == std::string::npos)
    return ".";
  return slash == 0 ? "/" : path.substr(0, slash);
}

}  // namespace

AtomicFile::AtomicFile(std::string path, mode_t mode)
    : _path(std::move(path)),
      _directory(directoryOf(_path)),
      // Short, since the target's name may be as long as a name can be, and like no list's.
      _temporary(_directory + (_directory == "/" ? "" : "/") + ".zemo-XXXXXX") {
  EndingsBlocked const blocked;
  _file = Descriptor(mkostemp(_temporary.data(), O_CLOEXEC));
  if (_file.get() < 0)
    fail("cannot write", errno);
  if (fchmod(_file.get(), mode) != 0) {
    int const error = errno;
    (void)unlink(_temporary.c_str());
    fail("cannot write", error);
  }
  doom(_temporary);
}

AtomicFile::~AtomicFile() {
  EndingsBlocked const blocked;
  if (!_committed)
    (void)unlink(_temporary.c_str());  // nobody is left to tell
  spare(_temporary);
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
  int result = -1;
  do {
    result = fsync(_file.get());
  } while (result != 0 && errno == EINTR);
  if (result != 0)
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
  _committed = true;
  syncDirectory();
}

void AtomicFile::syncDirectory() const {
  Descriptor const directory(open(_directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  int result = -1;
  if (directory.get() >= 0) {
    do {
      result = fsync(directory.get());
    } while (result != 0 && errno == EINTR);
  }
  // A directory that may be written but not read, or whose file system knows no such request.
  if (result != 0 && errno != EACCES && errno != EINVAL)
    fail("after a crash, the old file may be back instead of", errno);
}

}  // namespace tool
