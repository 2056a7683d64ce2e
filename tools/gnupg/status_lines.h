// GnuPG's status lines, which it writes for programs: "[GNUPG:] KEYWORD WORD...".

#ifndef ZEMO_TOOLS_GNUPG_STATUS_LINES_H
#define ZEMO_TOOLS_GNUPG_STATUS_LINES_H

#include <string>
#include <vector>

namespace tool {

struct StatusLine {
  std::string keyword;
  std::vector<std::string> words;  // split at blanks, as they are

  // Word `index`, empty if there are fewer.
  const std::string& word(std::size_t index) const;

  // The words from `index` on with the blanks between them, which is how user ids are written, with
  // %XX taken back.
  std::string textFrom(std::size_t index) const;
};

// The status lines in `output`, in their order. All other lines are left out.
std::vector<StatusLine> statusLines(const std::string& output);

// A word that is a decimal number; 0 if it is none.
long long numberIn(const std::string& word);

// What the error code (libgpg-error's, with or without its source) at the end of a FAILURE or ERROR
// line, or in an ERRSIG line, stands for; "error code NUMBER" for codes that have no words here.
std::string errorText(long long code);

// The reason of the last FAILURE line for this operation, empty if there is none.
std::string failureIn(const std::vector<StatusLine>& lines, const std::string& operation);

}  // namespace tool

#endif
