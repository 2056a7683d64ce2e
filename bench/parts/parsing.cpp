// The time to read a list into a map.

#include <benchmark/benchmark.h>
#include <zemo/selfcheck/file_list.h>

#include <memory>
#include <string>
#include <vector>

#include "common/made_list.h"
#include "support/temporary_directory.h"

namespace {

using ZEMO::SELF_CHECK::FileList;

constexpr int fewest = 1000;
constexpr int most = 1000000;

void parse(benchmark::State& state, const std::vector<std::string>& lines) {
  TemporaryDirectory const directory;
  std::string const path = directory / "list";
  writeList(path, lines);
  while (state.KeepRunning()) {
    auto list = std::make_unique<FileList>("wam", "full");
    if (!list->parseList(path))
      state.SkipWithError("the list cannot be read");
    state.PauseTiming();
    list.reset();
    state.ResumeTiming();
  }
  state.SetItemsProcessed(state.iterations() * state.range());
  state.SetComplexityN(state.range());
}

void parseSorted(benchmark::State& state) {
  parse(state, madeLines(static_cast<unsigned>(state.range())));
}

void parseShuffled(benchmark::State& state) {
  std::vector<std::string> lines = madeLines(static_cast<unsigned>(state.range()));
  shuffle(lines);
  parse(state, lines);
}

void configure(benchmark::internal::Benchmark* benchmark) {
  benchmark->RangeMultiplier(10)->Range(fewest, most)->Unit(benchmark::kMillisecond);
  benchmark->Complexity(benchmark::oNLogN);
}

BENCHMARK(parseSorted)->Name("parse/sorted")->Apply(configure);
BENCHMARK(parseShuffled)->Name("parse/shuffled")->Apply(configure);

}  // namespace
