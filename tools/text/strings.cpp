#include "text/strings.h"

namespace tool {

std::string counted(std::size_t number, const char* one, const char* many) {
  return std::to_string(number) + " " + (number == 1 ? one : many);
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

bool startsWith(std::string_view text, std::string_view start) {
  return text.substr(0, start.size()) == start;
}

bool endsWith(std::string_view text, std::string_view end) {
  return text.size() >= end.size() && text.substr(text.size() - end.size()) == end;
}

}  // namespace tool
