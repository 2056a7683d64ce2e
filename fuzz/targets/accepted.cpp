// The file of accepted mismatches. An input begins with the file, up to the first form feed; each
// later line is a mismatch: a digit for its kind, then the path and, for a stray member, a TAB and
// its name.

#include "check/accepted.h"

#include <sys/stat.h>

#include <algorithm>

#include "engine/agree.h"
#include "engine/scratch.h"
#include "engine/target.h"
#include "io/exit_status.h"
#include "models/escape.h"

using namespace ZEMO::SELF_CHECK;

namespace {

struct Line {
  std::string path;
  std::vector<CHECK_ERROR> kinds;  // none: all
};

CHECK_ERROR kindNamed(const std::string& name) {
  std::vector<std::pair<std::string, CHECK_ERROR>> const kinds = {
      {"size", CHECK_ERROR_SIZE},
      {"owner", CHECK_ERROR_OWNER},
      {"group", CHECK_ERROR_GROUP},
      {"type", CHECK_ERROR_TYPE},
      {"permission", CHECK_ERROR_PERMISSION},
      {"hash", CHECK_ERROR_HASH},
      {"missing", CHECK_ERROR_NOT_EXIST},
      {"stray", CHECK_ERROR_UNKNOWN_FILE}};
  for (const auto& [known, kind] : kinds) {
    if (name == known)
      return kind;
  }
  return CHECK_ERROR(0);
}

// False if the line is invalid.
bool readLine(const std::string& text, Line& line) {
  std::size_t const tab = text.find('\t');
  std::optional<std::string> const path = fuzz::unescaped(text.substr(0, tab));
  if (text.back() == '\r' || !path || path->substr(0, 1) != "/")
    return false;
  line.path = *path;
  if (tab == std::string::npos)
    return true;
  std::vector<std::string> names = fuzz::split(text.substr(tab + 1), ',');
  if (names.size() > 1 && names.back().empty())
    names.pop_back();  // a comma at the end has no meaning
  for (const std::string& name : names)
    line.kinds.push_back(kindNamed(name));
  return std::count(line.kinds.begin(), line.kinds.end(), CHECK_ERROR(0)) == 0;
}

bool readLines(const std::string& content, std::vector<Line>& lines) {
  for (const std::string& text : fuzz::split(content, '\n')) {
    if (text.empty() || text.front() == '#')
      continue;
    Line line;
    if (!readLine(text, line))
      return false;
    lines.push_back(line);
  }
  return true;
}

bool covers(const Line& line, const std::string& path, CHECK_ERROR kind) {
  bool const isStart = line.path.back() == '/' && path.substr(0, line.path.size()) == line.path;
  return (isStart || path == line.path) &&
         (line.kinds.empty() ||
          std::find(line.kinds.begin(), line.kinds.end(), kind) != line.kinds.end());
}

bool readAccepted(const std::string& file, tool::Accepted& accepted) {
  try {
    accepted = tool::Accepted(file);
    return true;
  } catch (const tool::UsageError& error) {
    fuzz::require(fuzz::isHarmless(error.what()), std::string("harmless: ") + error.what());
    return false;
  }
}

void run(fuzz::Input input) {
  // Not a file in memory: a path through /proc is refused.
  static std::string const file = fuzz::scratch() + "/accepted";
  std::string const content = input.upTo('\f');
  fuzz::writeFile(file, content);
  (void)chmod(file.c_str(), 0600);
  tool::Accepted accepted;
  std::vector<Line> lines;
  bool const valid = readLines(content, lines);
  fuzz::agree("the file is valid", readAccepted(file, accepted), valid);
  while (valid && !input.atEnd()) {
    CheckError error = {};
    error._error = CHECK_ERROR(input.byte() - '0');
    std::string const text = input.line();
    std::size_t const tab = text.find('\t');
    error._filePath = text.substr(0, tab);
    std::string path = error._filePath;
    if (error._error == CHECK_ERROR_UNKNOWN_FILE) {
      error._actual = tab == std::string::npos ? "" : text.substr(tab + 1);
      path += (path == "/" ? "" : "/") + error._actual;
    }
    if (error._error < CHECK_ERROR_SIZE || error._error > CHECK_ERROR_UNKNOWN_FILE)
      continue;
    bool const expected = std::any_of(lines.begin(), lines.end(), [&](const Line& line) {
      return covers(line, path, error._error);
    });
    fuzz::agree("accepted", accepted.covers(error), expected);
  }
}

fuzz::Target const target("accepted", run);

}  // namespace
