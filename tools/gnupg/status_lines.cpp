#include "gnupg/status_lines.h"

#include <algorithm>
#include <charconv>
#include <sstream>

namespace tool {
namespace {

const std::string prefix = "[GNUPG:] ";

int hexDigit(char c) {
  if (c >= '0' && c <= '9')
    return c - '0';
  if (c >= 'A' && c <= 'F')
    return c - 'A' + 10;
  if (c >= 'a' && c <= 'f')
    return c - 'a' + 10;
  return -1;
}

std::string withoutPercents(const std::string& text) {
  std::string result;
  for (std::size_t i = 0; i < text.size(); ++i) {
    int const high = i + 2 < text.size() ? hexDigit(text[i + 1]) : -1;
    int const low = i + 2 < text.size() ? hexDigit(text[i + 2]) : -1;
    if (text[i] == '%' && high >= 0 && low >= 0) {
      result += static_cast<char>(high * 16 + low);
      i += 2;
    } else {
      result += text[i];
    }
  }
  return result;
}

// Adjacent blanks enclose an empty word, so that user ids are preserved completely.
std::vector<std::string> split(const std::string& text) {
  std::vector<std::string> words;
  std::size_t start = 0;
  while (start <= text.size()) {
    std::size_t const end = std::min(text.find(' ', start), text.size());
    words.push_back(text.substr(start, end - start));
    start = end + 1;
  }
  return words;
}

}  // namespace

const std::string& StatusLine::word(std::size_t index) const {
  static const std::string none;
  return index < words.size() ? words[index] : none;
}

std::string StatusLine::textFrom(std::size_t index) const {
  std::string text;
  for (std::size_t i = index; i < words.size(); ++i)
    text += (i == index ? "" : " ") + words[i];
  return withoutPercents(text);
}

std::vector<StatusLine> statusLines(const std::string& output) {
  std::vector<StatusLine> lines;
  std::istringstream text(output);
  for (std::string line; std::getline(text, line);) {
    if (line.compare(0, prefix.size(), prefix) != 0)
      continue;
    StatusLine status;
    status.words = split(line.substr(prefix.size()));
    status.keyword = status.words.front();
    status.words.erase(status.words.begin());
    lines.push_back(std::move(status));
  }
  return lines;
}

long long numberIn(const std::string& word) {
  long long number = 0;
  const char* const end = word.data() + word.size();
  auto const result = std::from_chars(word.data(), end, number);
  return result.ec == std::errc() && result.ptr == end ? number : 0;
}

std::string errorText(long long code) {
  switch (code & 0xffff) {
    case 4:
      return "the public key algorithm is not supported";
    case 11:
      return "wrong passphrase";
    case 17:
      return "no secret key";
    case 54:
      return "the secret key cannot be used: it has expired, is revoked or is not for signing";
    case 62:
      return "timed out";
    case 85:
    case 86:
      return "no program to ask for the passphrase";
    case 99:
    case 198:
      return "cancelled";
    case 38:
      return "unexpected data";
    case 58:
      return "no data";
    case 32769:
      return "permission denied";
    case 32849:
      return "no such file";
    case 32870:  // ENOTTY
      return "no terminal to ask for the passphrase on: run this in one, or sign something else "
             "with this key first, so that the agent keeps it unlocked";
    default:
      return "error code " + std::to_string(code & 0xffff);
  }
}

std::string failureIn(const std::vector<StatusLine>& lines, const std::string& operation) {
  std::string reason;
  for (const StatusLine& line : lines) {
    if (line.keyword == "FAILURE" && line.word(0) == operation)
      reason = errorText(numberIn(line.word(1)));
  }
  return reason;
}

}  // namespace tool
