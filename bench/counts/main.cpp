// counts_workload NAME: runs one workload, without callgrind counting its preparation.
// counts_workload --versions: prints the external versions that affect the counts.

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
  // A thread has its own heap and stack: the state of the heap after the preparation, and the
  // position of the stack after the environment, would change the count by up to three percent.
  std::thread([&] {
    CALLGRIND_START_INSTRUMENTATION;
    done = work();
    CALLGRIND_STOP_INSTRUMENTATION;
  }).join();
  if (!done)
    std::cerr << "counts_workload: the workload returned an unexpected result\n";
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
