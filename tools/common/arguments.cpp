#include "common/arguments.h"

#include <CLI/CLI.hpp>
#include <charconv>
#include <utility>

namespace tool {

namespace {

// More than anybody gives; the parser takes greater numbers for something else.
constexpr int manyValues = 1 << 20;

// An option for several values. Where the parser thinks of further values as extra ones, it also
// takes the value "[a,b]" apart, which may be the name of a file.
CLI::Option* severalOf(CLI::App& command, const char* name, const char* type,
                       std::vector<std::string>& target, const char* text) {
  return command.add_option(name, target, text)
      ->type_name(type)
      ->allow_extra_args(false)
      ->take_all();
}

}  // namespace

void Arguments::words(const char* name, std::vector<std::string>& target, const char* text) {
  (void)severalOf(_command, name, "", target, text);
}

void Arguments::word(const char* name, std::string& target, const char* text) {
  _command.add_option(name, target, text)->type_name("")->required();
}

void Arguments::flag(const char* name, bool& target, const char* text) {
  _command.add_flag(name, target, text);
}

void Arguments::value(const char* name, const char* type, std::string& target, const char* text) {
  CLI::Option* const option = _command.add_option(name, target, text)->type_name(type);
  if (!target.empty())
    option->capture_default_str();
}

void Arguments::value(const char* name, const char* type, std::optional<std::string>& target,
                      const char* text) {
  _command.add_option(name, target, text)->type_name(type);
}

void Arguments::requiredValue(const char* name, const char* type, std::string& target,
                              const char* text) {
  _command.add_option(name, target, text)->type_name(type)->required();
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

Arguments Commands::add(const char* name, const char* text, const char* examples, Chosen run) {
  CLI::App* const command = _program.add_subcommand(name, text);
  command->footer(examples);
  command->callback([chosen = &_chosen, run = std::move(run)] { *chosen = run; });
  return Arguments(*command);
}

}  // namespace tool
