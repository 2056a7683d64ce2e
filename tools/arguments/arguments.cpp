#include "arguments/arguments.h"

#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <charconv>
#include <functional>
#include <sstream>
#include <utility>

#include "arguments/guarded_words.h"
#include "arguments/help.h"
#include "arguments/wrong_usage.h"
#include "io/descriptors.h"
#include "io/exit_status.h"
#include "text/strings.h"

namespace tool {

namespace {

// More than any user gives; the parser treats greater numbers differently.
constexpr int manyValues = 1 << 20;

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

// `words` without the word help at their beginning, which means the same as --help after them.
std::vector<std::string> withoutHelpCommand(std::vector<std::string> words) {
  if (words.empty() || words.front() != "help")
    return words;
  words.erase(words.begin());
  if (!words.empty() && words.front() == "help")
    words.erase(words.begin());
  if (words.size() > 1)
    throw UsageError("help takes one command, not also " + inQuotes(withoutGuards(words[1])));
  words.emplace_back("--help");
  return words;
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
  rejectArguments(program, error);
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
  CLI::Option* const option =
      _command.add_option(name, target, text)->type_name(joinedBy("|", known))->check(refuse);
  if (!target.empty())
    option->capture_default_str();
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
    std::vector<std::string> words = withoutHelpCommand(guarded(argc, argv));
    std::reverse(words.begin(), words.end());  // the parser expects them reversed
    _program->parse(words);
  } catch (const CLI::ParseError& error) {
    return answerTo(error, *_program);
  }
  requireValues(*_program->get_subcommands().front());
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
