#include "arguments/help.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <sstream>

#include "text/strings.h"

namespace tool {
namespace {

// "-z, --null", "--jobs N", "PATH..."
std::string nameOf(const CLI::Option& option) {
  if (option.get_positional())
    return option.get_name() + (option.get_expected_max() > 1 ? "..." : "");
  std::string name;
  for (const std::string& letter : option.get_snames())
    name += "-" + letter + ", ";
  name += option.get_name();
  return isFlag(option) ? name : name + " " + option.get_type_name();
}

std::string descriptionOf(const CLI::Option& option) {
  std::string text = option.get_description();
  if (!option.get_default_str().empty())
    text += " (default: " + option.get_default_str() + ")";
  return option.get_required() ? text + " (required)" : text;
}

// Builds text in lines of limited width.
class HelpText {
 public:
  explicit HelpText(std::size_t width) : _width(width), _column(std::min(width / 3, widestNames)) {}

  // The first line begins with `start`; the others are indented by its width.
  void paragraph(const std::string& start, const std::string& text) {
    std::string before = start;
    for (const std::string& line : wrapped(text, _width - start.size())) {
      _text.append(before).append(line).append("\n");
      before = std::string(start.size(), ' ');
    }
  }

  void line(const std::string& text) { _text += text + "\n"; }

  // A name and its meaning: in the same line or, if the name is long, below it. If several rows
  // have the same heading, it is printed above the first.
  void row(const std::string& heading, const std::string& name, const std::string& meaning) {
    if (heading != _heading)
      line("\n" + heading + ":");
    _heading = heading;
    std::string start = "  " + name;
    if (start.size() + 2 > _column) {
      line(start);
      start.clear();
    }
    start.resize(_column, ' ');
    paragraph(start, meaning);
  }

  const std::string& text() const { return _text; }

 private:
  static constexpr std::size_t widestNames = 26;

  std::size_t _width;
  std::size_t _column;  // the column of meanings
  std::string _heading;
  std::string _text;
};

// "NAME [OPTION...] --output FILE [PATH...]"
std::string usageOf(const CLI::App& command, const std::string& name) {
  std::string options = " [OPTION...]";
  std::string words = command.get_subcommands(nullptr).empty() ? "" : " COMMAND [ARGUMENT...]";
  for (const CLI::Option* option : command.get_options()) {
    std::string const one = nameOf(*option);
    if (option->get_required())
      (option->get_positional() ? words : options) += " " + one;
    else if (option->get_positional())
      words += " [" + one + "]";
  }
  return name + options + words;
}

}  // namespace

bool isFlag(const CLI::Option& option) {
  return option.get_items_expected_max() == 0;
}

std::string helpText(const CLI::App& command, const std::string& name, std::size_t width) {
  constexpr std::size_t least = 40;
  HelpText help(std::max(width, least));
  help.paragraph("", command.get_description());
  help.line("");
  help.paragraph("Usage: ", usageOf(command, name));
  for (bool const positional : {true, false}) {
    for (const CLI::Option* option : command.get_options()) {
      if (option->get_positional() == positional)
        help.row(positional ? "Arguments" : "Options", nameOf(*option), descriptionOf(*option));
    }
  }
  for (const CLI::App* one : command.get_subcommands(nullptr))
    help.row("Commands", one->get_name(), one->get_description());
  help.line("");
  std::istringstream more(command.get_footer());
  for (std::string line; std::getline(more, line);) {
    if (line.empty() || line.front() == ' ')
      help.line(line);
    else
      help.paragraph("", line);
  }
  return help.text();
}

}  // namespace tool
