// Callers with peculiarities, each in a process of its own.

#ifndef ZEMO_TESTS_SUPPORT_CALLER_H
#define ZEMO_TESTS_SUPPORT_CALLER_H

#include <functional>
#include <future>
#include <string>
#include <thread>

// Runs `body` in a child process, which leads a process group of its own. Expectations that fail in
// it fail this test. A child that takes too long is killed with its group, because a call under
// test that hangs holds every other signal back.
void inCaller(const std::function<void()>& body);

// The same, for a body that is to be ended by a signal: its number, or 0 when none came.
int signalThatEnds(const std::function<void()>& body);

// Whether the program runs under a tool that gives child processes a copy of the memory.
bool underValgrind();

// Whether the program is built with a sanitizer that needs much memory.
extern const bool sanitized;

// Waits until something exists at `path`, but not for ever.
bool appears(const std::string& path);

// Ends the whole program when it lives too long: the call under test hangs.
class Watchdog {
 public:
  Watchdog();
  ~Watchdog();
  Watchdog(const Watchdog&) = delete;
  Watchdog& operator=(const Watchdog&) = delete;

 private:
  std::promise<void> _done;
  std::thread _thread;
};

// While it lives, descriptor `fd` leads to the file at `path`, or is closed for an empty `path`.
class Descriptor {
 public:
  explicit Descriptor(int fd, const std::string& path = "");
  ~Descriptor();
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;

 private:
  int _fd;
  int _saved;
};

// Makes the system call `number` fail with `error` in this process and its children, for ever.
void refuseSystemCall(int number, int error);

// The same, where the bits `mask` of the argument `index` are `value`.
void refuseSystemCall(int number, int error, int index, unsigned int mask, unsigned int value);

#endif
