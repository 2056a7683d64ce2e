// Functions of the C library, libcrypto and C++ whose n-th call fails on demand. The libraries call
// these because the dynamic linker searches the program before the libraries.

#ifndef ZEMO_TESTS_SYSTEM_FAULTS_FAILING_CALLS_H
#define ZEMO_TESTS_SYSTEM_FAULTS_FAILING_CALLS_H

#include <cstddef>
#include <string>

struct Failure {
  const char* function = "";  // "malloc", "open64" ...; "SYS_execve" is a call through syscall()
  long n = 0;                 // which of its calls fails, counted from 1
  int error = 0;              // what errno is then
  bool lasting = false;       // every later call also fails
};

// While an object exists, the calls of this thread, and of processes that share its memory, are
// counted and fail as `failure` says. Pauses end at once.
class Injected {
 public:
  explicit Injected(const Failure& failure);
  ~Injected();
  Injected(const Injected&) = delete;
  Injected& operator=(const Injected&) = delete;
};

// The next opened file has a lease, which is released when the file is opened.
void leaseNextFile(bool leased);

// For functions that a test defines itself: whether this call of `function` must fail.
bool callFails(const char* function);

// Whether the failure of the latest Injected has occurred.
bool injectedFailureHappened();

// The number of memory blocks that this thread has allocated and not freed.
long liveBlocks();

// The library's log lines, each as "MODULE:LINE TEXT" and a line feed. Stored in separate memory,
// so that logging never fails.
const char* loggedText();
void clearLoggedText();

#endif
