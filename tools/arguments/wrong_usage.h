// Messages about wrong arguments. Those of the parser differ between its versions, and it accepts
// some wrong arguments.

#ifndef ZEMO_TOOLS_ARGUMENTS_WRONG_USAGE_H
#define ZEMO_TOOLS_ARGUMENTS_WRONG_USAGE_H

namespace CLI {
class App;
class ParseError;
}  // namespace CLI

namespace tool {

// Throws UsageError if there is an unknown word before the command. The parser does not report it:
// it only reports the missing command, or shows help.
void requireKnownCommand(const CLI::App& program);

// Throws UsageError if the value of an option is missing. The parser treats any word after an
// option as its value, even another option.
void requireValues(const CLI::App& command);

// Throws UsageError, which says why the parser has thrown `error`.
[[noreturn]] void rejectArguments(const CLI::App& program, const CLI::ParseError& error);

}  // namespace tool

#endif
