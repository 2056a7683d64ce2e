// Small functions on texts.

#ifndef ZEMO_TOOLS_TEXT_STRINGS_H
#define ZEMO_TOOLS_TEXT_STRINGS_H

#include <ctime>
#include <string>
#include <string_view>
#include <vector>

namespace tool {

// "1 entry", "2 entries".
std::string counted(std::size_t number, const char* one, const char* many);

// "a", "a and b", "a, b and c".
std::string listed(const std::vector<std::string>& words, const char* conjunction = "and");

// "a, b, c" if `separator` is ", ".
std::string joinedBy(const std::string& separator, const std::vector<std::string>& words);

// `text` in lines of at most `width` columns; a longer word has its own line.
std::vector<std::string> wrapped(const std::string& text, std::size_t width);

// Two digits per byte, in lower case.
std::string hexadecimal(std::string_view bytes);

// `time` as 2026-09-21T12:00:00Z.
std::string utcText(std::time_t time);

bool startsWith(std::string_view text, std::string_view start);
bool endsWith(std::string_view text, std::string_view end);

}  // namespace tool

#endif
