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
#include "io/descriptors.h"
#include "run/failure.h"
#include "run/interruption.h"
#include "run/log_relay.h"
#include "text/escape.h"

namespace tool {
namespace {

const char* const description =
    "Checks installed files against signed check lists, and makes, signs and explains such lists.";

const char* const overview =
    "Exit status, a set of bits: 1 something changed, 2 is missing, 4 is stray in a directory "
    "with\n"
    "fixed members, 8 could not be checked, 16 nothing was done, or a set could not be loaded or\n"
    "verified, 64 wrong usage. 0 means that all is well.\n"
    "\n"
    "Examples:\n"
    "  zemo-selfcheck check             check the operating system's own set\n"
    "  zemo-selfcheck doctor            look whether lists, keys and signatures are in order\n"
    "  zemo-selfcheck make --help       how to make a list\n";

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

int reported(const CLI::ParseError& error, const CLI::App& program) {
  requireKnownCommand(program);
  if (error.get_exit_code() == 0) {  // --help or --version
    program.exit(error);
    flushOutput();
    return STATUS_INTACT;
  }
  std::string command;
  for (const CLI::App* chosen : program.get_subcommands())
    command += " " + chosen->get_name();
  say(escaped(withoutGuards(error.what())) + "; see zemo-selfcheck" + command + " --help");
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

// Later versions of the parser would break the lines of examples as those of a paragraph.
template <typename Formatter>
auto keepLinesOfExamples(Formatter& formatter, int)
    -> decltype(formatter.enable_footer_formatting(false)) {
  formatter.enable_footer_formatting(false);
}

template <typename Formatter>
void keepLinesOfExamples(Formatter&, long) {}  // older ones never do

}  // namespace

void addCommands(CLI::App& program, Chosen& chosen) {
  keepLinesOfExamples(*program.get_formatter(), 0);
  program.require_subcommand(1);
  program.set_version_flag("--version", "zemo-selfcheck " ZEMO_VERSION);
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
