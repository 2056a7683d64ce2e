// The names of members, compared with those from a plain walk over all pairs of paths.

#include <gtest/gtest.h>
#include <zemo/selfcheck/file_list.h>

#include <algorithm>
#include <map>
#include <random>

#include "fixed_directories_fixture.h"
#include "support/fixed_directories_model.h"

namespace {

using namespace ZEMO::SELF_CHECK;

using Names = std::vector<std::string>;

class RandomFixedDirectoriesTest : public FixedDirectoriesTest {
 protected:
  RandomFixedDirectoriesTest() : _seed(std::random_device()()), _random(_seed) {}

  size_t below(size_t limit) { return _random() % limit; }

  // Few letters, many slashes, and the neighbours of the slash in byte order. Mostly extends a path
  // in the map.
  std::string randomPath() {
    constexpr char letters[] = {'/', '/', '/', '/', 'a', 'a', 'b', '.', '0', '\xff'};
    std::string path;
    if (!_names.empty() && below(4) != 0)
      path = std::next(_names.begin(), static_cast<long>(below(_names.size())))->first;
    for (size_t length = below(4); length > 0; --length)
      path += letters[below(sizeof letters)];
    return path;
  }

  // Puts a new entry into the map, replacing an existing one.
  void addRandom() {
    std::string const path = randomPath();
    bool const fixed = below(3) == 0;
    add(path, fixed ? "FIXED" : "-");
    _names[path].clear();
    _fixed[path] = fixed;
  }

  void removeRandom() {
    auto const victim = std::next(_names.begin(), static_cast<long>(below(_names.size())));
    _list.getProtectedFiles()->erase(victim->first);
    _fixed.erase(victim->first);
    _names.erase(victim);
  }

  void collectInModel() {
    for (const auto& [path, fixed] : _fixed) {
      if (fixed)
        _table.push_back(path);
    }
    for (const std::string& directory : _table) {
      if (_names.count(directory) == 0)
        continue;
      for (const auto& [path, fixed] : _fixed) {
        if (fuzz::liesIn(directory, path))
          _names[directory].push_back(fuzz::lastComponent(path));
      }
    }
  }

  void expectTheSameNames() const {
    ASSERT_EQ(_list.getProtectedFiles()->size(), _names.size());
    for (const auto& [path, names] : _names)
      EXPECT_EQ(namesOf(path), names) << "[" << path << "]";
  }

  void expectTheSameFlags() {
    for (int i = 0; i < 20; ++i) {
      std::string const path = randomPath();
      if (_list.getProtectedFiles()->count(path) != 0)
        continue;
      bool const expected = std::any_of(
          _table.begin(), _table.end(),
          [&path](const std::string& directory) { return fuzz::liesIn(directory, path); });
      EXPECT_EQ(isInFixedDirectory(path), expected) << "[" << path << "]";
      _list.getProtectedFiles()->erase(path);  // the check may have added it
    }
  }

  void forgetAll() {
    _list = FileList("wam", "full");
    _names.clear();
    _fixed.clear();
    _table.clear();
  }

  unsigned int _seed;

 private:
  std::mt19937 _random;
  std::map<std::string, Names> _names;  // by path, of every entry
  std::map<std::string, bool> _fixed;   // by path, of every entry
  Names _table;
};

TEST_F(RandomFixedDirectoriesTest, AgreeWithAPlainWalkOverAllPairs) {
  SCOPED_TRACE("seed " + std::to_string(_seed));
  for (int round = 0; round < 400 && !HasFailure(); ++round) {
    forgetAll();
    for (size_t entries = 1 + below(40); entries > 0; --entries)
      addRandom();
    for (size_t passes = 1 + below(3); passes > 0; --passes) {
      collect();
      collectInModel();
      expectTheSameNames();
      expectTheSameFlags();
      for (size_t changes = below(4); changes > 0; --changes) {
        addRandom();
        removeRandom();
      }
    }
  }
}

}  // namespace
