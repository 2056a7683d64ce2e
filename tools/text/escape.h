// Names in a form that is safe to display: a file name may contain any bytes, but must not move a
// terminal's cursor or look like two lines.

#ifndef ZEMO_TOOLS_TEXT_ESCAPE_H
#define ZEMO_TOOLS_TEXT_ESCAPE_H

#include <optional>
#include <string>
#include <string_view>

namespace tool {

// `text` with every byte that is not printable UTF-8, and every backslash, written as a backslash
// and three octal digits. Control characters are not printable, nor are characters that break a
// line, change the writing direction or are invisible. Different texts have different results.
std::string escaped(std::string_view text);

// The text whose escaped form is `text`; empty optional if a backslash is not followed by three
// octal digits of a byte. Bytes that escaped() would have escaped are accepted unchanged.
std::optional<std::string> unescaped(std::string_view text);

// The length in bytes of the UTF-8 sequence at the start of `text`; 0 if there is none.
std::size_t utf8Length(std::string_view text);

bool isUtf8(std::string_view text);

}  // namespace tool

#endif
