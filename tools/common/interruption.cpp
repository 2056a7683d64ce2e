#include "common/interruption.h"

#include <csignal>
#include <initializer_list>

namespace tool {
namespace {

volatile std::sig_atomic_t noted = 0;

extern "C" void note(int /*signal*/) {
  noted = 1;
}

}  // namespace

void watchForInterruption() {
  for (int const signal : {SIGINT, SIGTERM, SIGHUP}) {
    struct sigaction action = {};
    if (sigaction(signal, nullptr, &action) != 0 || action.sa_handler == SIG_IGN)
      continue;
    action = {};
    action.sa_handler = note;
    // RESETHAND: the second one ends the program at once. RESTART: the library's reads go on.
    action.sa_flags = static_cast<int>(SA_RESTART | SA_RESETHAND);
    (void)sigaction(signal, &action, nullptr);  // cannot fail for these signals
  }
}

bool interrupted() {
  return noted != 0;
}

}  // namespace tool
