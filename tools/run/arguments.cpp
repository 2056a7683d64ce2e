#include "run/arguments.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <charconv>
#include <functional>
#include <utility>

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

}  // namespace

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

Arguments Commands::add(const char* name, const char* text, const char* examples, Chosen run) {
  CLI::App* const command = _program.add_subcommand(name, text);
  command->footer(examples);
  command->callback([chosen = &_chosen, run = std::move(run)] { *chosen = run; });
  return Arguments(*command);
}

}  // namespace tool
