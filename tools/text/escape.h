// Names as people may see them: a file name is any bytes, and must not move a terminal's cursor or
// look like two lines.

#ifndef ZEMO_TOOLS_TEXT_ESCAPE_H
#define ZEMO_TOOLS_TEXT_ESCAPE_H

#include <optional>
#include <string>
#include <string_view>

namespace tool {

// `text` with every byte that is no printable UTF-8, and every backslash, as a backslash and three
// octal digits. Not printable are control characters, and the ones that break a line, change the
// direction of writing or cannot be seen. No two texts have the same result.
std::string escaped(std::string_view text);

// The text whose escaped form is `text`; nothing if a backslash is not followed by three octal
// digits of a byte. Bytes that escaped() would have escaped are taken as they are.
std::optional<std::string> unescaped(std::string_view text);

// The number of bytes of the UTF-8 sequence that `text` begins with; 0 if it begins with none.
std::size_t utf8Length(std::string_view text);

bool isUtf8(std::string_view text);

}  // namespace tool

#endif
