// The second line of a list. The library accepts any text there. `make` writes there which list it
// is, and `verify` compares this with the list's path, so that a signed list cannot replace
// another:
//
//   set=wam mode=full list=base serial=1790000000 date=2026-09-21T12:00:00Z
//
// The fields have this order and are separated by one blank. Blanks in a name are written as \040
// (text/escape.h). After them may follow how the list was made: " make", and the words that `make`
// was given, each after one blank and written like a name.

#ifndef ZEMO_TOOLS_SETS_LABEL_H
#define ZEMO_TOOLS_SETS_LABEL_H

#include <cstdint>
#include <ctime>
#include <optional>
#include <string>
#include <vector>

namespace tool {

struct Label {
  std::string set;
  std::string mode;
  std::string list;                    // the middle of the file name: "base" of wam.full.base.list
  uint64_t serial = 0;                 // increases with every new list of the same name
  std::time_t date = 0;                // the time when it was made
  std::vector<std::string> made = {};  // the words; empty if they are not stated
};

std::string labelLine(const Label& label);

// True if it names the list file at `path`, of this set and mode.
bool isLabelOf(const Label& label, const std::string& path, const std::string& set,
               const std::string& mode);

// Empty if `line` does not have exactly that form.
std::optional<Label> parseLabel(const std::string& line);

// The same without the field `list` and the words, for a text about the whole set.
std::string setLabelLine(const Label& label);
std::optional<Label> parseSetLabel(const std::string& line);

}  // namespace tool

#endif
