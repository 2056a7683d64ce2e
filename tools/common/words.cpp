#include "common/words.h"

namespace tool {

std::string counted(std::size_t number, const char* one, const char* many) {
  return std::to_string(number) + " " + (number == 1 ? one : many);
}

bool startsWith(std::string_view text, std::string_view start) {
  return text.substr(0, start.size()) == start;
}

bool endsWith(std::string_view text, std::string_view end) {
  return text.size() >= end.size() && text.substr(text.size() - end.size()) == end;
}

}  // namespace tool
