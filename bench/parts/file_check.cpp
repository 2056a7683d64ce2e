// The time to check one file, for every file type. All files are in the page cache.

#include <benchmark/benchmark.h>
#include <sys/stat.h>
#include <zemo/selfcheck/protected_file.h>

#include <string>

#include "support/files.h"
#include "support/temporary_directory.h"

namespace {

using ZEMO::SELF_CHECK::CHECK_ITEM;
using ZEMO::SELF_CHECK::CHECK_ITEM_ALL;
using ZEMO::SELF_CHECK::CHECK_ITEM_HASH;
using ZEMO::SELF_CHECK::CheckError;
using ZEMO::SELF_CHECK::ProtectedFile;

// Deletes the findings after each check, to keep memory from growing.
void check(benchmark::State& state, ProtectedFile& file, bool intact = true,
           CHECK_ITEM items = CHECK_ITEM_ALL) {
  while (state.KeepRunning()) {
    bool changed = false;
    if (!file.check(changed, items) || changed == intact)
      state.SkipWithError("the check returned an unexpected result");
    for (CheckError* error : file._errors)
      delete error;
    file._errors.clear();
  }
  state.SetItemsProcessed(state.iterations());
}

void checkRegular(benchmark::State& state) {
  TemporaryDirectory const directory;
  writeFile(directory / "file", std::string(static_cast<size_t>(state.range()), 'x'));
  ProtectedFile file(entryLine(directory / "file"));
  check(state, file);
}

void checkAttributes(benchmark::State& state) {
  TemporaryDirectory const directory;
  writeFile(directory / "file", "");
  ProtectedFile file(entryLine(directory / "file"));
  check(state, file, true, static_cast<CHECK_ITEM>(CHECK_ITEM_ALL & ~CHECK_ITEM_HASH));
}

void checkDirectory(benchmark::State& state) {
  TemporaryDirectory const directory;
  ProtectedFile file(entryLine(directory.path()));
  check(state, file);
}

void checkFixedDirectory(benchmark::State& state) {
  TemporaryDirectory const directory;
  ProtectedFile file(entryLine(directory.path()));
  file._hash = "FIXED";
  for (int64_t i = 0; i < state.range(); ++i) {
    file._fixedEntries.push_back("member" + std::to_string(i));
    writeFile(directory / file._fixedEntries.back(), "");
  }
  check(state, file);
}

void checkLink(benchmark::State& state) {
  TemporaryDirectory const directory;
  makeLink("libexample.so.1.0", directory / "link");
  ProtectedFile file(entryLine(directory / "link"));
  check(state, file);
}

void checkDevice(benchmark::State& state) {
  ProtectedFile file(entryLine("/dev/null"));
  check(state, file);
}

void checkFifo(benchmark::State& state) {
  TemporaryDirectory const directory;
  makeFifo(directory / "fifo");
  ProtectedFile file(entryLine(directory / "fifo"));
  check(state, file);
}

void checkSocket(benchmark::State& state) {
  TemporaryDirectory const directory;
  // Unlike bind, accepts paths of any length.
  if (mknod((directory / "socket").c_str(), S_IFSOCK | 0644, 0) != 0)
    state.SkipWithError("the socket cannot be made");
  else {
    ProtectedFile file(entryLine(directory / "socket"));
    check(state, file);
  }
}

void checkMissing(benchmark::State& state) {
  TemporaryDirectory const directory;
  ProtectedFile file(entryLine(directory / "missing", "0", "-", "f", "644", "0", "0"));
  check(state, file, false);
}

BENCHMARK(checkRegular)->Name("check/regular")->Arg(0)->Arg(1024)->Arg(65536);
BENCHMARK(checkAttributes)->Name("check/attributes");
BENCHMARK(checkDirectory)->Name("check/directory");
BENCHMARK(checkFixedDirectory)->Name("check/fixed_directory")->Arg(10)->Arg(1000);
BENCHMARK(checkLink)->Name("check/link");
BENCHMARK(checkDevice)->Name("check/device");
BENCHMARK(checkFifo)->Name("check/fifo");
BENCHMARK(checkSocket)->Name("check/socket");
BENCHMARK(checkMissing)->Name("check/missing");

}  // namespace
