// Preloaded into the program: stops it after loading, so that the failing calls and their numbers
// do not include the loader's calls.

#include <csignal>
#include <cstdlib>

namespace {

__attribute__((constructor)) void stop() {
  (void)unsetenv("LD_PRELOAD");  // the programs that it starts must not stop
  (void)raise(SIGSTOP);
}

}  // namespace
