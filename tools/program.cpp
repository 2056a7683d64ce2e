#include "program.h"

#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <csignal>
#include <cstdio>
#include <new>
#include <string>
#include <vector>

#include "commands.h"
#include "common/descriptors.h"
#include "common/escape.h"
#include "common/failure.h"
#include "common/interruption.h"
#include "common/log_relay.h"
#include "common/words.h"

namespace tool {
namespace {

const char* const description =
    "Checks installed files against signed check lists, and makes, signs and explains such lists.";

const char* const overview =
    "Exit status: 0 if all is well, otherwise the sum of 1 (something changed), 2 (something is "
    "missing), 4 (a stray file in a directory with fixed members), 8 (something could not be "
    "checked), 16 (nothing was done, or a set could not be loaded or verified) and 64 (wrong "
    "usage).\n"
    "\n"
    "Examples:\n"
    "  zemo-selfcheck check             check the operating system's own set\n"
    "  zemo-selfcheck doctor            find problems with lists and keys\n"
    "  zemo-selfcheck make --help       show how to make a list\n";

bool isOption(const std::string& word) {
  return word.size() > 1 && word.front() == '-';
}

std::string unknownOption(const std::string& word) {
  return "unknown option " + escaped(word.substr(0, word.find('=')));
}

// The parser does not report a word before the command; it only misses the command, or shows help.
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

// The parser takes any word that follows an option for its value, even another option. Says which
// option lacks its value for that reason; empty if none does.
std::string missingValue(const CLI::App& command) {
  for (const CLI::Option* option : command.get_options()) {
    for (const std::string& word : option->results()) {
      std::string const start = word.substr(0, word.find('='));
      if (!option->get_positional() && isOption(word) &&
          command.get_option_no_throw(start) != nullptr)
        return option->get_name() + " needs a value before " + start;
    }
  }
  return "";
}

// Says why the words of a command are wrong. The parser's own messages differ from version to
// version, and agree on the option that they begin with; those of flags only name it.
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
    std::string const name = option->get_name();
    bool const isFlag = option->get_items_expected_max() == 0;
    if (isFlag && (" " + message + " ").find(" " + name + " ") != std::string::npos)
      return name + " takes no value";
  }
  return message;
}

int reported(const CLI::ParseError& error, const CLI::App& program) {
  requireKnownCommand(program);
  if (error.get_exit_code() == 0) {  // --help or --version
    program.exit(error);
    flushOutput();
    return STATUS_INTACT;
  }
  std::vector<CLI::App*> const chosen = program.get_subcommands();
  const CLI::App& command = chosen.empty() ? program : *chosen.front();
  say(complaint(command, error) + seeHelp(command));
  return STATUS_USAGE;
}

int parsedAndRun(int argc, const char* const* argv) {
  CLI::App program(description, "zemo-selfcheck");
  Chosen chosen;
  addCommands(program, chosen);
  try {
    std::vector<std::string> words = guarded(argc, argv);
    std::reverse(words.begin(), words.end());  // which is how the parser wants them
    program.parse(words);
  } catch (const CLI::ParseError& error) {
    return reported(error, program);
  }
  const CLI::App& command = *program.get_subcommands().front();
  std::string const missing = missingValue(command);
  if (!missing.empty())
    throw UsageError(missing + seeHelp(command));
  int status = chosen();
  try {
    flushOutput();
  } catch (const Failure& failure) {
    say(failure.what());
    status |= failure.status();  // what was found stays true
  }
  return status;
}

int runAndReport(int argc, const char* const* argv) {
  try {
    return parsedAndRun(argc, argv);
  } catch (const Failure& failure) {
    say(failure.what());
    return failure.status();
  } catch (const std::bad_alloc&) {
    say("out of memory");
  } catch (const std::exception& error) {
    say(escaped(error.what()));
  }
  return STATUS_NOT_LOADED;
}

}  // namespace

void addCommands(CLI::App& program, Chosen& chosen) {
  program.formatter_fn([](const CLI::App* command, const std::string& name, CLI::AppFormatMode) {
    return helpText(*command, name, terminalWidth(STDOUT_FILENO));
  });
  program.require_subcommand(1);
  program.set_help_flag("-h,--help", "Print this help and exit");
  program.set_version_flag("--version", "zemo-selfcheck " ZEMO_VERSION,
                           "Print the version and exit");
  program.footer(overview);
  Commands commands(program, chosen);
  addCheck(commands);
  addFiles(commands);
  addVerify(commands);
  addShow(commands);
  addDiff(commands);
  addDoctor(commands);
  addMake(commands);
  addSign(commands);
  addInitHome(commands);
  addRemoveKey(commands);
}

int runProgram(int argc, const char* const* argv) {
  occupyStandardDescriptors();
  // Ignored, as a caller may have left it, it takes the exit status of the programs that are run.
  (void)std::signal(SIGCHLD, SIG_DFL);
  startLogRelay();
  int const status = runAndReport(argc, argv);
  if (interrupted()) {
    (void)fflush(stdout);
    _exit(status);  // threads that could not be stopped may still run, and must not see objects go
  }
  return status;
}

}  // namespace tool
