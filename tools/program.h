// The program zemo-selfcheck as a function.

#ifndef ZEMO_TOOLS_PROGRAM_H
#define ZEMO_TOOLS_PROGRAM_H

#include "run/arguments.h"

namespace tool {

// Fills `program` with all commands and their options; the one that is parsed is put into `chosen`.
void addCommands(CLI::App& program, Chosen& chosen);

// Runs the program with these arguments and returns its exit status (run/failure.h).
int runProgram(int argc, const char* const* argv);

}  // namespace tool

#endif
