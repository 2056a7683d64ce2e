// The commands of zemo-selfcheck. Each is in the file of the same name.

#ifndef ZEMO_TOOLS_COMMANDS_H
#define ZEMO_TOOLS_COMMANDS_H

#include "arguments/arguments.h"

namespace tool {

// Each function adds one command, with its words and options, to the program.
void addCheck(Commands& program);
void addFiles(Commands& program);
void addVerify(Commands& program);
void addShow(Commands& program);
void addDiff(Commands& program);
void addDoctor(Commands& program);
void addMake(Commands& program);
void addMerge(Commands& program);
void addSign(Commands& program);
void addInstall(Commands& program);
void addRetire(Commands& program);
void addInitHome(Commands& program);
void addRemoveKey(Commands& program);

}  // namespace tool

#endif
