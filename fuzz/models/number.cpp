#include "models/number.h"

#include "engine/input.h"

namespace fuzz {
namespace {

struct Digits {
  bool negative = false;
  bool tooLarge = false;
  uint64_t value = 0;
};

Digits digitsOf(const std::string& column, unsigned base) {
  std::string const text = beforeNul(column);
  std::size_t i = 0;
  while (i < text.size() && (text[i] == ' ' || (text[i] >= '\t' && text[i] <= '\r')))
    ++i;
  Digits digits;
  if (i < text.size() && (text[i] == '-' || text[i] == '+'))
    digits.negative = text[i++] == '-';
  for (; i < text.size() && text[i] >= '0' && text[i] < static_cast<char>('0' + base); ++i) {
    auto const digit = static_cast<uint64_t>(text[i] - '0');
    digits.tooLarge = digits.tooLarge || digits.value > (UINT64_MAX - digit) / base;
    digits.value = digits.value * base + digit;
  }
  return digits;
}

}  // namespace

int64_t signedNumberOf(const std::string& text) {
  Digits const digits = digitsOf(text, 10);
  uint64_t const most = digits.negative ? uint64_t{1} << 63 : INT64_MAX;
  uint64_t const value = digits.tooLarge || digits.value > most ? most : digits.value;
  return static_cast<int64_t>(digits.negative ? 0 - value : value);
}

uint64_t unsignedNumberOf(const std::string& text, unsigned base) {
  Digits const digits = digitsOf(text, base);
  if (digits.tooLarge)
    return UINT64_MAX;
  return digits.negative ? 0 - digits.value : digits.value;
}

}  // namespace fuzz
