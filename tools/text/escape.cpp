#include "text/escape.h"

#include <algorithm>
#include <cstdint>
#include <iterator>

namespace tool {
namespace {

unsigned byteAt(std::string_view text, std::size_t index) {
  return static_cast<unsigned char>(text[index]);
}

uint32_t codePoint(std::string_view sequence) {
  if (sequence.size() == 1)
    return byteAt(sequence, 0);
  uint32_t value = byteAt(sequence, 0) & (0x7fU >> sequence.size());
  for (std::size_t i = 1; i < sequence.size(); ++i)
    value = value << 6U | (byteAt(sequence, i) & 0x3fU);
  return value;
}

struct Range {
  uint32_t first;
  uint32_t last;
};

// Characters that control a terminal, break a line, change the writing direction or are invisible:
// two names that differ only in these would look the same.
constexpr Range notPrintable[] = {
    {0x0, 0x1f},        {0x7f, 0x9f},  // control characters
    {0xad, 0xad},                      // soft hyphen
    {0x61c, 0x61c},                    // Arabic letter mark
    {0x200b, 0x200f},                  // zero width, and direction marks
    {0x2028, 0x202e},                  // line and paragraph separator, embedded directions
    {0x2060, 0x206f},                  // invisible operators, isolated directions
    {0xfeff, 0xfeff},                  // zero width: the byte order mark
    {0xe0000, 0xe007f},                // tags
};

bool isPrintable(uint32_t point) {
  return std::none_of(
      std::begin(notPrintable), std::end(notPrintable),
      [point](const Range& range) { return range.first <= point && point <= range.last; });
}

void appendOctal(std::string& text, unsigned byte) {
  text += '\\';
  text += static_cast<char>('0' + (byte >> 6U));
  text += static_cast<char>('0' + (byte >> 3U & 7U));
  text += static_cast<char>('0' + (byte & 7U));
}

}  // namespace

std::size_t utf8Length(std::string_view text) {
  if (text.empty())
    return 0;
  unsigned const first = byteAt(text, 0);
  if (first < 0x80)
    return 1;
  std::size_t const length = first >= 0xf0 ? 4 : first >= 0xe0 ? 3 : 2;
  if (first < 0xc2 || first > 0xf4 || text.size() < length)
    return 0;  // a continuation, an overlong form, beyond Unicode, or truncated
  for (std::size_t i = 1; i < length; ++i) {
    if ((byteAt(text, i) & 0xc0U) != 0x80)
      return 0;
  }
  unsigned const second = byteAt(text, 1);
  bool const overlong = (first == 0xe0 && second < 0xa0) || (first == 0xf0 && second < 0x90);
  bool const surrogate = first == 0xed && second >= 0xa0;
  bool const beyond = first == 0xf4 && second >= 0x90;
  return overlong || surrogate || beyond ? 0 : length;
}

bool isUtf8(std::string_view text) {
  while (!text.empty()) {
    std::size_t const length = utf8Length(text);
    if (length == 0)
      return false;
    text.remove_prefix(length);
  }
  return true;
}

std::string escaped(std::string_view text) {
  std::string result;
  result.reserve(text.size());
  while (!text.empty()) {
    std::size_t const length = utf8Length(text);
    std::string_view const sequence = text.substr(0, length == 0 ? 1 : length);
    if (length != 0 && sequence != "\\" && isPrintable(codePoint(sequence))) {
      result += sequence;
    } else {
      for (std::size_t i = 0; i < sequence.size(); ++i)
        appendOctal(result, byteAt(sequence, i));
    }
    text.remove_prefix(sequence.size());
  }
  return result;
}

std::optional<std::string> unescaped(std::string_view text) {
  std::string result;
  while (!text.empty()) {
    if (text.front() != '\\') {
      result += text.front();
      text.remove_prefix(1);
      continue;
    }
    if (text.size() < 4)
      return std::nullopt;
    unsigned byte = 0;
    for (std::size_t i = 1; i < 4; ++i) {
      unsigned const digit = byteAt(text, i) - '0';
      if (digit > (i == 1 ? 3U : 7U))
        return std::nullopt;
      byte = byte << 3U | digit;
    }
    result += static_cast<char>(byte);
    text.remove_prefix(4);
  }
  return result;
}

}  // namespace tool
