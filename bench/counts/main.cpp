// counts_workload NAME: one workload, of which callgrind shall count only what is not preparation.
// counts_workload --versions: what else than this project the counts depend on.

#include <gnu/libc-version.h>
#include <openssl/crypto.h>
#include <unistd.h>
#include <valgrind/callgrind.h>

#include <iostream>
#include <map>
#include <string>
#include <thread>

#include "counts/workload.h"
#include "support/temporary_directory.h"

namespace {

const std::map<std::string, Work (*)()> workloads = {{"entry", makeEntries},
                                                     {"load", loadList},
                                                     {"shuffled", parseShuffled},
                                                     {"check", checkSet},
                                                     {"named", checkNamed}};

int run(Work (*prepare)()) {
  TemporaryDirectory const directory;
  if (chdir(directory.path().c_str()) != 0) {
    std::cerr << "counts_workload: cannot enter " << directory.path() << '\n';
    return 1;
  }
  Work const work = prepare();
  bool done = false;
  // A thread has a heap and a stack of its own: what the preparation has left on the heap, and
  // where the environment has put the stack, would change the count by up to three percent.
  std::thread([&] {
    CALLGRIND_START_INSTRUMENTATION;
    done = work();
    CALLGRIND_STOP_INSTRUMENTATION;
  }).join();
  if (!done)
    std::cerr << "counts_workload: the work has not had the expected result\n";
  return done ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
  std::string const name = argc == 2 ? argv[1] : "";
  if (name == "--versions") {
    std::cout << "compiler " << __VERSION__ << ", glibc " << gnu_get_libc_version()
              << ", libcrypto " << OpenSSL_version(OPENSSL_VERSION_STRING) << '\n';
    return 0;
  }
  auto const found = workloads.find(name);
  if (found == workloads.end()) {
    std::cerr << "usage: counts_workload entry | load | shuffled | check | named | --versions\n";
    return 1;
  }
  return run(found->second);
}
