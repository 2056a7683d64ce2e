// The second line of a list. The library takes any text there; `make` states which list it is, and
// `verify` compares that with where the list lies, so that a signed list cannot stand in for
// another:
//
//   set=wam mode=full list=base serial=1790000000 date=2026-09-21T12:00:00Z
//
// One blank between the fields, in this order. Blanks in a name are written as \040
// (text/escape.h).

#ifndef ZEMO_TOOLS_SETS_LABEL_H
#define ZEMO_TOOLS_SETS_LABEL_H

#include <cstdint>
#include <ctime>
#include <optional>
#include <string>

namespace tool {

struct Label {
  std::string set;
  std::string mode;
  std::string list;      // the middle of the file name: "base" of wam.full.base.list
  uint64_t serial = 0;   // greater in every later list of the same name
  std::time_t date = 0;  // when it was made
};

std::string labelLine(const Label& label);

// Whether it names the list file at `path`, of this set and mode.
bool isLabelOf(const Label& label, const std::string& path, const std::string& set,
               const std::string& mode);

// Nothing if `line` is not exactly of that form.
std::optional<Label> parseLabel(const std::string& line);

// `time` as 2026-09-21T12:00:00Z.
std::string utcText(std::time_t time);

}  // namespace tool

#endif
