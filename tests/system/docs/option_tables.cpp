// Prints the options of every command as the program defines them, one per line: COMMAND TAB NAME
// TAB "value" or "flag". Tests compare the completion and the man pages with this output.

#include <cstdio>

#include "program.h"

int main() {
  for (const tool::Commands::Option& option : tool::allCommands().options())
    printf("%s\t--%s\t%s\n", option.command.c_str(), option.name.c_str(),
           option.takesValue ? "value" : "flag");
  return 0;
}
