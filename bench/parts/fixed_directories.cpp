// The time to collect the members of fixed directories.

#include <benchmark/benchmark.h>
#include <zemo/selfcheck/file_list.h>

#include <memory>
#include <string>

#include "common/made_list.h"
#include "support/temporary_directory.h"

namespace {

using ZEMO::SELF_CHECK::FileList;

constexpr int fewest = 10000;
constexpr int most = 1000000;

void forgetMembers(const FileList& list) {
  for (const auto& [path, entry] : *list.getProtectedFiles())
    entry->_fixedEntries = {};
}

// Every directory in the list is fixed: one entry in a hundred.
void collectMembers(benchmark::State& state) {
  auto const count = static_cast<unsigned>(state.range());
  FileList source("wam", "full");
  {
    TemporaryDirectory const directory;
    writeList(directory / "list", madeLines(count, count / entriesPerDirectory));
    if (!source.parseList(directory / "list"))
      state.SkipWithError("the list cannot be read");
  }
  while (state.KeepRunning()) {
    state.PauseTiming();
    auto list = std::make_unique<FileList>("wam", "full", source);
    state.ResumeTiming();
    list->fillFixedDirInfo();
    state.PauseTiming();
    list.reset();
    forgetMembers(source);
    state.ResumeTiming();
  }
  state.SetItemsProcessed(state.iterations() * count);
  state.SetComplexityN(count);
}

BENCHMARK(collectMembers)
    ->Name("fixed_directories")
    ->RangeMultiplier(10)
    ->Range(fewest, most)
    ->Unit(benchmark::kMillisecond)
    ->Complexity(benchmark::oNLogN);

}  // namespace
