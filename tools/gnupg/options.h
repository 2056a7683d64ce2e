// The lines of GnuPG's option files: those that a home's gpg.conf must have to work for every
// caller, and those that it may also have.

#ifndef ZEMO_TOOLS_GNUPG_OPTIONS_H
#define ZEMO_TOOLS_GNUPG_OPTIONS_H

#include <array>
#include <cstddef>
#include <string>
#include <vector>

namespace tool {

struct NeededOption {
  const char* line;
  const char* reason;  // the consequence of its absence
};

// The trust model comes first.
inline constexpr std::array<NeededOption, 6> neededOptions = {{
    {"trust-model always", "GnuPG needs a trust database, and fails for users who cannot write it"},
    {"weak-digest SHA1", "a forged list with the SHA-1 of a signed one would verify"},
    {"no-auto-key-retrieve", "GnuPG may ask the network for a key"},
    {"no-auto-key-import", "GnuPG may take a key from the signature file"},
    {"no-auto-check-trustdb", "GnuPG may write to its home when it verifies"},
    {"ignore-time-conflict", "no list verifies while the clock is set before the key's creation"},
}};

struct OptionLine {
  std::size_t number = 0;  // from 1
  std::string text;        // with one blank between its words
};

struct OptionReading {
  std::vector<const NeededOption*> held;
  std::vector<const NeededOption*> missing;
  std::vector<OptionLine> doubtful;  // may affect what verifies
};

// Reads the content of an option file as GnuPG does: blanks around and between words are ignored,
// and a comment needs a line of its own.
OptionReading readOptions(const std::string& content);

// "line 5 of '/etc/gnupg/gpg.conf', 'skip-verify', is not known to be harmless"
std::string optionText(const OptionLine& doubtful, const std::string& file);

// Why GnuPG's statements with this home cannot be relied upon: the first doubtful line of all
// option files that it reads, or a file that cannot be read. Empty if there is no such reason.
std::string doubtAbout(const std::string& home);

}  // namespace tool

#endif
