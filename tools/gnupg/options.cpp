#include "gnupg/options.h"

#include <sstream>

#include "common/failure.h"

namespace tool {
namespace {

bool beginsWith(const std::string& text, const std::string& start) {
  return text.compare(0, start.size(), start) == 0;
}

// The line's words with one blank between them; empty for a comment.
std::string plain(const std::string& line) {
  std::istringstream words(line);
  std::string text;
  for (std::string word; words >> word;)
    text += (text.empty() ? "" : " ") + word;
  return beginsWith(text, "#") ? "" : text;
}

enum class Effect { None, Sets, Undoes, UndoesAll };

// What a line, plain, does to the needed option `wanted`. UndoesAll: also before it.
Effect effectOf(const std::string& line, const std::string& wanted) {
  if (line == wanted)
    return Effect::Sets;
  if (wanted == neededOptions[0].line) {
    if (line == "always-trust")
      return Effect::Sets;
    return beginsWith(line, "trust-model ") ? Effect::Undoes : Effect::None;
  }
  if (wanted == neededOptions[1].line)
    return line == "allow-weak-digest-algos" ? Effect::UndoesAll : Effect::None;
  if ("no-" + line == wanted)
    return Effect::Undoes;
  // An option of that name among the key server's, too.
  bool const retrieves = wanted == neededOptions[2].line &&
                         beginsWith(line, "keyserver-options ") &&
                         line.find("auto-key-retrieve") != std::string::npos &&
                         line.find("no-auto-key-retrieve") == std::string::npos;
  return retrieves ? Effect::Undoes : Effect::None;
}

}  // namespace

OptionReading readOptions(const std::string& content) {
  std::vector<std::string> lines;
  std::istringstream text(content);
  for (std::string line; std::getline(text, line);)
    lines.push_back(plain(line));

  OptionReading reading;
  for (const NeededOption& option : neededOptions) {
    bool isThere = false;
    bool forAll = false;
    UndoneOption undone{&option, "", 0};
    for (std::size_t i = 0; i < lines.size(); ++i) {
      Effect const effect = effectOf(lines[i], option.line);
      if (effect == Effect::Sets) {
        isThere = true;
        if (!forAll)
          undone.number = 0;
      } else if (effect != Effect::None) {
        forAll = forAll || effect == Effect::UndoesAll;
        undone.by = lines[i];
        undone.number = i + 1;
      }
    }
    if (!isThere)
      reading.missing.push_back(&option);
    else if (undone.number != 0)
      reading.undone.push_back(undone);
    else
      reading.held.push_back(&option);
  }
  return reading;
}

std::string describe(const UndoneOption& undone) {
  return "line " + std::to_string(undone.number) + ", " + inQuotes(undone.by) + ", undoes " +
         inQuotes(undone.option->line);
}

}  // namespace tool
