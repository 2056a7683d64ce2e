#include "run/arguments.h"

#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <charconv>
#include <functional>
#include <sstream>
#include <utility>

#include "io/descriptors.h"
#include "io/exit_status.h"
#include "text/escape.h"
#include "text/strings.h"

namespace tool {

namespace {

// More than any user gives; the parser treats greater numbers differently.
constexpr int manyValues = 1 << 20;

// The parser splits the word "[a,b]", which may be a file name, into two. With this byte in front,
// which guarded() adds, the word stays whole.
constexpr char guard = '\x01';

std::string unguarded(std::string word) {
  if (!word.empty() && word.front() == guard)
    word.erase(0, 1);
  return word;
}

// An option for several values, one for each time it is given. The parser does not split values if
// it expects no further ones.
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

// An option without a value.
bool isFlag(const CLI::Option& option) {
  return option.get_items_expected_max() == 0;
}

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

// The text of --help for the program or one of its commands, called `name`, in lines of at most
// `width` columns; a smaller `width` than 40 counts as 40. Lines of examples stay as they are.
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

// The words of main()'s arguments without the program's name, guarded so that the parser leaves
// them whole.
std::vector<std::string> guarded(int argc, const char* const* argv) {
  std::vector<std::string> words(argv + std::min(argc, 1), argv + argc);
  for (std::string& word : words) {
    if (!word.empty() && (word.front() == '[' || word.front() == guard))
      word.insert(0, 1, guard);
  }
  return words;
}

// `message`, which may quote guarded words, as users must see it.
std::string withoutGuards(std::string message) {
  message.erase(std::remove(message.begin(), message.end(), guard), message.end());
  return message;
}

bool isOption(const std::string& word) {
  return word.size() > 1 && word.front() == '-';
}

std::string unknownOption(const std::string& word) {
  return "unknown option " + escaped(word.substr(0, word.find('=')));
}

// The parser does not report an unknown word before the command: it only reports the missing
// command, or shows help.
void requireKnownCommand(const CLI::App& program) {
  std::vector<std::string> const words = program.remaining();
  if (words.empty())
    return;
  std::string const word = withoutGuards(words.front());
  if (isOption(word))
    throw UsageError(unknownOption(word) + " before the command; see zemo-selfcheck --help");
  std::vector<std::string> commands;
  for (const CLI::App* command : program.get_subcommands(nullptr))
    commands.push_back(command->get_name());
  throw UsageError("unknown command " + inQuotes(word) + "; the commands are " + listed(commands));
}

std::string seeHelp(const CLI::App& command) {
  bool const isProgram = command.get_parent() == nullptr;
  return "; see zemo-selfcheck " + (isProgram ? "" : command.get_name() + " ") + "--help";
}

// The parser treats any word after an option as its value, even another option. Returns a message
// that names the option whose value is missing for this reason; empty if there is none.
std::string missingValue(const CLI::App& command) {
  for (const CLI::Option* option : command.get_options()) {
    for (const std::string& word : option->results()) {
      std::string const start = word.substr(0, word.find('='));
      if (!option->get_positional() && !isFlag(*option) && isOption(word) &&
          command.get_option_no_throw(start) != nullptr)
        return option->get_name() + " needs a value before " + start;
    }
  }
  return "";
}

// Says why the words of a command are wrong. The parser's own messages differ between versions, but
// begin with the option that they are about, except messages about flags.
std::string complaint(const CLI::App& command, const CLI::ParseError& error) {
  std::vector<std::string> const unexpected = command.remaining();
  if (!unexpected.empty()) {
    std::string const word = withoutGuards(unexpected.front());
    return isOption(word) ? unknownOption(word) : "unexpected argument " + inQuotes(word);
  }
  if (command.get_parent() == nullptr)
    return "a command is required";
  std::string missing = missingValue(command);
  if (!missing.empty())
    return missing;
  std::string message = escaped(withoutGuards(error.what()));
  for (const CLI::Option* option : command.get_options()) {
    std::string const name = option->get_name();
    if (!startsWith(message, name + ": "))
      continue;
    if (error.get_name() != "ArgumentMismatch")
      return name + message.substr(name.size() + 1);
    bool const isRepeated =
        option->get_multi_option_policy() == CLI::MultiOptionPolicy::Throw && option->count() > 1;
    return name + (isRepeated ? " may be given only once" : " needs a value");
  }
  for (const CLI::Option* option : command.get_options()) {
    std::vector<std::string> const given = option->results();
    if (isFlag(*option) && std::any_of(given.begin(), given.end(), [](const std::string& word) {
          return word != "true";  // the parser's own value
        }))
      return option->get_name() + " takes no value";
  }
  return message;
}

// The result of a parse that has ended early.
Chosen answerTo(const CLI::ParseError& error, const CLI::App& program) {
  requireKnownCommand(program);
  if (error.get_exit_code() == 0) {  // --help or --version
    std::ostringstream out;
    program.exit(error, out);
    return {"", [text = out.str()] {
              writeOut(text);
              return STATUS_INTACT;
            }};
  }
  std::vector<CLI::App*> const chosen = program.get_subcommands();
  const CLI::App& command = chosen.empty() ? program : *chosen.front();
  throw UsageError(complaint(command, error) + seeHelp(command));
}

}  // namespace

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
  auto const refuse = [known](const std::string& word) {
    bool const isKnown = std::find(known.begin(), known.end(), word) != known.end();
    return isKnown ? "" : "takes " + listed(known, "or") + ", not '" + word + "'";
  };
  _command.add_option(name, target, text)
      ->type_name(joinedBy("|", known))
      ->capture_default_str()
      ->check(refuse);
}

