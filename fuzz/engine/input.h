// What a fuzzer hands to a target, taken apart piece by piece.

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

  // What stands before the next `end`, which is dropped; all that is left where there is none.
  std::string upTo(char end);

  std::string line() { return upTo('\n'); }
  std::string rest();

 private:
  std::string_view _left;
};

// The pieces between the `separator`s: one more than there are of those.
std::vector<std::string> split(const std::string& text, char separator);

// `text` up to its first NUL, which is all that a C string shows of it.
std::string beforeNul(const std::string& text);

}  // namespace fuzz

#endif
