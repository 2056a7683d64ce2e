// The text of --help.

#ifndef ZEMO_TOOLS_ARGUMENTS_HELP_H
#define ZEMO_TOOLS_ARGUMENTS_HELP_H

#include <cstddef>
#include <string>

namespace CLI {
class App;
class Option;
}  // namespace CLI

namespace tool {

// An option without a value.
bool isFlag(const CLI::Option& option);

// The text for the program or one of its commands, called `name`, in lines of at most `width`
// columns; a smaller `width` than 40 counts as 40. Lines of examples stay as they are.
std::string helpText(const CLI::App& command, const std::string& name, std::size_t width);

}  // namespace tool

#endif
