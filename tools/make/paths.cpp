#include "make/paths.h"

#include <fnmatch.h>

#include <algorithm>
#include <filesystem>

#include "io/exit_status.h"
#include "io/paths.h"

namespace tool {
namespace {

std::string workingDirectory() {
  std::error_code error;
  std::string directory = std::filesystem::current_path(error);
  if (error || directory.empty() || directory.front() != '/')  // "(unreachable)..." after a pivot
    throw Failure(STATUS_NOT_LOADED,
                  "the working directory has no path" + (error ? ": " + error.message() : ""));
  return directory;
}

bool matches(const std::string& pattern, const std::string& text) {
  return fnmatch(pattern.c_str(), text.c_str(), 0) == 0;
}

}  // namespace

std::string absolutePath(const std::string& path) {
  if (path.empty())
    throw UsageError("a path cannot be empty");
  std::string const whole = path.front() == '/' ? path : workingDirectory() + "/" + path;
  std::string result;
  for (std::size_t start = 0; start < whole.size();) {
    std::size_t const end = std::min(whole.find('/', start), whole.size());
    std::string const part = whole.substr(start, end - start);
    if (part == "..")
      result.erase(std::min(result.rfind('/'), result.size()));
    else if (!part.empty() && part != ".")
      result += "/" + part;
    start = end + 1;
  }
  return result.empty() ? "/" : result;
}

std::string pathInRoot(const std::string& path) {
  if (!path.empty() && path.front() != '/')
    throw UsageError("with --root, paths are those that the other root sees, so " + inQuotes(path) +
                     " must begin with /");
  return absolutePath(path);
}

Exclusions::Exclusions(const std::vector<std::string>& patterns) {
  for (std::string pattern : patterns) {
    std::string const given = pattern;
    while (pattern.size() > 1 && pattern.back() == '/')
      pattern.pop_back();
    if (pattern.empty())
      throw UsageError("--exclude needs a pattern");
    if (pattern.find('/') == std::string::npos) {
      _forNames.push_back({pattern, given});
      continue;
    }
    // The first character of a path is a slash.
    if (std::string("/*?[\\").find(pattern.front()) == std::string::npos)
      throw UsageError("--exclude " + inQuotes(given) +
                       " matches no absolute path: begin it with / or */");
    _forPaths.push_back({pattern, given});
  }
}

// Compares with all patterns, so that none counts as unused because of another.
bool Exclusions::matchesIn(const std::vector<Pattern>& patterns, const std::string& text) {
  bool any = false;
  for (const Pattern& pattern : patterns) {
    if (!matches(pattern.text, text))
      continue;
    pattern.used = true;
    any = true;
  }
  return any;
}

bool Exclusions::match(const std::string& path) const {
  bool const byPath = matchesIn(_forPaths, path);
  return (!_forNames.empty() && matchesIn(_forNames, fileName(path))) || byPath;
}

std::vector<std::string> Exclusions::unused() const {
  std::vector<std::string> given;
  for (const std::vector<Pattern>* const patterns : {&_forPaths, &_forNames}) {
    for (const Pattern& pattern : *patterns) {
      if (!pattern.used)
        given.push_back(pattern.given);
    }
  }
  return given;
}

bool Exclusions::cover(const std::string& path) const {
  if (_forPaths.empty() && _forNames.empty())
    return false;
  for (std::string part = path;; part = directoryOf(part)) {
    if (match(part))
      return true;
    if (part == "/")
      return false;
  }
}

}  // namespace tool
