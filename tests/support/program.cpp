#include "support/program.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <stdexcept>

#include "support/files.h"
#include "support/temporary_directory.h"

ProgramRun runProgram(const std::vector<std::string>& words, const std::string& input) {
  TemporaryDirectory const streams;
  writeFile(streams / "in", input);
  std::vector<std::string> copies = words;
  std::vector<char*> arguments;
  for (std::string& word : copies)
    arguments.push_back(word.data());
  arguments.push_back(nullptr);

  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  int const create = O_WRONLY | O_CREAT | O_TRUNC;
  posix_spawn_file_actions_addopen(&actions, 0, (streams / "in").c_str(), O_RDONLY, 0);
  posix_spawn_file_actions_addopen(&actions, 1, (streams / "out").c_str(), create, 0600);
  posix_spawn_file_actions_addopen(&actions, 2, (streams / "err").c_str(), create, 0600);
  pid_t child = 0;
  int const error =
      posix_spawn(&child, words.at(0).c_str(), &actions, nullptr, arguments.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  if (error != 0)
    throw std::runtime_error("cannot run " + words.at(0));
  int status = 0;
  while (waitpid(child, &status, 0) < 0) {
    if (errno != EINTR)
      throw std::runtime_error("cannot wait for " + words.at(0));
  }
  ProgramRun run;
  run.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  run.output = readFile(streams / "out");
  run.errors = readFile(streams / "err");
  return run;
}

std::vector<std::string> linesOf(const std::string& text) {
  std::vector<std::string> lines;
  std::size_t start = 0;
  while (start < text.size()) {
    std::size_t const end = std::min(text.find('\n', start), text.size());
    lines.push_back(text.substr(start, end - start));
    start = end + 1;
  }
  return lines;
}
