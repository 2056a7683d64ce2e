// Callers with unusual properties, each in its own process.

#ifndef ZEMO_TESTS_SUPPORT_CALLER_H
#define ZEMO_TESTS_SUPPORT_CALLER_H

#include <functional>
#include <future>
#include <string>
#include <thread>

// Runs `body` in a child process that leads its own process group. Expectations that fail in it
// fail this test. A child that takes too long is killed with its group, because a call under test
// that hangs holds back every other signal.
void inCaller(const std::function<void()>& body);

// The same for a body that a signal should end. Returns the signal's number, or 0 if none came.
int signalThatEnds(const std::function<void()>& body);

// True if the program runs under a tool that gives child processes a copy of the memory.
bool underValgrind();

// True if the program is built with a sanitizer that needs much memory.
extern const bool sanitized;

// Waits until something exists at `path`; false if that takes too long.
bool appears(const std::string& path);

// Ends the whole program if it runs for too long because the call under test hangs.
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

// While it exists, descriptor `fd` refers to the file at `path`, or is closed if `path` is empty.
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

// Makes the system call `number` fail with `error` in this process and its children, permanently.
void refuseSystemCall(int number, int error);

// The same, but only if the bits `mask` of the argument `index` are `value`.
void refuseSystemCall(int number, int error, int index, unsigned int mask, unsigned int value);

#endif
