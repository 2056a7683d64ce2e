#include "engine/input.h"

#include <algorithm>

namespace fuzz {

unsigned char Input::byte() {
  if (_left.empty())
    return 0;
  auto const first = static_cast<unsigned char>(_left.front());
  _left.remove_prefix(1);
  return first;
}

std::string Input::upTo(char end) {
  std::size_t const length = std::min(_left.find(end), _left.size());
  std::string piece(_left.substr(0, length));
  _left.remove_prefix(std::min(length + 1, _left.size()));
  return piece;
}

std::string Input::rest() {
  std::string all(_left);
  _left = {};
  return all;
}

std::vector<std::string> split(const std::string& text, char separator) {
  std::vector<std::string> pieces;
  std::size_t start = 0;
  for (std::size_t end = text.find(separator); end != std::string::npos;
       end = text.find(separator, start)) {
    pieces.push_back(text.substr(start, end - start));
    start = end + 1;
  }
  pieces.push_back(text.substr(start));
  return pieces;
}

std::string beforeNul(const std::string& text) {
  return text.substr(0, text.find('\0'));
}

}  // namespace fuzz
