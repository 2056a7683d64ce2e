#include "gnupg/options.h"

#include <algorithm>
#include <sstream>

#include "gnupg/home_files.h"
#include "io/exit_status.h"
#include "io/regular_file.h"
#include "io/scratch_directory.h"

namespace tool {
namespace {

// Options that do not affect how, or with which keys, signatures are verified: they reject more,
// concern messages, or concern signing and encrypting. Everything else counts as harmful, even
// options that GnuPG does not know, because a later version may.
constexpr const char* harmlessLines[] = {
    "always-trust",  // the old name of "trust-model always"
    "armor",
    "batch",
    "fixed-list-mode",
    "no-autostart",
    "no-comments",
    "no-emit-version",
    "no-greeting",
    "no-mdc-warning",
    "no-permission-warning",
    "no-secmem-warning",
    "no-symkey-cache",
    "no-tty",
    "no-verbose",
    "quiet",
    "require-cross-certification",
    "throw-keyids",
    "use-agent",
    "utf8-strings",
    "verbose",
    "weak-digest MD5",
    "weak-digest RIPEMD160",
    "with-fingerprint",
};

// The same for options with any value.
constexpr const char* harmlessOptions[] = {
    "cert-digest-algo",
    "charset",
    "default-key",
    "default-preference-list",
    "display-charset",
    "keyid-format",
    "personal-cipher-preferences",
    "personal-compress-preferences",
    "personal-digest-preferences",
    "s2k-cipher-algo",
    "s2k-digest-algo",
};

// The line's words separated by single blanks; empty for a comment.
std::string plain(const std::string& line) {
  std::istringstream words(line);
  std::string text;
  for (std::string word; words >> word;)
    text += (text.empty() ? "" : " ") + word;
  return text.empty() || text.front() == '#' ? "" : text;
}

bool isNeeded(const std::string& line) {
  return std::any_of(neededOptions.begin(), neededOptions.end(),
                     [&line](const NeededOption& option) { return line == option.line; });
}

bool isHarmless(const std::string& line) {
  std::string const option = line.substr(0, line.find(' '));
  auto const is = [](const std::string& text) {
    return [&text](const char* known) { return text == known; };
  };
  return line.empty() || isNeeded(line) ||
         std::any_of(std::begin(harmlessLines), std::end(harmlessLines), is(line)) ||
         std::any_of(std::begin(harmlessOptions), std::end(harmlessOptions), is(option));
}

}  // namespace

OptionReading readOptions(const std::string& content) {
  OptionReading reading;
  std::vector<std::string> lines;
  std::istringstream text(content);
  for (std::string line; std::getline(text, line);) {
    lines.push_back(plain(line));
    if (!isHarmless(lines.back()))
      reading.doubtful.push_back({lines.size(), lines.back()});
  }
  for (const NeededOption& option : neededOptions) {
    bool const isThere = std::find(lines.begin(), lines.end(), option.line) != lines.end() ||
                         (&option == &neededOptions.front() &&
                          std::find(lines.begin(), lines.end(), "always-trust") != lines.end());
    (isThere ? reading.held : reading.missing).push_back(&option);
  }
  return reading;
}

std::string optionText(const OptionLine& doubtful, const std::string& file) {
  bool const keyboxd = doubtful.text == "use-keyboxd";
  return "line " + std::to_string(doubtful.number) + " of " + inQuotes(file) + ", " +
         inQuotes(doubtful.text) + ", " +
         (keyboxd ? "makes GnuPG ask a daemon for keys instead of reading the key ring"
                  : "is not known to be harmless");
}

std::string doubtAbout(const std::string& home) {
  try {
    for (const std::string& file : optionFilesOf(home)) {
      OptionReading const reading = readOptions(readWholeFile(file));
      if (!reading.doubtful.empty())
        return optionText(reading.doubtful.front(), file) + "; remove that line";
    }
  } catch (const Failure& failure) {
    return failure.what();
  }
  return "";
}

}  // namespace tool
