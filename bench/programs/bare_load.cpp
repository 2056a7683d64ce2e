// bare_load LIST: makes the entries of a sorted list in memory, and inserts each into the map after
// the one before. This is the cost of the data types alone, without reading a list, splitting
// columns and finding places.

#include <boost/make_shared.hpp>
#include <map>
#include <string_view>
#include <utility>

#include "measured.h"
#include "plain_entry.h"

namespace {

using bench::PlainEntry;

boost::shared_ptr<PlainEntry> entryOf(std::string_view line) {
  auto entry = boost::make_shared<PlainEntry>();
  for (std::string* const column : {&entry->path, &entry->size, &entry->hash, &entry->type,
                                    &entry->permission, &entry->owner, &entry->group}) {
    std::size_t const end = line.find('\t');
    *column = line.substr(0, end);
    line.remove_prefix(end == std::string_view::npos ? line.size() : end + 1);
  }
  return entry;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2)
    bench::fail("usage: bare_load LIST");
  std::vector<std::string> const lines = bench::readAll(argv[1], '\n');

  bench::Stopwatch const stopwatch;
  std::map<std::string, boost::shared_ptr<PlainEntry>> files;
  for (std::size_t i = 2; i < lines.size(); ++i) {
    boost::shared_ptr<PlainEntry> entry = entryOf(lines[i]);
    const std::string& path = entry->path;
    (void)files.emplace_hint(files.end(), path, std::move(entry));
  }
  (void)printf("{\"seconds\": %.6f, \"entries\": %zu}\n", stopwatch.seconds(), files.size());
  return 0;
}
