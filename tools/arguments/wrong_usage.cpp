#include "arguments/wrong_usage.h"

#include <CLI/CLI.hpp>
#include <algorithm>

#include "arguments/guarded_words.h"
#include "arguments/help.h"
#include "io/exit_status.h"
#include "text/escape.h"
#include "text/strings.h"

namespace tool {
namespace {

bool isOption(const std::string& word) {
  return word.size() > 1 && word.front() == '-';
}

std::string unknownOption(const std::string& word) {
  return "unknown option " + escaped(word.substr(0, word.find('=')));
}

// The command to use instead, for an option that only other commands have; may be empty.
std::string insteadOf(const std::string& word, const CLI::App& command) {
  std::string const option = word.substr(0, word.find('='));
  if (command.get_name() == "files" && (option == "--root" || option == "--lists"))
    return ": files asks the C function, which knows only this machine's files; use check --root";
  return "";
}

std::string seeHelp(const CLI::App& command) {
  bool const isProgram = command.get_parent() == nullptr;
  return "; see zemo-selfcheck " + (isProgram ? "" : command.get_name() + " ") + "--help";
}

// A message that names the first option whose value is missing because an option follows it; empty
// if there is none.
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
    return isOption(word) ? unknownOption(word) + insteadOf(word, command)
                          : "unexpected argument " + inQuotes(word);
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

}  // namespace

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

void requireValues(const CLI::App& command) {
  std::string const missing = missingValue(command);
  if (!missing.empty())
    throw UsageError(missing, seeHelp(command));
}

void rejectArguments(const CLI::App& program, const CLI::ParseError& error) {
  std::vector<CLI::App*> const chosen = program.get_subcommands();
  const CLI::App& command = chosen.empty() ? program : *chosen.front();
  throw UsageError(complaint(command, error), seeHelp(command));
}

}  // namespace tool
