// Collects the members of fixed directories. Every line of an input is one operation on a path:
//
//   + PATH  adds an entry
//   - PATH  removes an entry
//   # PATH  adds a fixed directory
//   ? PATH  asks whether an unlisted path is in a fixed directory (which adds it to the map)
//   !       collects the members

#include <zemo/selfcheck.h>

#include <algorithm>
#include <boost/make_shared.hpp>
#include <map>
#include <optional>

#include "engine/agree.h"
#include "engine/target.h"
#include "support/doubles/recorded_log.h"
#include "support/fixed_directories_model.h"

using namespace ZEMO::SELF_CHECK;

namespace {

using Names = std::vector<std::string>;

struct Entry {
  bool fixed;
  Names names;
};

class Set {
 public:
  void add(const std::string& path, bool fixed) {
    auto entry = boost::make_shared<ProtectedFile>("");
    entry->_path = path;
    entry->_hash = fixed ? "FIXED" : "-";
    (*_list.getProtectedFiles())[path] = entry;
    _entries[path] = Entry{fixed, {}};
  }

  void remove(const std::string& path) {
    _list.getProtectedFiles()->erase(path);
    _entries.erase(path);
  }

  void ask(const std::string& path) {
    if (_entries[path])
      return;  // listed: a check, not this operation
    std::vector<SELFCHECK_RESULT> results;
    fuzz::require(_list.checkFiles({path}, results) && results.size() == 1, "one result");
    bool const expected =
        std::any_of(_table.begin(), _table.end(),
                    [&](const std::string& directory) { return fuzz::liesIn(directory, path); });
    fuzz::agree("inFixedDir of " + path, results[0].inFixedDir != 0, expected);
    fuzz::agree("notListed of " + path, results[0].notListed != 0, true);
  }

  void collect() {
    fuzz::require(_list.fillFixedDirInfo(), "fillFixedDirInfo");
    for (const auto& [path, entry] : _entries) {
      if (entry && entry->fixed)
        _table.push_back(path);
    }
    for (const std::string& directory : _table) {
      auto const found = _entries.find(directory);
      if (found == _entries.end() || !found->second)
        continue;
      for (const auto& [path, entry] : _entries) {
        if (entry && fuzz::liesIn(directory, path))
          found->second->names.push_back(fuzz::lastComponent(path));
      }
    }
  }

  void compare() const {
    std::map<std::string, Names> actual;
    for (const auto& [path, entry] : *_list.getProtectedFiles())
      actual[path] = entry ? entry->_fixedEntries : Names{"no entry"};
    std::map<std::string, Names> expected;
    for (const auto& [path, entry] : _entries)
      expected[path] = entry ? entry->names : Names{"no entry"};
    fuzz::agree("members", actual, expected);
  }

 private:
  FileList _list{"wam", "full"};
  std::map<std::string, std::optional<Entry>> _entries;  // none if only the path was looked up
  Names _table;
};

void run(fuzz::Input input) {
  clearLog();
  Set set;
  int passes = 0;
  while (!input.atEnd()) {
    unsigned char const operation = input.byte();
    std::string const path = input.line();
    if (operation == '+' || operation == '#') {
      set.add(path, operation == '#');
    } else if (operation == '-') {
      set.remove(path);
    } else if (operation == '?') {
      set.ask(path);
    } else if (operation == '!' && ++passes <= 4) {  // names double with every pass
      set.collect();
      set.compare();
    }
  }
  set.compare();
  fuzz::require(recordedLog().empty(), "nothing is logged");
}

fuzz::Target const target("fixed_directories", run);

}  // namespace
