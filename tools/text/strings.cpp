#include "text/strings.h"

#include <array>
#include <sstream>

namespace tool {

std::string counted(std::size_t number, const char* one, const char* many) {
  return std::to_string(number) + " " + (number == 1 ? one : many);
}

std::string listed(const std::vector<std::string>& words, const char* conjunction) {
  if (words.size() < 2)
    return joinedBy("", words);
  std::vector<std::string> const first(words.begin(), words.end() - 1);
  return joinedBy(", ", first) + " " + conjunction + " " + words.back();
}

std::string joinedBy(const std::string& separator, const std::vector<std::string>& words) {
  std::string text;
  for (const std::string& word : words)
    text += (&word == &words.front() ? "" : separator) + word;
  return text;
}

std::vector<std::string> wrapped(const std::string& text, std::size_t width) {
  std::vector<std::string> lines;
  std::istringstream words(text);
  for (std::string word; words >> word;) {
    if (lines.empty() || lines.back().size() + 1 + word.size() > width)
      lines.push_back(word);
    else
      lines.back() += " " + word;
  }
  return lines;
}

std::string hexadecimal(std::string_view bytes) {
  static const char* const digits = "0123456789abcdef";
  std::string text;
  for (char const byte : bytes) {
    text += digits[static_cast<unsigned char>(byte) >> 4U];
    text += digits[static_cast<unsigned char>(byte) & 15U];
  }
  return text;
}

std::string utcText(std::time_t time) {
  std::tm parts = {};
  std::array<char, 40> text{};
  if (gmtime_r(&time, &parts) == nullptr ||
      std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%SZ", &parts) == 0)
    return "-";  // a year beyond the range of int
  return text.data();
}

bool startsWith(std::string_view text, std::string_view start) {
  return text.substr(0, start.size()) == start;
}

bool endsWith(std::string_view text, std::string_view end) {
  return text.size() >= end.size() && text.substr(text.size() - end.size()) == end;
}

}  // namespace tool
