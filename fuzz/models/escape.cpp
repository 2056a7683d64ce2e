#include "models/escape.h"

#include <algorithm>

namespace fuzz {

std::optional<std::string> unescaped(const std::string& text) {
  std::string result;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '\\') {
      result += text[i];
      continue;
    }
    std::string const digits = text.substr(i + 1, 3);
    bool const valid =
        digits.size() == 3 && digits[0] <= '3' &&
        std::all_of(digits.begin(), digits.end(), [](char c) { return c >= '0' && c <= '7'; });
    if (!valid)
      return std::nullopt;
    result += static_cast<char>(std::stoi(digits, nullptr, 8));
    i += 3;
  }
  return result;
}

bool isHarmless(const std::string& text) {
  for (std::size_t i = 0; i < text.size(); ++i) {
    auto const byte = static_cast<unsigned char>(text[i]);
    bool const control = (byte < 0x20 && text[i] != '\n' && text[i] != '\t') || byte == 0x7f;
    // The second set of control characters, in UTF-8.
    bool const second = byte == 0xc2 && i + 1 < text.size() &&
                        (static_cast<unsigned char>(text[i + 1]) & 0xe0U) == 0x80;
    if (control || second)
      return false;
  }
  return true;
}

}  // namespace fuzz
