#include "io/temporary_path.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <new>

namespace tool {
namespace {

// The signals that users and systems send to end a program, or that a write causes.
constexpr std::array<int, 7> endings = {SIGHUP,  SIGINT,  SIGQUIT, SIGPIPE,
                                        SIGTERM, SIGXCPU, SIGXFSZ};

// A fixed table, because a signal handler must neither wait nor allocate. Files that do not fit
// into it are removed only when the program ends normally.
std::array<std::atomic<char*>, 64> table{};

// Returns false for a directory that is not empty. Anything else that cannot be removed stays.
bool removeNow(const char* path) {
  return unlink(path) == 0 || errno != EISDIR || rmdir(path) == 0 || errno != ENOTEMPTY;
}

// Removes the latest first: files are added after the directory that contains them.
bool removeAll() {
  bool removed = true;
  for (auto place = table.rbegin(); place != table.rend(); ++place) {
    const char* const path = place->load();
    if (path != nullptr && !removeNow(path))
      removed = false;
  }
  return removed;
}

using Handler = void (*)(int);

void setHandler(int signal, Handler handler) {
  struct sigaction action = {};
  action.sa_handler = handler;
  action.sa_flags = SA_RESTART;
  (void)sigaction(signal, &action, nullptr);  // cannot fail for these signals
}

// Not with SA_RESETHAND: the kernel would restore the default a moment before it holds the signal
// back for this handler, and the same signal in between, as from timeout(1), would end the program
// at once.
extern "C" void removeAllAndEnd(int signal) {
  removeTemporaryPaths();
  setHandler(signal, SIG_DFL);
  (void)raise(signal);  // ends the program on return
}

// Replaces the handler `before` of the signals with the handler `after`; other handlers stay.
void replaceHandlers(Handler before, Handler after) {
  for (int const signal : endings) {
    struct sigaction action = {};
    if (sigaction(signal, nullptr, &action) != 0 || (action.sa_flags & SA_SIGINFO) != 0 ||
        action.sa_handler != before)
      continue;
    setHandler(signal, after);
  }
}

bool nothingLeft() {
  return std::all_of(table.begin(), table.end(),
                     [](const std::atomic<char*>& place) { return place.load() == nullptr; });
}

}  // namespace

TemporaryPath::TemporaryPath(const std::string& path) : _path(strdup(path.c_str())) {
  if (_path == nullptr)
    throw std::bad_alloc();
  // The first free place after all used ones, so that the order is kept.
  std::size_t free = table.size();
  while (free > 0 && table[free - 1].load() == nullptr)
    --free;
  if (free < table.size())
    table[free].store(_path);
  replaceHandlers(SIG_DFL, removeAllAndEnd);
}

TemporaryPath::~TemporaryPath() {
  if (_path != nullptr)
    (void)removeNow(_path);
  keep();
}

void TemporaryPath::keep() {
  for (std::atomic<char*>& place : table) {
    char* expected = _path;
    if (_path != nullptr && place.compare_exchange_strong(expected, nullptr))
      break;
  }
  free(_path);
  _path = nullptr;
  if (nothingLeft())
    replaceHandlers(removeAllAndEnd, SIG_DFL);
}

// A program that we started, and that is also being ended, may just have created one of the files
// again.
void removeTemporaryPaths() {
  constexpr int tries = 50;
  constexpr int pause = 2;  // milliseconds
  for (int i = 0; i < tries && !removeAll(); ++i)
    (void)poll(nullptr, 0, pause);
}

HeldSignals::HeldSignals() {
  sigset_t held;
  (void)sigemptyset(&held);
  for (int const signal : endings)
    (void)sigaddset(&held, signal);
  (void)pthread_sigmask(SIG_BLOCK, &held, &_before);
}

HeldSignals::~HeldSignals() {
  (void)pthread_sigmask(SIG_SETMASK, &_before, nullptr);
}

}  // namespace tool
