// The time to distinguish paths that no list names from listed ones.

#include <benchmark/benchmark.h>
#include <zemo/selfcheck/file_list.h>

#include <string>
#include <vector>

#include "common/made_list.h"
#include "support/temporary_directory.h"

namespace {

using ZEMO::SELF_CHECK::FileList;

constexpr unsigned entries = 60000;
constexpr unsigned pathCount = 10000;

// The arguments: paths per call, fixed directories. Each iteration names all paths once, in as many
// calls as needed, because a path that was named before is cheaper: it has left an element in the
// map.
void lookUp(benchmark::State& state) {
  TemporaryDirectory const directory;
  writeList(directory / "list", madeLines(entries, static_cast<unsigned>(state.range(1))));
  FileList list("wam", "full");
  if (!list.parseList(directory / "list") || !list.fillFixedDirInfo())
    state.SkipWithError("the list cannot be read");

  std::vector<std::string> const paths = unlistedPaths(pathCount);
  std::vector<std::vector<std::string>> calls;
  auto const pathsPerCall = state.range(0);
  for (auto path = paths.begin(); path != paths.end(); path += pathsPerCall)
    calls.emplace_back(path, path + pathsPerCall);

  while (state.KeepRunning()) {
    for (const auto& call : calls) {
      std::vector<SELFCHECK_RESULT> results;
      list.checkFiles(call, results);
      if (results.front().notListed == 0)
        state.SkipWithError("an unlisted path counts as listed");
    }
    state.PauseTiming();
    for (const std::string& path : paths)
      list.getProtectedFiles()->erase(path);
    state.ResumeTiming();
  }
  state.SetItemsProcessed(state.iterations() * pathCount);
}

BENCHMARK(lookUp)
    ->Name("named_files/unlisted")
    ->ArgsProduct({{1, 100, pathCount}, {0, 100}})
    ->Unit(benchmark::kMillisecond);

}  // namespace
