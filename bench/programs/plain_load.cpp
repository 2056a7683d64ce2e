// plain_load LIST: reads a list into the library's data types in the most obvious way: with
// standard streams, every column as a separate string in a list that is cleared when it is made,
// and one search of the map per line. Loading is compared with this.

#include <boost/make_shared.hpp>
#include <cstring>
#include <map>

#include "measured.h"
#include "plain_entry.h"

namespace {

using bench::PlainEntry;

// A list of strings with room for a given number of them.
struct PlainList {
  explicit PlainList(std::size_t room)
      : items(static_cast<char**>(calloc(room, sizeof(char*)))), capacity(room) {}
  ~PlainList() {
    for (std::size_t i = 0; i < count; ++i)
      free(items[i]);
    free(items);
  }
  PlainList(const PlainList&) = delete;
  PlainList& operator=(const PlainList&) = delete;

  void push(const char* item) {
    if (count == capacity)
      bench::fail("too many columns");
    items[count++] = strdup(item);
  }

  char** items;
  std::size_t capacity;
  std::size_t count = 0;
};

void split(const std::string& line, PlainList& columns) {
  std::size_t start = 0;
  for (std::size_t tab = line.find('\t'); tab != std::string::npos; tab = line.find('\t', start)) {
    columns.push(line.substr(start, tab - start).c_str());
    start = tab + 1;
  }
  columns.push(line.substr(start).c_str());
}

boost::shared_ptr<PlainEntry> entryOf(const std::string& line) {
  auto entry = boost::make_shared<PlainEntry>();
  PlainList columns(1024);
  split(line, columns);
  if (columns.count < 7)
    return entry;
  entry->path = columns.items[0];
  if (entry->path.substr(0, 1) == "-")
    entry->path = entry->path.substr(1);
  entry->size = columns.items[1];
  entry->hash = columns.items[2];
  entry->type = columns.items[3];
  entry->permission = columns.items[4];
  entry->owner = columns.items[5];
  entry->group = columns.items[6];
  return entry;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2)
    bench::fail("usage: plain_load LIST");
  bench::Stopwatch const stopwatch;
  std::map<std::string, boost::shared_ptr<PlainEntry>> files;
  std::ifstream list(argv[1]);
  std::string line;
  if (!std::getline(list, line) || line != "WAM_SELF_CHECK" || !std::getline(list, line))
    bench::fail("not a check list");
  while (std::getline(list, line)) {
    boost::shared_ptr<PlainEntry> const entry = entryOf(line);
    if (!line.empty() && line[0] == '-')
      files.erase(entry->path);
    else
      files[entry->path] = entry;
  }
  (void)printf("{\"seconds\": %.6f, \"entries\": %zu}\n", stopwatch.seconds(), files.size());
  return 0;
}
