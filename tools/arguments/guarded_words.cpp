#include "arguments/guarded_words.h"

#include <algorithm>

namespace tool {
namespace {

constexpr char guard = '\x01';

}  // namespace

std::vector<std::string> guarded(int argc, const char* const* argv) {
  std::vector<std::string> words(argv + std::min(argc, 1), argv + argc);
  for (std::string& word : words) {
    if (!word.empty() && (word.front() == '[' || word.front() == guard))
      word.insert(0, 1, guard);
  }
  return words;
}

std::string unguarded(std::string word) {
  if (!word.empty() && word.front() == guard)
    word.erase(0, 1);
  return word;
}

std::string withoutGuards(std::string message) {
  message.erase(std::remove(message.begin(), message.end(), guard), message.end());
  return message;
}

}  // namespace tool
