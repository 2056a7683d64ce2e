#include "sets/label.h"

#include <algorithm>
#include <charconv>

#include "sets/sets.h"
#include "text/escape.h"
#include "text/strings.h"

namespace tool {
namespace {

const std::string madeStart = " make ";

std::string field(const std::string& name) {
  std::string text;
  for (char const c : escaped(name)) {
    if (c == ' ')
      text += "\\040";
    else
      text += c;
  }
  return text;
}

// Removes " KEY=VALUE", or "KEY=VALUE" at the start of the line, from `rest` and returns the value.
std::optional<std::string> takeField(std::string& rest, const std::string& key, bool first) {
  std::string const start = (first ? "" : " ") + key + "=";
  if (rest.compare(0, start.size(), start) != 0)
    return std::nullopt;
  std::size_t const end = std::min(rest.find(' ', start.size()), rest.size());
  std::string value = rest.substr(start.size(), end - start.size());
  rest.erase(0, end);
  return value;
}

// Removes all words from `rest` and returns them. None is empty in a line of this form.
std::vector<std::string> takeWords(std::string& rest) {
  std::vector<std::string> words;
  if (rest.compare(0, madeStart.size(), madeStart) != 0)
    return words;
  for (std::size_t start = madeStart.size(); start < rest.size();) {
    std::size_t const end = std::min(rest.find(' ', start), rest.size());
    words.push_back(unescaped(std::string_view(rest).substr(start, end - start)).value_or(""));
    start = end + 1;
  }
  rest.clear();
  return words;
}

enum class About { LIST, SET };

std::string lineOf(const Label& label, About about) {
  std::string made;
  for (const std::string& word : label.made)
    made += (made.empty() ? madeStart : " ") + field(word);
  return "set=" + field(label.set) + " mode=" + field(label.mode) +
         (about == About::LIST ? " list=" + field(label.list) : "") +
         " serial=" + std::to_string(label.serial) + " date=" + utcText(label.date) + made;
}

std::optional<Label> labelIn(const std::string& line, About about) {
  std::string rest = line;
  std::optional<std::string> const set = takeField(rest, "set", true);
  std::optional<std::string> const mode = takeField(rest, "mode", false);
  std::optional<std::string> const list =
      about == About::LIST ? takeField(rest, "list", false) : std::string();
  std::optional<std::string> const serial = takeField(rest, "serial", false);
  std::optional<std::string> const date = takeField(rest, "date", false);
  if (!set || !mode || !list || !serial || !date)
    return std::nullopt;
  Label label;
  label.set = unescaped(*set).value_or("");
  label.mode = unescaped(*mode).value_or("");
  label.list = unescaped(*list).value_or("");
  (void)std::from_chars(serial->data(), serial->data() + serial->size(), label.serial);
  std::tm parts = {};
  if (strptime(date->c_str(), "%Y-%m-%dT%H:%M:%SZ", &parts) == nullptr)
    return std::nullopt;
  label.date = timegm(&parts);
  if (about == About::LIST)
    label.made = takeWords(rest);
  // There is only one way to write these values; anything else does not have this form.
  if (lineOf(label, about) != line ||
      std::find(label.made.begin(), label.made.end(), "") != label.made.end())
    return std::nullopt;
  return label;
}

}  // namespace

std::string labelLine(const Label& label) {
  return lineOf(label, About::LIST);
}

bool isLabelOf(const Label& label, const std::string& path, const std::string& set,
               const std::string& mode) {
  return label.set == set && label.mode == mode && label.list == listName(path, set, mode);
}

std::optional<Label> parseLabel(const std::string& line) {
  return labelIn(line, About::LIST);
}

std::string setLabelLine(const Label& label) {
  return lineOf(label, About::SET);
}

std::optional<Label> parseSetLabel(const std::string& line) {
  return labelIn(line, About::SET);
}

}  // namespace tool
