// The words and options that commands accept. The parser library is hidden behind this interface,
// because every file that includes it compiles it again.

#ifndef ZEMO_TOOLS_ARGUMENTS_ARGUMENTS_H
#define ZEMO_TOOLS_ARGUMENTS_ARGUMENTS_H

#include <functional>
#include <initializer_list>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace tool {

// The arguments of one command. Every operation adds one: `text` describes it for --help, `type`
// stands for its value there, and `target` receives the given value. `target` must exist until the
// command has run.
class Arguments {
 public:
  explicit Arguments(CLI::App& command) : _command(command) {}

  // All words that do not belong to an option. If they are required, there must be at least one.
  void words(const char* name, std::vector<std::string>& target, const char* text);
  void requiredWords(const char* name, std::vector<std::string>& target, const char* text);

  // One required word.
  void word(const char* name, std::string& target, const char* text);

  void flag(const char* name, bool& target, const char* text);

  // An option with one value. The previous value of `target` is shown as the default.
  void value(const char* name, const char* type, std::string& target, const char* text);
  void value(const char* name, const char* type, std::optional<std::string>& target,
             const char* text);
  void requiredValue(const char* name, const char* type, std::string& target, const char* text);

  // One of `choices`; `target` is the default, or empty.
  void choice(const char* name, std::initializer_list<const char*> choices, std::string& target,
              const char* text);

  // A decimal number in this range.
  void number(const char* name, unsigned& target, unsigned least, unsigned most, const char* text);

  // All words up to the next option.
  void values(const char* name, const char* type, std::vector<std::string>& target,
              const char* text);

  // An option that may be repeated, with one value each time.
  void repeated(const char* name, const char* type, std::vector<std::string>& target,
                const char* text);

  // The same, but each value is a list separated by commas.
  void list(const char* name, const char* type, std::vector<std::string>& target, const char* text);

 private:
  CLI::App& _command;
};

// The command that the arguments select.
struct Chosen {
  std::string command;       // empty for help and the version
  std::function<int()> run;  // returns the exit status
};

// The program, which commands are added to.
class Commands {
 public:
  // `text` describes the program for --help, which ends with `more`.
  Commands(const char* program, const char* version, const char* text, const char* more);
  Commands(Commands&& other) noexcept;
  ~Commands();

  // Adds a command. For --help, `text` describes it in one line. Each line of `more` is a
  // paragraph, except lines that begin with a blank, which are examples. If the arguments name the
  // command, parsing them selects `run`; nothing is done until that is called.
  Arguments add(const char* name, const char* text, const char* more, std::function<int()> run);

  // Parses main()'s arguments. Throws UsageError if they are wrong.
  Chosen parse(int argc, const char* const* argv);

  struct Option {
    std::string command;
    std::string name;  // the long name, without dashes
    bool takesValue;
  };

  // The options of all commands.
  std::vector<Option> options() const;

 private:
  std::unique_ptr<CLI::App> _program;
  std::unique_ptr<Chosen> _chosen;  // set by the parser
};

}  // namespace tool

#endif
