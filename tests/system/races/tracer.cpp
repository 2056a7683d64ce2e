#include "tracer.h"

#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <sys/uio.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdint>
#include <cstring>
#include <map>
#include <set>
#include <stdexcept>

namespace {

// The index of the argument that is a path or a descriptor; -1: none.
struct Shape {
  int path;
  int descriptor;
};

Shape shapeOf(uint64_t number) {
  static const std::map<uint64_t, Shape> shapes = {
      {SYS_open, {0, -1}},       {SYS_stat, {0, -1}},      {SYS_lstat, {0, -1}},
      {SYS_access, {0, -1}},     {SYS_readlink, {0, -1}},  {SYS_openat, {1, -1}},
      {SYS_readlinkat, {1, -1}}, {SYS_faccessat, {1, -1}}, {SYS_newfstatat, {1, 0}},
      {SYS_statx, {1, 0}},       {SYS_read, {-1, 0}},      {SYS_pread64, {-1, 0}},
      {SYS_fstat, {-1, 0}},      {SYS_lseek, {-1, 0}},     {SYS_getdents64, {-1, 0}},
      {SYS_fcntl, {-1, 0}},      {SYS_close, {-1, 0}}};
  auto const found = shapes.find(number);
  return found == shapes.end() ? Shape{-1, -1} : found->second;
}

// The text at an address of another process, page by page, because the next page may not exist.
std::string textAt(pid_t process, uint64_t address) {
  constexpr uint64_t page = 4096;
  std::string text;
  while (text.size() < PATH_MAX) {
    char bytes[page];
    iovec const here = {bytes, page - address % page};
    // NOLINTNEXTLINE(performance-no-int-to-ptr): registers contain numbers
    iovec const there = {reinterpret_cast<void*>(address), here.iov_len};
    ssize_t const count = process_vm_readv(process, &here, 1, &there, 1, 0);
    if (count <= 0)
      break;
    const void* const end = memchr(bytes, '\0', static_cast<std::size_t>(count));
    if (end != nullptr)
      return text.append(bytes, static_cast<const char*>(end) - bytes);
    text.append(bytes, static_cast<std::size_t>(count));
    address += static_cast<uint64_t>(count);
  }
  return text;
}

void request(long result, const char* what) {
  // The process may have been killed meanwhile.
  if (result < 0 && errno != ESRCH)
    throw std::runtime_error(std::string("cannot trace: ") + what + ": " + strerror(errno));
}

volatile sig_atomic_t late = 0;

// Interrupts waiting after this many seconds, and repeatedly, in case waiting begins later.
class Watchdog {
 public:
  explicit Watchdog(int seconds) {
    late = 0;
    struct sigaction action = {};
    action.sa_handler = [](int) { late = 1; };
    (void)sigaction(SIGALRM, &action, nullptr);
    itimerval const timer = {{1, 0}, {seconds, 0}};
    (void)setitimer(ITIMER_REAL, &timer, nullptr);
  }
  ~Watchdog() {
    itimerval const none = {};
    (void)setitimer(ITIMER_REAL, &none, nullptr);
  }
  Watchdog(const Watchdog&) = delete;
  Watchdog& operator=(const Watchdog&) = delete;
};

class Tracing {
 public:
  Tracing(pid_t process, const std::string& start, const Visit& visit)
      : _process(process), _start(start), _visit(visit) {}

  Ending follow();

 private:
  void stopped(pid_t thread, int status);
  void atCall(pid_t thread);
  void enter(pid_t thread, const __ptrace_syscall_info& info);
  void leave(pid_t thread, int64_t result);
  std::string pathOf(pid_t thread, const __ptrace_syscall_info& info) const;
  void goOn(pid_t thread, int signal) const;

