// The time to find and order the lists of a set.

#include <benchmark/benchmark.h>
#include <zemo/selfcheck/file_list.h>

#include <string>
#include <vector>

#include "common/made_list.h"
#include "support/files.h"
#include "support/temporary_directory.h"

namespace {

void discover(benchmark::State& state) {
  TemporaryDirectory const directory;
  std::vector<std::string> names;
  for (int64_t i = 0; i < state.range(); ++i) {
    names.push_back("wam.full.part" + std::to_string(i) + ".list");
    writeFile(directory / names.back(), "");
  }
  shuffle(names);
  std::string order;
  for (const std::string& name : names)
    order += name + '\n';
  writeFile(directory / "listorder", order);

  std::string const pattern = directory / "wam.full.*.list";
  while (state.KeepRunning()) {
    if (glob(directory.path(), pattern).size() != names.size())
      state.SkipWithError("not all lists were found");
  }
  state.SetItemsProcessed(state.iterations() * state.range());
}

BENCHMARK(discover)
    ->Name("discovery")
    ->RangeMultiplier(10)
    ->Range(1, 1000)
    ->Unit(benchmark::kMicrosecond);

}  // namespace
