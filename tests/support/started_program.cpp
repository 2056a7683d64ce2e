#include "support/started_program.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <stdexcept>

#include "support/files.h"

namespace {

void require(bool success, const char* what) {
  if (!success)
    throw std::runtime_error(what);
}

}  // namespace

Terminal::Terminal() : _master(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC)), _slave(-1) {
  std::array<char, 100> name{};
  require(_master >= 0 && grantpt(_master) == 0 && unlockpt(_master) == 0 &&
              ptsname_r(_master, name.data(), name.size()) == 0,
          "cannot make a terminal");
  _path = name.data();
  _slave = open(name.data(), O_RDWR | O_NOCTTY | O_CLOEXEC);
  termios settings = {};
  require(_slave >= 0 && tcgetattr(_slave, &settings) == 0, "cannot open the terminal");
  settings.c_oflag &= ~static_cast<tcflag_t>(OPOST);
  settings.c_lflag &= ~static_cast<tcflag_t>(ECHO);
  winsize size = {};
  size.ws_row = 24;
  size.ws_col = 80;
  require(tcsetattr(_slave, TCSANOW, &settings) == 0 && ioctl(_slave, TIOCSWINSZ, &size) == 0,
          "cannot set the terminal");
}

Terminal::~Terminal() {
  close(_slave);
  close(_master);
}

void Terminal::type(const std::string& text) const {
  require(write(_master, text.data(), text.size()) == static_cast<ssize_t>(text.size()),
          "cannot type");
}

void Terminal::read(int milliseconds) {
  pollfd waiting = {_master, POLLIN, 0};
  std::array<char, 65536> buffer{};
  while (poll(&waiting, 1, milliseconds) == 1 && (waiting.revents & POLLIN) != 0) {
    ssize_t const length = ::read(_master, buffer.data(), buffer.size());
    if (length <= 0)
      return;
    _screen.append(buffer.data(), static_cast<std::size_t>(length));
    milliseconds = 0;
  }
}

StartedProgram::StartedProgram(const std::vector<std::string>& words, Stream output,
                               Stream errors) {
  std::vector<std::string> copies = words;
  std::vector<char*> arguments;
  for (std::string& word : copies)
    arguments.push_back(word.data());
  arguments.push_back(nullptr);

  posix_spawn_file_actions_t actions;
  posix_spawnattr_t attributes;
  posix_spawn_file_actions_init(&actions);
  posix_spawnattr_init(&attributes);
  std::string input = "/dev/null";
  if (output == terminal || errors == terminal) {
    _terminal = std::make_unique<Terminal>();
    input = _terminal->path();
    // Ctrl-C comes from the first terminal that the leader of a session opens.
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSID);
  }
  int const create = O_WRONLY | O_CREAT | O_TRUNC;
  posix_spawn_file_actions_addopen(&actions, 0, input.c_str(), O_RDWR, 0);
  auto const open = [&](int descriptor, Stream stream, const std::string& name) {
    if (stream == terminal)
      posix_spawn_file_actions_adddup2(&actions, 0, descriptor);
    else
      posix_spawn_file_actions_addopen(&actions, descriptor, name.c_str(), create, 0600);
  };
  open(1, output, _streams / "out");
  open(2, errors, _streams / "err");
  int const error =
      posix_spawn(&_process, words.at(0).c_str(), &actions, &attributes, arguments.data(), environ);
  posix_spawnattr_destroy(&attributes);
  posix_spawn_file_actions_destroy(&actions);
  require(error == 0, "cannot start the program");
}

StartedProgram::~StartedProgram() {
  if (_ended)
    return;
  kill(_process, SIGKILL);
  waitpid(_process, nullptr, 0);
}

void StartedProgram::signal(int number) const {
  require(kill(_process, number) == 0, "cannot send the signal");
}

bool StartedProgram::endsWithin(double seconds) {
  auto const end = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
  for (;;) {
    if (_terminal != nullptr)
      _terminal->read(0);
    pid_t const ended = waitpid(_process, &_status, WNOHANG);
    require(ended >= 0 || errno == EINTR, "cannot wait for the program");
    if (ended == _process)
      break;
    if (std::chrono::steady_clock::now() > end)
      return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
  _ended = true;
  if (_terminal != nullptr)
    _terminal->read(0);
  return true;
}

ProgramRun StartedProgram::run() const {
  require(_ended, "the program still runs");
  ProgramRun run;
  run.status = WIFEXITED(_status) ? WEXITSTATUS(_status) : 128 + WTERMSIG(_status);
  auto const read = [](const std::string& path) {
    return access(path.c_str(), F_OK) == 0 ? readFile(path) : "";
  };
  run.output = read(_streams / "out");
  run.errors = read(_streams / "err");
  return run;
}
