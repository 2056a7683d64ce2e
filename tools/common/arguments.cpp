#include "common/arguments.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <charconv>
#include <functional>
#include <sstream>
#include <utility>

#include "common/words.h"

namespace tool {

namespace {

// More than anybody gives; the parser takes greater numbers for something else.
constexpr int manyValues = 1 << 20;

// The parser takes the word "[a,b]", which may be the name of a file, apart into two. Begun by this
// byte, as guarded() does, it stays whole.
constexpr char guard = '\x01';

std::string unguarded(std::string word) {
  if (!word.empty() && word.front() == guard)
    word.erase(0, 1);
  return word;
}

// An option for several values, one each time that it is given. The parser does not take values
// apart where it expects no further ones.
CLI::Option* severalOf(CLI::App& command, const char* name, const char* type,
                       std::vector<std::string>& target, const char* text) {
  return command.add_option(name, target, text)
      ->type_name(type)
      ->transform(unguarded, "")
      ->allow_extra_args(false)
      ->take_all();
}

// An option for one value.
template <typename Target>
CLI::Option* oneOf(CLI::App& command, const char* name, const char* type, Target& target,
                   const char* text) {
  return command.add_option(name, target, text)->type_name(type)->transform(unguarded, "");
}

// "-z, --null", "--jobs N", "PATH..."
std::string nameOf(const CLI::Option& option) {
  if (option.get_positional())
    return option.get_name() + (option.get_expected_max() > 1 ? "..." : "");
  std::string name;
  for (const std::string& letter : option.get_snames())
    name += "-" + letter + ", ";
  name += option.get_name();
  return option.get_items_expected_max() == 0 ? name : name + " " + option.get_type_name();
}

std::string descriptionOf(const CLI::Option& option) {
  std::string text = option.get_description();
  if (!option.get_default_str().empty())
    text += " (default: " + option.get_default_str() + ")";
  return option.get_required() ? text + " (required)" : text;
}

// Text in lines of limited width.
class HelpText {
 public:
  explicit HelpText(std::size_t width) : _width(width), _column(std::min(width / 3, widestNames)) {}

  // The first line begins with `start`, and the others are indented as far.
  void paragraph(const std::string& start, const std::string& text) {
    std::string before = start;
    for (const std::string& line : wrapped(text, _width - start.size())) {
      _text.append(before).append(line).append("\n");
      before = std::string(start.size(), ' ');
    }
  }

  void line(const std::string& text) { _text += text + "\n"; }

  // A name and its meaning, next to it or, if the name is long, below it. The first of several rows
  // with the same heading has that above it.
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
  std::size_t _column;  // where meanings begin
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

std::vector<std::string> guarded(int argc, const char* const* argv) {
  std::vector<std::string> words(argv + std::min(argc, 1), argv + argc);
  for (std::string& word : words) {
    if (!word.empty() && (word.front() == '[' || word.front() == guard))
      word.insert(0, 1, guard);
  }
  return words;
}

std::string withoutGuards(std::string message) {
  message.erase(std::remove(message.begin(), message.end(), guard), message.end());
  return message;
}

void Arguments::words(const char* name, std::vector<std::string>& target, const char* text) {
  (void)severalOf(_command, name, "", target, text)->allow_extra_args();
}

void Arguments::requiredWords(const char* name, std::vector<std::string>& target,
                              const char* text) {
  (void)severalOf(_command, name, "", target, text)->allow_extra_args()->required();
}

void Arguments::word(const char* name, std::string& target, const char* text) {
  (void)oneOf(_command, name, "", target, text)->required();
}

void Arguments::flag(const char* name, bool& target, const char* text) {
  _command.add_flag(name, target, text);
}

void Arguments::value(const char* name, const char* type, std::string& target, const char* text) {
  CLI::Option* const option = oneOf(_command, name, type, target, text);
  if (!target.empty())
    option->capture_default_str();
}

void Arguments::value(const char* name, const char* type, std::optional<std::string>& target,
                      const char* text) {
  (void)oneOf(_command, name, type, target, text);
}

void Arguments::requiredValue(const char* name, const char* type, std::string& target,
                              const char* text) {
  (void)oneOf(_command, name, type, target, text)->required();
}

void Arguments::choice(const char* name, std::initializer_list<const char*> choices,
                       std::string& target, const char* text) {
  std::vector<std::string> const known(choices.begin(), choices.end());
  std::string type;
  for (const std::string& choice : known)
    type += (type.empty() ? "" : "|") + choice;
  auto const refuse = [known](const std::string& word) {
    bool const isKnown = std::find(known.begin(), known.end(), word) != known.end();
    return isKnown ? "" : "takes " + listed(known, "or") + ", not '" + word + "'";
  };
  _command.add_option(name, target, text)->type_name(type)->capture_default_str()->check(refuse);
}

void Arguments::number(const char* name, unsigned& target, unsigned least, unsigned most,
                       const char* text) {
  // The parser's own numbers may be octal and hexadecimal.
  auto const take = [&target, name, least, most](const std::string& word) {
    unsigned number = 0;
    const char* const end = word.data() + word.size();
    std::from_chars_result const result = std::from_chars(word.data(), end, number);
    if (result.ec != std::errc() || result.ptr != end || number < least || number > most)
      throw CLI::ValidationError(name, "takes a number from " + std::to_string(least) + " to " +
                                           std::to_string(most) + ", not '" + word + "'");
    target = number;
  };
  _command.add_option_function<std::string>(name, take, text)->type_name("N");
}

void Arguments::values(const char* name, const char* type, std::vector<std::string>& target,
                       const char* text) {
  (void)severalOf(_command, name, type, target, text)
      ->type_name(std::string(type) + "...")
      ->expected(1, manyValues);
}

void Arguments::repeated(const char* name, const char* type, std::vector<std::string>& target,
                         const char* text) {
  (void)severalOf(_command, name, type, target, text);
}

void Arguments::list(const char* name, const char* type, std::vector<std::string>& target,
                     const char* text) {
  (void)severalOf(_command, name, type, target, text)->delimiter(',');
}

Arguments Commands::add(const char* name, const char* text, const char* more, Chosen run) {
  CLI::App* const command = _program.add_subcommand(name, text);
  command->footer(more);
  command->callback([chosen = &_chosen, run = std::move(run)] { *chosen = run; });
  return Arguments(*command);
}

}  // namespace tool
