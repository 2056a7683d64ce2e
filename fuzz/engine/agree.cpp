#include "engine/agree.h"

#include <cstdlib>
#include <iostream>

namespace fuzz {
namespace {

// A terminal must not interpret control characters from a fuzzer.
std::string plain(const std::string& text) {
  static const char digits[] = "01234567";
  std::string result;
  for (char const c : text) {
    auto const byte = static_cast<unsigned char>(c);
    if (c == '\n' || (byte >= 0x20 && byte < 0x7f && c != '\\')) {
      result += c;
      continue;
    }
    result += '\\';
    result += digits[byte >> 6];
    result += digits[byte >> 3 & 7];
    result += digits[byte & 7];
  }
  return result;
}

}  // namespace

void disagree(const std::string& what, const std::string& actual, const std::string& expected) {
  std::cerr << "disagreement: " << plain(what) << "\nactual: " << plain(actual)
            << "\nexpected: " << plain(expected) << std::endl;
  abort();
}

}  // namespace fuzz
