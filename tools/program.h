// The program zemo-selfcheck as a function.

#ifndef ZEMO_TOOLS_PROGRAM_H
#define ZEMO_TOOLS_PROGRAM_H

#include "arguments/arguments.h"

namespace tool {

// All commands and their options.
Commands allCommands();

// Runs the program with these arguments. Returns its exit status (io/exit_status.h).
int runProgram(int argc, const char* const* argv);

}  // namespace tool

#endif
