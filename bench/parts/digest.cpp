// The time to compute a file's digest.

#include <benchmark/benchmark.h>
#include <zemo/selfcheck/protected_file.h>

#include <filesystem>
#include <string>

#include "support/files.h"
#include "support/temporary_directory.h"

namespace {

using ZEMO::SELF_CHECK::calculateHash;

constexpr int64_t kibi = 1024;
constexpr int64_t mebi = 1024 * kibi;
constexpr int64_t gibi = 1024 * mebi;

// The files are sparse: they need no disk space, and behave like any other file in the page cache.
void digest(benchmark::State& state) {
  TemporaryDirectory const directory;
  std::string const path = directory / "file";
  writeFile(path, "");
  std::filesystem::resize_file(path, static_cast<uintmax_t>(state.range()));
  std::string text;
  (void)calculateHash(path, text);  // fills the page cache
  while (state.KeepRunning()) {
    if (!calculateHash(path, text))
      state.SkipWithError("the file cannot be read");
  }
  state.SetBytesProcessed(state.iterations() * state.range());
}

BENCHMARK(digest)
    ->Arg(0)
    ->Arg(kibi)
    ->Arg(4 * kibi)
    ->Arg(64 * kibi)
    ->Arg(mebi)
    ->Arg(64 * mebi)
    ->Arg(gibi)
    ->Unit(benchmark::kMicrosecond);

}  // namespace
