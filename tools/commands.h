// The commands of zemo-selfcheck. Each stands in the file of its name.

#ifndef ZEMO_TOOLS_COMMANDS_H
#define ZEMO_TOOLS_COMMANDS_H

#include <CLI/CLI.hpp>
#include <functional>

namespace tool {

// The command that the arguments ask for, ready to run; it returns the exit status.
using Chosen = std::function<int()>;

// Each adds a command and its options to `program`. When the arguments name the command, parsing
// them puts it into `chosen`; nothing is done before that is called.
void addCheck(CLI::App& program, Chosen& chosen);
void addFiles(CLI::App& program, Chosen& chosen);
void addVerify(CLI::App& program, Chosen& chosen);
void addShow(CLI::App& program, Chosen& chosen);
void addDiff(CLI::App& program, Chosen& chosen);
void addDoctor(CLI::App& program, Chosen& chosen);
void addMake(CLI::App& program, Chosen& chosen);
void addSign(CLI::App& program, Chosen& chosen);
void addInitHome(CLI::App& program, Chosen& chosen);
void addRemoveKey(CLI::App& program, Chosen& chosen);

}  // namespace tool

#endif
