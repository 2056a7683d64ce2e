// Prints the options of every command as the program itself knows them, one a line:
// COMMAND TAB NAME TAB "value" or "flag". The completion and the man pages are compared with this.

#include <CLI/CLI.hpp>
#include <cstdio>

#include "program.h"

int main() {
  CLI::App program;
  tool::Chosen chosen;
  tool::addCommands(program, chosen);
  for (const CLI::App* command : program.get_subcommands(nullptr)) {
    for (const CLI::Option* option : command->get_options()) {
      for (const std::string& name : option->get_lnames())
        printf("%s\t--%s\t%s\n", command->get_name().c_str(), name.c_str(),
               option->get_items_expected_max() > 0 ? "value" : "flag");
    }
  }
  return 0;
}
