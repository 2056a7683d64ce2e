// Preloaded into the program: stops it when it has been loaded, so that the calls that fail from
// then on, and their numbers, are its own and not the loader's.

#include <csignal>
#include <cstdlib>

namespace {

__attribute__((constructor)) void stop() {
  (void)unsetenv("LD_PRELOAD");  // the programs that it starts do not stop
  (void)raise(SIGSTOP);
}

}  // namespace
