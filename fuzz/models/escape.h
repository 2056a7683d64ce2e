// Names in printable form.

#ifndef ZEMO_FUZZ_MODELS_ESCAPE_H
#define ZEMO_FUZZ_MODELS_ESCAPE_H

#include <optional>
#include <string>

namespace fuzz {

// `text` with every backslash and its three octal digits replaced by the byte; empty if the digits
// are missing.
std::optional<std::string> unescaped(const std::string& text);

// Whether any program may write the text to a terminal: it contains no control characters except
// line feeds and TABs.
bool isHarmless(const std::string& text);

}  // namespace fuzz

#endif
