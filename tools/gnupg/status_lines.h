// GnuPG's status lines, which it writes for programs: "[GNUPG:] KEYWORD WORD...".

#ifndef ZEMO_TOOLS_GNUPG_STATUS_LINES_H
#define ZEMO_TOOLS_GNUPG_STATUS_LINES_H

#include <string>
#include <vector>

namespace tool {

struct StatusLine {
  std::string keyword;
  std::vector<std::string> words;  // split at blanks, not decoded

  // Word `index`; empty if there are fewer.
  const std::string& word(std::size_t index) const;

  // The words from `index` on, including the blanks between them, with %XX decoded. User ids are
  // written this way.
  std::string textFrom(std::size_t index) const;
};

// The status lines in `output`, in order. All other lines are ignored.
std::vector<StatusLine> statusLines(const std::string& output);

// The value of a decimal number; 0 if `word` is not one.
long long numberIn(const std::string& word);

// The meaning of the error code (libgpg-error's, with or without its source) at the end of a
// FAILURE or ERROR line, or in an ERRSIG line; "error code NUMBER" for codes that have no text
// here.
std::string errorText(long long code);

// The reason in the last FAILURE line for this operation; empty if there is none.
std::string failureIn(const std::vector<StatusLine>& lines, const std::string& operation);

}  // namespace tool

#endif