void Arguments::number(const char* name, unsigned& target, unsigned least, unsigned most,
                       const char* text) {
  // The parser would also accept octal and hexadecimal numbers.
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

Commands::Commands(const char* program, const char* version, const char* text, const char* more)
    : _program(std::make_unique<CLI::App>(text, program)), _chosen(std::make_unique<Chosen>()) {
  _program->formatter_fn([](const CLI::App* command, const std::string& name, CLI::AppFormatMode) {
    return helpText(*command, name, terminalWidth(STDOUT_FILENO));
  });
  _program->require_subcommand(1);
  _program->set_help_flag("-h,--help", "Print this help and exit");
  _program->set_version_flag("--version", std::string(program) + " " + version,
                             "Print the version and exit");
  _program->footer(more);
}

Commands::Commands(Commands&& other) noexcept = default;

Commands::~Commands() = default;

Arguments Commands::add(const char* name, const char* text, const char* more,
                        std::function<int()> run) {
  CLI::App* const command = _program->add_subcommand(name, text);
  command->footer(more);
  command->callback([chosen = _chosen.get(), name, run = std::move(run)] {
    *chosen = {name, run};
  });
  return Arguments(*command);
}

Chosen Commands::parse(int argc, const char* const* argv) {
  try {
    std::vector<std::string> words = guarded(argc, argv);
    std::reverse(words.begin(), words.end());  // the parser expects them reversed
    _program->parse(words);
  } catch (const CLI::ParseError& error) {
    return answerTo(error, *_program);
  }
  const CLI::App& command = *_program->get_subcommands().front();
  std::string const missing = missingValue(command);
  if (!missing.empty())
    throw UsageError(missing + seeHelp(command));
  return *_chosen;
}

std::vector<Commands::Option> Commands::options() const {
  std::vector<Option> options;
  for (const CLI::App* command : _program->get_subcommands(nullptr)) {
    for (const CLI::Option* option : command->get_options()) {
      for (const std::string& name : option->get_lnames())
        options.push_back({command->get_name(), name, !isFlag(*option)});
    }
  }
  return options;
}

}  // namespace tool
