#include "run/interruption.h"

#include <unistd.h>

#include <atomic>
#include <csignal>
#include <initializer_list>

#include "io/temporary_path.h"

namespace tool {
namespace {

// Any thread may receive the signal.
std::atomic<bool> noted{false};
static_assert(std::atomic<bool>::is_always_lock_free);

std::atomic<int> lastStatus{-1};
static_assert(std::atomic<int>::is_always_lock_free);

// timeout(1), for example, sends its signal to the program and then to the program's whole group.
// Signals after the first change nothing: the program ends at most a second after the first.
extern "C" void note(int /*signal*/) {
  if (!noted.exchange(true) && lastStatus.load() >= 0)
    alarm(1);
}

extern "C" void endNow(int /*signal*/) {
  removeTemporaryPaths();
  _exit(lastStatus.load());
}

}  // namespace

void watchForInterruption() {
  for (int const signal : {SIGINT, SIGTERM, SIGHUP}) {
    struct sigaction action = {};
    if (sigaction(signal, nullptr, &action) != 0 || action.sa_handler == SIG_IGN)
      continue;
    action = {};
    action.sa_handler = note;
    action.sa_flags = SA_RESTART;               // so that the library's reads continue
    (void)sigaction(signal, &action, nullptr);  // cannot fail for these signals
  }
}

bool interrupted() {
  return noted.load();
}

void endSoonAfterInterruption(int status) {
  if (lastStatus.exchange(status) >= 0)
    return;
  struct sigaction action = {};
  action.sa_handler = endNow;
  (void)sigaction(SIGALRM, &action, nullptr);  // cannot fail for this signal
  sigset_t alarms;
  (void)sigemptyset(&alarms);
  (void)sigaddset(&alarms, SIGALRM);
  (void)pthread_sigmask(SIG_UNBLOCK, &alarms, nullptr);
}

}  // namespace tool
