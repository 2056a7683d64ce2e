#include "run/arguments.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <charconv>
#include <functional>
#include <sstream>
#include <utility>

#include "io/descriptors.h"
#include "run/failure.h"
#include "text/escape.h"

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

// The parser takes whatever word follows an option for its value; one that is an option is none.
std::function<std::string(std::string)> valueOf(const CLI::App& command, const char* name) {
  return [&command, name](const std::string& word) {
    bool const isOption = word.size() > 1 && word.front() == '-' && name[0] == '-' &&
                          command.get_option_no_throw(word.substr(0, word.find('='))) != nullptr;
    if (isOption)
      throw CLI::ValidationError("its value is missing before " + word);
    return unguarded(word);
  };
}

// An option for several values, one each time that it is given. The parser does not take values
// apart where it expects no further ones.
CLI::Option* severalOf(CLI::App& command, const char* name, const char* type,
                       std::vector<std::string>& target, const char* text) {
  return command.add_option(name, target, text)
      ->type_name(type)
      ->transform(valueOf(command, name), "")
      ->allow_extra_args(false)
      ->take_all();
}

// An option for one value.
template <typename Target>
CLI::Option* oneOf(CLI::App& command, const char* name, const char* type, Target& target,
                   const char* text) {
  return command.add_option(name, target, text)
      ->type_name(type)
      ->transform(valueOf(command, name), "");
}

// The words of main()'s arguments, without the program's name, so that the parser leaves them
// whole.
std::vector<std::string> guarded(int argc, const char* const* argv) {
  std::vector<std::string> words(argv + std::min(argc, 1), argv + argc);
  for (std::string& word : words) {
    if (!word.empty() && (word.front() == '[' || word.front() == guard))
      word.insert(0, 1, guard);
  }
  return words;
}

// `message`, which may quote such words, for people.
std::string withoutGuards(std::string message) {
  message.erase(std::remove(message.begin(), message.end(), guard), message.end());
  return message;
}

// The parser does not tell of a word before the command; it only misses the command, or shows help.
void requireKnownCommand(const CLI::App& program) {
  std::vector<std::string> const words = program.remaining();
  if (!program.get_subcommands().empty() || words.empty())
    return;
  std::string const word = withoutGuards(words.front());
  if (word.size() > 1 && word.front() == '-')
    throw UsageError("there is no option " + inQuotes(word) +
                     " before the command; see zemo-selfcheck --help");
  std::string commands;
  for (const CLI::App* command : program.get_subcommands(nullptr))
    commands += (commands.empty() ? "" : ", ") + command->get_name();
  throw UsageError("there is no command " + inQuotes(word) + "; there are: " + commands);
}

// What an end of parsing comes to.
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
  std::string command;
  for (const CLI::App* chosen : program.get_subcommands())
    command += " " + chosen->get_name();
  throw UsageError(escaped(withoutGuards(error.what())) + "; see zemo-selfcheck" + command +
                   " --help");
}

// Later versions of the parser would break the lines of examples as those of a paragraph.
template <typename Formatter>
auto keepLinesOfExamples(Formatter& formatter, int)
    -> decltype(formatter.enable_footer_formatting(false)) {
  formatter.enable_footer_formatting(false);
}

template <typename Formatter>
void keepLinesOfExamples(Formatter&, long) {}  // older ones never do

}  // namespace

void Arguments::words(const char* name, std::vector<std::string>& target, const char* text) {
  (void)severalOf(_command, name, "", target, text)->allow_extra_args();
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
  _command.add_option(name, target, text)
      ->type_name("")
      ->capture_default_str()
      ->check(CLI::IsMember(known));
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
                                           std::to_string(most) + ", not " + word);
    target = number;
  };
  _command.add_option_function<std::string>(name, take, text)->type_name("N");
}

void Arguments::values(const char* name, const char* type, std::vector<std::string>& target,
                       const char* text) {
  (void)severalOf(_command, name, type, target, text)->expected(1, manyValues);
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
  keepLinesOfExamples(*_program->get_formatter(), 0);
  _program->require_subcommand(1);
  _program->set_version_flag("--version", std::string(program) + " " + version);
  _program->footer(more);
}

Commands::Commands(Commands&& other) noexcept = default;

Commands& Commands::operator=(Commands&& other) noexcept = default;

Commands::~Commands() = default;

Arguments Commands::add(const char* name, const char* text, const char* examples,
                        std::function<int()> run) {
  CLI::App* const command = _program->add_subcommand(name, text);
  command->footer(examples);
  command->callback([chosen = _chosen.get(), name, run = std::move(run)] {
    *chosen = {name, run};
  });
  return Arguments(*command);
}

Chosen Commands::parse(int argc, const char* const* argv) {
  try {
    std::vector<std::string> words = guarded(argc, argv);
    std::reverse(words.begin(), words.end());  // which is how the parser wants them
    _program->parse(words);
  } catch (const CLI::ParseError& error) {
    return answerTo(error, *_program);
  }
  return *_chosen;
}

std::vector<Commands::Option> Commands::options() const {
  std::vector<Option> options;
  for (const CLI::App* command : _program->get_subcommands(nullptr)) {
    for (const CLI::Option* option : command->get_options()) {
      for (const std::string& name : option->get_lnames())
        options.push_back({command->get_name(), name, option->get_items_expected_max() > 0});
    }
  }
  return options;
}

}  // namespace tool
