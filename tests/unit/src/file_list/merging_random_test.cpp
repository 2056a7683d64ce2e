// The map that parsing creates, compared with a plain replay of the lines.

#include <algorithm>
#include <map>
#include <random>
#include <string>

#include "parsing_fixture.h"

namespace {

class RandomMergingTest : public ParsingTest {
 protected:
  size_t below(size_t limit) { return _random() % limit; }

  // Few enough that lines meet earlier lines with the same path and with neighbouring paths.
  std::string randomPath() { return "/" + std::to_string(below(40)); }

  // The lines of a list: most lists are in ascending order, some in descending, some in none.
  std::vector<std::string> randomLines() {
    std::vector<std::string> lines;
    for (size_t count = below(30); count > 0; --count)
      lines.push_back(randomPath());
    size_t const order = below(4);
    if (order < 2)
      std::sort(lines.begin(), lines.end());
    else if (order == 2)
      std::sort(lines.rbegin(), lines.rend());
    for (std::string& line : lines) {
      if (below(5) == 0)
        line.insert(0, "-");
    }
    return lines;
  }

  // The size column distinguishes each entry from every other.
  void addAndReplay(const std::vector<std::string>& lines) {
    std::string text;
    for (const std::string& line : lines) {
      std::string const size = std::to_string(++_made);
      text += line + "\t" + size + "\t-\tf\t-\t-\t-\n";
      if (line.front() == '-')
        _sizes.erase(line.substr(1));
      else
        _sizes[line] = size;
    }
    add(text);
  }

  void expectTheSameEntries() {
    std::map<std::string, std::string> sizes;
    for (const auto& [path, entry] : *_list.getProtectedFiles())
      sizes[path] = entry->_size;
    EXPECT_EQ(sizes, _sizes);
  }

  unsigned int const _seed = std::random_device()();

 private:
  std::mt19937 _random{_seed};
  size_t _made = 0;
  std::map<std::string, std::string> _sizes;  // by path
};

TEST_F(RandomMergingTest, AgreesWithAPlainReplay) {
  SCOPED_TRACE("seed " + std::to_string(_seed));
  for (int round = 0; round < 500 && !HasFailure(); ++round) {
    addAndReplay(randomLines());
    expectTheSameEntries();
  }
}

}  // namespace
