// The time to make an entry from a line.

#include <benchmark/benchmark.h>
#include <zemo/selfcheck/protected_file.h>

#include <string>

#include "support/restored_binding.h"

namespace {

using ZEMO::SELF_CHECK::ProtectedFile;

void makeEntry(benchmark::State& state, const std::string& line) {
  while (state.KeepRunning())
    benchmark::DoNotOptimize(ProtectedFile(line)._path.data());
  state.SetItemsProcessed(state.iterations());
}

void makeBoundEntry(benchmark::State& state, const std::string& line) {
  RestoredBinding const restored;
  ProtectedFile::_pkginfo = {true, 1000, 1000, "/var/packages/notes/target"};
  makeEntry(state, line);
}

const char* const fileLine =
    "/usr/lib/x86_64-linux-gnu/libexample.so.1.0\t151344\t"
    "d3abebe287671fe1e09e79cdab88533aa68874e4\tf\t755\t0\t0";
const char* const linkLine =
    "/usr/lib/x86_64-linux-gnu/libexample.so.1\t19\tlibexample.so.1.0\tl\t-\t-\t-";
const char* const placeholderFileLine =
    "$pkg_dir/lib/libnotes.so.1.0\t151344\t"
    "d3abebe287671fe1e09e79cdab88533aa68874e4\tf\t755\t$pkg\t$pkg_sys";
const char* const placeholderLinkLine =
    "$pkg_dir/lib/libnotes.so.1\t40\t$pkg_dir/lib/libnotes.so.1.0\tl\t-\t-\t-";
const char* const shortLine = "/usr/lib/x86_64-linux-gnu/libexample.so.1.0\t151344";

BENCHMARK_CAPTURE(makeEntry, file, fileLine)->Name("entry/file");
BENCHMARK_CAPTURE(makeEntry, link, linkLine)->Name("entry/link");
BENCHMARK_CAPTURE(makeEntry, short, shortLine)->Name("entry/short");
BENCHMARK_CAPTURE(makeBoundEntry, file, placeholderFileLine)->Name("entry/placeholder_file");
BENCHMARK_CAPTURE(makeBoundEntry, link, placeholderLinkLine)->Name("entry/placeholder_link");

}  // namespace
