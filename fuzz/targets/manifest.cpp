// A manifest, read as that of the set wam, mode full. The model takes its lines apart with regular
// expressions, and accepts one way to write each value.

#include "sets/manifest.h"

#include <algorithm>
#include <array>
#include <optional>
#include <regex>
#include <set>

#include "engine/agree.h"
#include "engine/target.h"
#include "io/exit_status.h"
#include "models/escape.h"
#include "text/escape.h"

namespace {

struct Line {
  std::string digest;
  std::string size;
  std::string serial;
  std::string name;
};

struct Text {
  std::string serial;
  std::vector<Line> lines;
};

bool operator==(const Line& one, const Line& other) {
  return one.digest == other.digest && one.size == other.size && one.serial == other.serial &&
         one.name == other.name;
}

// Decimal texts of equal length are in the order of their numbers.
bool isNumber(const std::string& text) {
  std::string const largest = std::to_string(UINT64_MAX);
  return text.size() < largest.size() || (text.size() == largest.size() && text <= largest);
}

bool isDate(int year, int month, int day) {
  std::array<int, 13> days = {0, 31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  if (year % 4 == 0 && (year % 100 != 0 || year % 400 == 0))
    days[2] = 29;
  return month >= 1 && month <= 12 && day >= 1 && day <= days[static_cast<std::size_t>(month)];
}

std::optional<std::string> serialIn(const std::string& label) {
  static const std::regex form(
      "set=wam mode=full serial=(0|[1-9][0-9]*) "
      "date=([0-9]|[1-9][0-9]{1,3})-([0-9]{2})-([0-9]{2})"
      "T([01][0-9]|2[0-3]):[0-5][0-9]:[0-5][0-9]Z");
  std::smatch found;
  if (!std::regex_match(label, found, form) || !isNumber(found[1]) ||
      !isDate(std::stoi(found[2]), std::stoi(found[3]), std::stoi(found[4])))
    return std::nullopt;
  return found[1];
}

bool isListName(const std::string& name) {
  static const std::string start = "wam.full.";
  static const std::string end = ".list";
  return name.size() >= start.size() + end.size() && name.substr(0, start.size()) == start &&
         name.substr(name.size() - end.size()) == end &&
         name.find_first_of(std::string("/\0", 2)) == std::string::npos;
}

// Empty if it does not describe a list.
std::optional<Line> lineFrom(const std::string& text) {
  std::vector<std::string> const columns = fuzz::split(text, '\t');
  static const std::regex digest("[0-9a-f]{64}");
  static const std::regex number("0|[1-9][0-9]*");
  auto const isDecimal = [](const std::string& column) {
    return std::regex_match(column, number) && isNumber(column);
  };
  if (columns.size() != 4 || !std::regex_match(columns[0], digest) || !isDecimal(columns[1]) ||
      (columns[2] != "-" && !isDecimal(columns[2])))
    return std::nullopt;
  std::optional<std::string> const name = fuzz::unescaped(columns[3]);
  if (!name || tool::escaped(*name) != columns[3] || !isListName(*name))
    return std::nullopt;
  return Line{columns[0], columns[1], columns[2], *name};
}

// Empty if it is not a manifest.
std::optional<Text> modelOf(const std::string& content) {
  std::vector<std::string> const lines = fuzz::split(content, '\n');
  if (lines.size() < 4 || !lines.back().empty() || lines[0] != "WAM_SELF_CHECK_MANIFEST 1")
    return std::nullopt;
  std::optional<std::string> const serial = serialIn(lines[1]);
  if (!serial)
    return std::nullopt;
  Text text{*serial, {}};
  std::set<std::string> names;
  for (auto line = lines.begin() + 2; line != lines.end() - 1; ++line) {
    std::optional<Line> const read = lineFrom(*line);
    if (!read || !names.insert(read->name).second)
      return std::nullopt;
    text.lines.push_back(*read);
  }
  return text;
}

std::optional<tool::Manifest> parsed(const std::string& content) {
  try {
    return tool::parseManifest(content, "/m", "wam", "full");
  } catch (const tool::Failure& failure) {
    fuzz::require(fuzz::isHarmless(failure.what()), std::string("harmless: ") + failure.what());
    return std::nullopt;
  }
}

void run(fuzz::Input input) {
  std::string const content = input.rest();
  std::optional<Text> const model = modelOf(content);
  std::optional<tool::Manifest> const manifest = parsed(content);
  fuzz::agree("it is a manifest", manifest.has_value(), model.has_value());
  if (!manifest)
    return;
  fuzz::agree("the serial", std::to_string(manifest->label.serial), model->serial);
  std::vector<Line> lines;
  for (const tool::ManifestLine& line : manifest->lists)
    lines.push_back({line.digest, std::to_string(line.size),
                     line.serial ? std::to_string(*line.serial) : "-", line.name});
  fuzz::require(lines == model->lines, "the same lines");
  fuzz::agree("written again", tool::manifestText(*manifest), content);
}

fuzz::Target const target("manifest", run);

}  // namespace
