// The words and options that commands take. The library that parses them is kept behind this,
// because it is compiled anew in every file that includes it.

#ifndef ZEMO_TOOLS_COMMON_ARGUMENTS_H
#define ZEMO_TOOLS_COMMON_ARGUMENTS_H

#include <cstddef>
#include <functional>
#include <initializer_list>
#include <optional>
#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace tool {

// The words of main()'s arguments, without the program's name, so that the parser leaves them
// whole.
std::vector<std::string> guarded(int argc, const char* const* argv);

// `message`, which may quote such words, for people.
std::string withoutGuards(std::string message);

// The text of --help for the program or one of its commands, which is called `name`, in lines of at
// most `width` columns, or of 40 where there are fewer. Lines of its examples stay as they are.
std::string helpText(const CLI::App& command, const std::string& name, std::size_t width);

// What one command takes. Every operation adds something; `text` describes it for --help, `type`
// stands there for its value, and `target`, which has to live until the command has run, gets what
// is given.
class Arguments {
 public:
  explicit Arguments(CLI::App& command) : _command(command) {}

  // All words that belong to no option; of those that are required there must be one.
  void words(const char* name, std::vector<std::string>& target, const char* text);
  void requiredWords(const char* name, std::vector<std::string>& target, const char* text);

  // One word, which must be there.
  void word(const char* name, std::string& target, const char* text);

  void flag(const char* name, bool& target, const char* text);

  // An option with one value. What `target` holds before is shown as its default.
  void value(const char* name, const char* type, std::string& target, const char* text);
  void value(const char* name, const char* type, std::optional<std::string>& target,
             const char* text);
  void requiredValue(const char* name, const char* type, std::string& target, const char* text);

  // One of `choices`.
  void choice(const char* name, std::initializer_list<const char*> choices, std::string& target,
              const char* text);

  // A decimal number in this range.
  void number(const char* name, unsigned& target, unsigned least, unsigned most, const char* text);

  // All words up to the next option.
  void values(const char* name, const char* type, std::vector<std::string>& target,
              const char* text);

  // One value each time that it is given.
  void repeated(const char* name, const char* type, std::vector<std::string>& target,
                const char* text);

  // The same, and each value is a list with commas.
  void list(const char* name, const char* type, std::vector<std::string>& target, const char* text);

 private:
  CLI::App& _command;
};

// The command that the arguments ask for, ready to run; it returns the exit status.
using Chosen = std::function<int()>;

// The program to which commands are added.
class Commands {
 public:
  Commands(CLI::App& program, Chosen& chosen) : _program(program), _chosen(chosen) {}

  // Adds a command. For --help, `text` describes it in a line, and each line of `more` is a
  // paragraph, but those that begin with a blank, which are examples. When the arguments name it,
  // parsing them makes `run` the chosen one; nothing is done before that is called.
  Arguments add(const char* name, const char* text, const char* more, Chosen run);

 private:
  CLI::App& _program;
  Chosen& _chosen;
};

}  // namespace tool

#endif
