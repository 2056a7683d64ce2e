// Finding the files of a set's lists and their order.

#include <glob.h>
#include <zemo/core.h>
#include <zemo/selfcheck/file_list.h>

#include <algorithm>
#include <climits>
#include <cstdint>
#include <utility>

#include "file_list/line_reader.h"
#include "log.h"

namespace {

// Path to the number of the last line that names it; lines count from 1.
using OrderTable = std::map<std::string, int32_t>;

OrderTable readOrder(const std::string& listDir) {
  OrderTable order;
  std::string const prefix = listDir + "/";
  std::string const orderFile = prefix + "listorder";
  if (VLIBFileExist(orderFile.c_str()) == 0)
    return order;

  ZEMO::SELF_CHECK::LineReader reader(orderFile);
  if (!reader.isOpen()) {
    ZEMO::SELF_CHECK::log::openOrderFailed(orderFile);
    return order;
  }
  std::string name;
  for (int64_t number = 1; reader.next(name, PATH_MAX); ++number) {
    if (name.size() < PATH_MAX)  // no file name is longer, and one could take all memory
      order[prefix + name] = static_cast<int32_t>(number);
  }
  return order;
}

// The paths that a pattern matches.
class Matches {
 public:
  explicit Matches(const std::string& pattern) {
    // Whatever the return code, the record now holds the paths that were found.
    (void)glob64(pattern.c_str(), GLOB_TILDE, nullptr, &_found);
  }
  ~Matches() { globfree64(&_found); }
  Matches(const Matches&) = delete;
  Matches& operator=(const Matches&) = delete;

  char** begin() const { return _found.gl_pathv; }
  char** end() const { return _found.gl_pathv + _found.gl_pathc; }

 private:
  glob64_t _found = {};
};

}  // namespace

std::vector<std::string> glob(const std::string& listDir, const std::string& pattern) {
  OrderTable const order = readOrder(listDir);

  // A file that the order does not name has position 0, so it comes before every named file, and
  // the named files override it.
  std::vector<std::pair<uint64_t, std::string>> records;
  for (const char* match : Matches(pattern)) {
    std::string path = match;
    auto const named = order.find(path);
    records.emplace_back(named == order.end() ? 0 : named->second, std::move(path));
  }
  std::sort(records.begin(), records.end());

  std::vector<std::string> paths;
  paths.reserve(records.size());
  for (auto& record : records)
    paths.push_back(std::move(record.second));
  return paths;
}
