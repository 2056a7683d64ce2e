// A caller whose C++ locale groups the digits of numbers.

#ifndef ZEMO_TESTS_SUPPORT_GROUPED_DIGITS_H
#define ZEMO_TESTS_SUPPORT_GROUPED_DIGITS_H

#include <locale>
#include <string>

// While it exists, streams write 123 as 1,2,3.
class GroupedDigits {
 public:
  GroupedDigits() : _before(std::locale::global(std::locale(std::locale(), new Punctuation))) {}
  ~GroupedDigits() { std::locale::global(_before); }
  GroupedDigits(const GroupedDigits&) = delete;
  GroupedDigits& operator=(const GroupedDigits&) = delete;

 private:
  class Punctuation : public std::numpunct<char> {
    char do_thousands_sep() const override { return ','; }
    std::string do_grouping() const override { return "\1"; }
  };

  std::locale _before;
};

#endif