  pid_t _process;
  const std::string& _start;
  const Visit& _visit;
  std::map<int, std::string> _files;      // by descriptor
  std::map<pid_t, std::string> _opening;  // what each thread is opening
  std::set<pid_t> _known;                 // threads that have stopped before
  std::size_t _count = 0;
  bool _started = false;
  bool _visiting = true;
};

Ending Tracing::follow() {
  for (;;) {
    int status = 0;
    pid_t const thread = waitpid(-1, &status, __WALL);
    if (thread < 0) {
      if (errno != EINTR)
        throw std::runtime_error("cannot wait for the traced process");
      if (late == 0)
        continue;
      (void)kill(-_process, SIGKILL);
      (void)kill(_process, SIGKILL);
      while (waitpid(-1, &status, __WALL) > 0 || errno == EINTR) {
      }
      return {Ending::hung, 0};
    }
    if (WIFSTOPPED(status))
      stopped(thread, status);
    else if (thread == _process)
      return WIFEXITED(status) ? Ending{Ending::exited, WEXITSTATUS(status)}
                               : Ending{Ending::killed, WTERMSIG(status)};
  }
}

void Tracing::stopped(pid_t thread, int status) {
  constexpr int callStop = SIGTRAP | 0x80;
  int const signal = WSTOPSIG(status);
  bool const isNew = _known.insert(thread).second;
  if (signal == callStop) {
    atCall(thread);
    goOn(thread, 0);
  } else if (status >> 16 != 0 || (isNew && signal == SIGSTOP)) {
    goOn(thread, 0);  // an event, such as a new thread or another program
  } else {
    goOn(thread, signal);
  }
}

void Tracing::goOn(pid_t thread, int signal) const {
  request(ptrace(_visiting ? PTRACE_SYSCALL : PTRACE_CONT, thread, nullptr, signal), "going on");
}

void Tracing::atCall(pid_t thread) {
  __ptrace_syscall_info info = {};
  request(ptrace(PTRACE_GET_SYSCALL_INFO, thread, sizeof info, &info), "asking for the call");
  if (info.op == PTRACE_SYSCALL_INFO_ENTRY)
    enter(thread, info);
  else if (info.op == PTRACE_SYSCALL_INFO_EXIT)
    leave(thread, info.exit.rval);
}

void Tracing::enter(pid_t thread, const __ptrace_syscall_info& info) {
  Call const call = {static_cast<long>(info.entry.nr), pathOf(thread, info), thread};
  if (call.number == SYS_open || call.number == SYS_openat)
    _opening[thread] = call.path;
  _started = _started || isAtOrBelow(call.path, _start);
  if (_started && _visiting)
    _visiting = _visit(_count++, call);
}

void Tracing::leave(pid_t thread, int64_t result) {
  auto const opening = _opening.find(thread);
  if (opening == _opening.end())
    return;
  if (result >= 0)
    _files[static_cast<int>(result)] = opening->second;
  _opening.erase(opening);
}

std::string Tracing::pathOf(pid_t thread, const __ptrace_syscall_info& info) const {
  Shape const shape = shapeOf(info.entry.nr);
  std::string path;
  if (shape.path >= 0)
    path = textAt(thread, info.entry.args[shape.path]);
  if (!path.empty() || shape.descriptor < 0)
    return path;
  auto const file = _files.find(static_cast<int>(info.entry.args[shape.descriptor]));
  return file == _files.end() ? path : file->second;
}

[[noreturn]] void become(const std::function<int()>& work) {
  (void)setpgid(0, 0);  // so that its children can be killed with it
  (void)ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
  (void)raise(SIGSTOP);
  _exit(work());
}

}  // namespace

bool isAtOrBelow(const std::string& path, const std::string& directory) {
  return path.compare(0, directory.size(), directory) == 0 &&
         (path.size() == directory.size() || path[directory.size()] == '/');
}

Ending trace(const std::function<int()>& work, const std::string& start, const Visit& visit,
             int seconds) {
  pid_t const process = fork();
  if (process < 0)
    throw std::runtime_error("cannot make a process");
  if (process == 0)
    become(work);
  int status = 0;
  while (waitpid(process, &status, __WALL) < 0) {
  }
  if (!WIFSTOPPED(status))
    throw std::runtime_error("this process may not trace another");
  request(
      ptrace(PTRACE_SETOPTIONS, process, nullptr,
             PTRACE_O_TRACESYSGOOD | PTRACE_O_EXITKILL | PTRACE_O_TRACECLONE | PTRACE_O_TRACEEXEC),
      "setting options");
  Watchdog const watchdog(seconds);
  request(ptrace(PTRACE_SYSCALL, process, nullptr, 0), "going on");
  return Tracing(process, start, visit).follow();
}
