// A program that runs while the test goes on: to send it signals, and to give it a terminal.

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

// A pseudo-terminal of 80 columns that writes bytes as they are.
class Terminal {
 public:
  Terminal();
  ~Terminal();
  Terminal(const Terminal&) = delete;
  Terminal& operator=(const Terminal&) = delete;

  const std::string& path() const { return _path; }

  // What somebody types; "\x03" is Ctrl-C.
  void type(const std::string& text) const;

  // Takes in what the program has written; waits for it for up to so many milliseconds.
  void read(int milliseconds);

  // All that was read.
  const std::string& screen() const { return _screen; }

 private:
  int _master;
  int _slave;  // held open, or the end of the program would look like an error
  std::string _path;
  std::string _screen;
};

class StartedProgram {
 public:
  enum Stream { file, terminal };

  // Starts the program with these words. Standard output and error are files or the terminal, which
  // is standard input, too, if one of them is it. Throws when it cannot be started.
  explicit StartedProgram(const std::vector<std::string>& words, Stream output = file,
                          Stream errors = file);
  ~StartedProgram();  // kills it if it still runs
  StartedProgram(const StartedProgram&) = delete;
  StartedProgram& operator=(const StartedProgram&) = delete;

  pid_t process() const { return _process; }
  void signal(int number) const;
  Terminal& screen() { return *_terminal; }

  // True when the program has ended within so many seconds.
  bool endsWithin(double seconds);

  // What came out of it, after its end; what went to the terminal is not in it.
  ProgramRun run() const;

 private:
  TemporaryDirectory _streams;
  std::unique_ptr<Terminal> _terminal;
  pid_t _process = 0;
  bool _ended = false;
  int _status = 0;
};

// Waits until `condition` holds, for ten seconds at most; false if it does not by then.
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
