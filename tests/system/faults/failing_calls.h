// The C library's, libcrypto's and C++'s functions, of which the n-th call fails when it is told
// to. The libraries' calls come here, because a program is searched before the libraries are.

#ifndef ZEMO_TESTS_SYSTEM_FAULTS_FAILING_CALLS_H
#define ZEMO_TESTS_SYSTEM_FAULTS_FAILING_CALLS_H

#include <cstddef>
#include <string>

struct Failure {
  const char* function = "";  // "malloc", "open64" ...; "SYS_execve" is one that goes by syscall()
  long n = 0;                 // which of its calls fails, counted from 1
  int error = 0;              // what errno is then
  bool lasting = false;       // every later call fails, too
};

// The calls that this thread makes while one lives are counted, and fail as `failure` says. So are
// those of processes that share its memory. Its pauses pass at once.
class Injected {
 public:
  explicit Injected(const Failure& failure);
  ~Injected();
  Injected(const Injected&) = delete;
  Injected& operator=(const Injected&) = delete;
};

// The next file that is opened has a lease on it, which is given back then.
void leaseNextFile(bool leased);

// For functions that a test defines itself: whether this call of `function` is to fail.
bool callFails(const char* function);

// Whether the failure of the latest Injected has happened.
bool injectedFailureHappened();

// The memory that this thread has got and not freed, in blocks.
long liveBlocks();

// What the library has written to the system log, "MODULE:LINE TEXT" and a line feed each. Kept in
// memory of its own, so that logging never fails.
const char* loggedText();
void clearLoggedText();

#endif
