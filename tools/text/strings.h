// Small verbs on texts.

#ifndef ZEMO_TOOLS_TEXT_STRINGS_H
#define ZEMO_TOOLS_TEXT_STRINGS_H

#include <string>
#include <string_view>

namespace tool {

// "1 entry", "2 entries".
std::string counted(std::size_t number, const char* one, const char* many);

// Two digits a byte, in lower case.
std::string hexadecimal(std::string_view bytes);

bool startsWith(std::string_view text, std::string_view start);
bool endsWith(std::string_view text, std::string_view end);

}  // namespace tool

#endif
