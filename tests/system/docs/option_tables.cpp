// Prints the options of every command as the program itself knows them, one a line:
// COMMAND TAB NAME TAB "value" or "flag". The completion and the man pages are compared with this.

#include <cstdio>

#include "program.h"

int main() {
  for (const tool::Commands::Option& option : tool::allCommands().options())
    printf("%s\t--%s\t%s\n", option.command.c_str(), option.name.c_str(),
           option.takesValue ? "value" : "flag");
  return 0;
}
