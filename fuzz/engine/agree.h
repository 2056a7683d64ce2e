// Compares the behaviour of the code under test with a model. A difference ends the process.

#ifndef ZEMO_FUZZ_ENGINE_AGREE_H
#define ZEMO_FUZZ_ENGINE_AGREE_H

#include <sstream>
#include <string>
#include <utility>

namespace fuzz {

[[noreturn]] void disagree(const std::string& what, const std::string& actual,
                           const std::string& expected);

// Any value as text: containers element by element, other values as streams write them.
class Text {
 public:
  template <typename Value>
  static std::string of(const Value& value) {
    std::ostringstream text;
    show(text, value, 0);
    return text.str();
  }

 private:
  template <typename Value>
  static auto show(std::ostream& out, const Value& value, int /*first choice*/)
      -> decltype(out << value, void()) {
    out << value;
  }

  template <typename First, typename Second>
  static void show(std::ostream& out, const std::pair<First, Second>& pair, int choice) {
    show(out, pair.first, choice);
    out << " -> ";
    show(out, pair.second, choice);
  }

  template <typename Container>
  static auto show(std::ostream& out, const Container& container, long /*second choice*/)
      -> decltype(container.begin(), void()) {
    for (const auto& element : container) {
      out << "\n  ";
      show(out, element, 0);
    }
  }
};

template <typename Actual, typename Expected>
void agree(const std::string& what, const Actual& actual, const Expected& expected) {
  if (!(actual == expected))
    disagree(what, Text::of(actual), Text::of(expected));
}

inline void require(bool holds, const std::string& what) {
  if (!holds)
    disagree(what, "false", "true");
}

}  // namespace fuzz

#endif
