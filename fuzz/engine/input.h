// Splits the input of a target into parts.

#ifndef ZEMO_FUZZ_ENGINE_INPUT_H
#define ZEMO_FUZZ_ENGINE_INPUT_H

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace fuzz {

class Input {
 public:
  explicit Input(std::string_view bytes) : _left(bytes) {}

  bool atEnd() const { return _left.empty(); }

  // The next byte; 0 at the end.
  unsigned char byte();

  // The text before the next `end`, which is dropped; all remaining text if there is none.
  std::string upTo(char end);

  std::string line() { return upTo('\n'); }
  std::string rest();

 private:
  std::string_view _left;
};

// The parts between the `separator`s: one more than there are separators.
std::vector<std::string> split(const std::string& text, char separator);

// `text` up to its first NUL, which is where a C string ends.
std::string beforeNul(const std::string& text);

}  // namespace fuzz

#endif
