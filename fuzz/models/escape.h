// Names as people may see them.

#ifndef ZEMO_FUZZ_MODELS_ESCAPE_H
#define ZEMO_FUZZ_MODELS_ESCAPE_H

#include <optional>
#include <string>

namespace fuzz {

// `text` with every backslash and its three octal digits as the byte that they stand for; none
// where there are no such digits.
std::optional<std::string> unescaped(const std::string& text);

// What any program may write to a terminal: no control characters, but line feeds and TABs.
bool isHarmless(const std::string& text);

}  // namespace fuzz

#endif
