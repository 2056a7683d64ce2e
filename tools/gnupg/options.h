// The options that a home's gpg.conf must have to serve every caller.

#ifndef ZEMO_TOOLS_GNUPG_OPTIONS_H
#define ZEMO_TOOLS_GNUPG_OPTIONS_H

#include <array>
#include <cstddef>
#include <string>
#include <vector>

namespace tool {

struct NeededOption {
  const char* line;
  const char* reason;  // what happens without it
};

// The first is the trust model.
inline constexpr std::array<NeededOption, 4> neededOptions = {{
    {"trust-model always",
     "GnuPG needs a trust database that the caller can write, and fails for all others"},
    {"weak-digest SHA1", "a forged list with the SHA-1 of a signed one would verify"},
    {"no-auto-key-retrieve", "GnuPG may ask the network for a key"},
    {"no-auto-check-trustdb", "GnuPG may write to its home when it verifies"},
}};

// One that is there, but has no effect.
struct UndoneOption {
  const NeededOption* option;
  std::string by;          // the line that undoes it, with one blank between its words
  std::size_t number = 0;  // of that line, from 1
};

// Every one of neededOptions is in one of these.
struct OptionReading {
  std::vector<const NeededOption*> held;
  std::vector<const NeededOption*> missing;
  std::vector<UndoneOption> undone;  // by the last such line
};

// Reads the content of a gpg.conf as GnuPG does: blanks around and between words do not matter, and
// of contrary options the last one counts.
OptionReading readOptions(const std::string& content);

// "line 5, 'trust-model pgp', undoes 'trust-model always'"
std::string describe(const UndoneOption& undone);

}  // namespace tool

#endif
