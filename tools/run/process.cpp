#include "run/process.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>

#include "io/descriptors.h"
#include "io/exit_status.h"

namespace tool {
namespace {

[[noreturn]] void cannotRun(const Command& command, int error) {
  throw Failure(STATUS_NOT_LOADED,
                withReason("cannot run " + inQuotes(command.words.at(0)), error));
}

class FileActions {
 public:
  FileActions() { posix_spawn_file_actions_init(&_actions); }
  ~FileActions() { posix_spawn_file_actions_destroy(&_actions); }
  FileActions(const FileActions&) = delete;
  FileActions& operator=(const FileActions&) = delete;

  // These calls fail only for lack of memory. They are checked because, with a step missing, the
  // program would get our streams.
  void null(int descriptor, int direction) {
    check(posix_spawn_file_actions_addopen(&_actions, descriptor, "/dev/null", direction, 0));
  }
  void duplicate(int from, int to) { check(posix_spawn_file_actions_adddup2(&_actions, from, to)); }
  const posix_spawn_file_actions_t* get() const { return &_actions; }

 private:
  static void check(int error) {
    if (error != 0)
      throw std::bad_alloc();
  }

  posix_spawn_file_actions_t _actions{};
};

std::vector<std::string> environmentFor(const Command& command) {
  if (command.cleanEnvironment)
    return {"PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin", "LC_ALL=C"};
  std::vector<std::string> variables;
  if (!command.callersLocale)
    variables.emplace_back("LC_ALL=C");
  for (char** variable = environ; *variable != nullptr; ++variable) {
    bool const locale =
        strncmp(*variable, "LC_ALL=", 7) == 0 || strncmp(*variable, "LANGUAGE=", 9) == 0;
    if (!locale || command.callersLocale)
      variables.emplace_back(*variable);
  }
  return variables;
}

std::vector<char*> pointersTo(std::vector<std::string>& words) {
  std::vector<char*> pointers;
  pointers.reserve(words.size() + 1);
  for (std::string& word : words)
    pointers.push_back(word.data());
  pointers.push_back(nullptr);
  return pointers;
}

int waitFor(pid_t child) {
  int status = 0;
  while (waitpid(child, &status, 0) < 0) {
    if (errno != EINTR)
      return 255;  // something else has reaped it
  }
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

}  // namespace

Outcome run(const Command& command) {
  std::array<int, 2> ends{};
  if (pipe2(ends.data(), O_CLOEXEC) != 0)
    cannotRun(command, errno);
  Descriptor reading(ends[0]);
  Descriptor writing(ends[1]);
  // dup2() onto the same number would leave the descriptor to be closed when the program starts.
  if (writing.get() == command.captured) {
    Descriptor other(fcntl(writing.get(), F_DUPFD_CLOEXEC, command.captured + 1));
    if (other.get() < 0)
      cannotRun(command, errno);
    writing = std::move(other);
  }

  FileActions actions;
  actions.null(0, O_RDONLY);
  if (command.captured != 1)
    actions.null(1, O_WRONLY);
  if (!command.showErrors && command.captured != 2)
    actions.null(2, O_WRONLY);
  actions.duplicate(writing.get(), command.captured);

  std::vector<std::string> words = command.words;
  std::vector<std::string> variables = environmentFor(command);
  pid_t child = 0;
  int const error = posix_spawnp(&child, words.at(0).c_str(), actions.get(), nullptr,
                                 pointersTo(words).data(), pointersTo(variables).data());
  if (error != 0)
    cannotRun(command, error);
  writing.close();
  Outcome outcome;
  int const unread =
      readBlocks(reading.get(), [&](std::string_view block) { outcome.output += block; });
  reading.close();  // a program that writes more then ends instead of blocking
  outcome.status = waitFor(child);
  if (unread != 0)
    throw Failure(STATUS_NOT_LOADED,
                  withReason("cannot read the output of " + inQuotes(words.at(0)), unread));
  return outcome;
}

}  // namespace tool
