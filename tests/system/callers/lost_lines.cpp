#include "lost_lines.h"

#include <algorithm>
#include <bitset>

#include "shared_set.h"

namespace {

// The lines that affect results, as bits.
enum Line : unsigned {
  none = 0,
  changedOfA = 1,
  changedOfB = 2,
  intact = 4,
  member = 8,
  fixed = 16
};
constexpr unsigned allLines = 31;

std::string pathOf(const std::string& name) {
  return SharedSetTest::pathOf(name);
}

Line lineOf(const std::string& text) {
  auto const begins = [&text](const std::string& name, const std::string& size) {
    return text.rfind(pathOf(name) + "\t" + size, 0) == 0;
  };
  if (begins("changed", ""))
    return begins("changed", "0\t") ? changedOfA : changedOfB;
  if (begins("intact", ""))
    return intact;
  if (begins("fixed/member", ""))
    return member;
  return begins("fixed", "") ? fixed : none;
}

std::vector<uint32_t> masksWithout(unsigned lost) {
  constexpr uint32_t unlisted = 0x080;
  uint32_t changed = 0x001;
  if ((lost & changedOfA) != 0)
    changed = (lost & changedOfB) != 0 ? unlisted : 0;  // list b has the file as it is
  return {changed, unlisted, (lost & intact) != 0 ? unlisted : 0,
          (lost & fixed) != 0 ? unlisted : 0x180};
}

std::vector<std::string> recordsWithout(unsigned lost) {
  std::vector<std::string> records;
  if ((lost & changedOfA) == 0)
    records.push_back(pathOf("changed") + " size expect[0] but get[12345]");
  if ((lost & fixed) != 0)
    return records;
  records.push_back(pathOf("fixed") + "/stray is unknown file");
  if ((lost & member) != 0)
    records.push_back(pathOf("fixed") + "/member is unknown file");
  return records;
}

}  // namespace

LostLines::LostLines(const std::vector<LogLine>& log) {
  for (const LogLine& line : log) {
    bool const isUnnamed = line.format == "%s:%d OOM parameters";
    bool const isNamed = line.format == "%s:%d [%s] strtok failed";
    _any = _any || isUnnamed || isNamed;
    _unnamed += isUnnamed ? 1 : 0;
    _known |= isNamed ? lineOf(line.arguments.at(2)) : none;
  }
}

// The log does not name all lost lines, so any others may be the unnamed ones.
bool LostLines::give(const std::function<bool(unsigned lost)>& isFoundWithout) const {
  for (unsigned lost = 0; lost <= allLines; ++lost) {
    bool const isPossible = (lost & _known) == _known &&
                            std::bitset<sizeof lost * 8>(lost & ~_known).count() <= _unnamed;
    if (isPossible && isFoundWithout(lost))
      return true;
  }
  return false;
}

bool LostLines::give(const std::vector<uint32_t>& masks) const {
  return give([&masks](unsigned lost) { return masks == masksWithout(lost); });
}

// The order of a directory's members is arbitrary.
bool LostLines::give(const std::vector<std::string>& records) const {
  std::vector<std::string> others = records;
  if (_any) {
    if (others.empty() || others.front() != " not exist expect[] but get[]")
      return false;
    others.erase(others.begin());
  }
  return give([&others](unsigned lost) {
    std::vector<std::string> const expected = recordsWithout(lost);
    return std::is_permutation(others.begin(), others.end(), expected.begin(), expected.end());
  });
}
