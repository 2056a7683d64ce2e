// gnupg_alone LIST...: verifies the lists' signatures one by one, like the library.

#include <zemo/core.h>

#include "measured.h"

int main(int argc, char** argv) {
  constexpr int quietly = VLIB_EXEC_WAIT | VLIB_EXEC_STDIN_NULL | VLIB_EXEC_STDOUT_NULL |
                          VLIB_EXEC_STDERR_NULL | VLIB_EXEC_CLEAN_ENVIRONMENT | VLIB_EXEC_ISOLATE;
  bench::Stopwatch const stopwatch;
  for (int i = 1; i < argc; ++i) {
    std::string const signature = std::string(argv[i]) + ".asc";
    if (VLIBExecl("/usr/bin/gpg", quietly, "--homedir", "/usr/zemo/selfcheck", "--verify",
                  signature.c_str(), argv[i], static_cast<char*>(nullptr)) != 0)
      bench::fail(std::string(argv[i]) + " does not verify");
  }
  (void)printf("{\"seconds\": %.6f}\n", stopwatch.seconds());
  return 0;
}
