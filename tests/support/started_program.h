// A program that runs while the test continues, so that the test can send it signals and give it a
// terminal.

#ifndef ZEMO_TESTS_SUPPORT_STARTED_PROGRAM_H
#define ZEMO_TESTS_SUPPORT_STARTED_PROGRAM_H

#include <sys/types.h>

#include <chrono>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "support/program.h"
#include "support/temporary_directory.h"

// A pseudo-terminal of 80 columns that passes bytes on unchanged.
class Terminal {
 public:
  Terminal();
  ~Terminal();
  Terminal(const Terminal&) = delete;
  Terminal& operator=(const Terminal&) = delete;

  const std::string& path() const { return _path; }

  // Types `text` as a user would; "\x03" is Ctrl-C.
  void type(const std::string& text) const;

  // Reads what the program has written, waiting up to this many milliseconds for it.
  void read(int milliseconds);

  // Everything read so far.
  const std::string& screen() const { return _screen; }

 private:
  int _master;
  int _slave;  // kept open; otherwise the end of the program would look like an error
  std::string _path;
  std::string _screen;
};

class StartedProgram {
 public:
  enum Stream { file, terminal };

  // Starts the program with these words. Standard output and standard error are files or the
  // terminal; if either is the terminal, so is standard input. Throws if the program cannot be
  // started.
  explicit StartedProgram(const std::vector<std::string>& words, Stream output = file,
                          Stream errors = file);
  ~StartedProgram();  // kills it if it still runs
  StartedProgram(const StartedProgram&) = delete;
  StartedProgram& operator=(const StartedProgram&) = delete;

  pid_t process() const { return _process; }
  void signal(int number) const;
  Terminal& screen() { return *_terminal; }

  // True if the program ends within this many seconds.
  bool endsWithin(double seconds);

  // The program's output, after its end, without what went to the terminal.
  ProgramRun run() const;

 private:
  TemporaryDirectory _streams;
  std::unique_ptr<Terminal> _terminal;
  pid_t _process = 0;
  bool _ended = false;
  int _status = 0;
};

// Waits up to ten seconds until `condition` holds; false if it does not.
template <typename Condition>
bool eventually(Condition condition) {
  auto const end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
  while (!condition()) {
    if (std::chrono::steady_clock::now() > end)
      return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  return true;
}

#endif
