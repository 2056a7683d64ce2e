// open and read that fail as tests request. Test programs that link this use them instead of the C
// library's.

#ifndef ZEMO_TESTS_SUPPORT_DOUBLES_SCRIPTED_FILES_H
#define ZEMO_TESTS_SUPPORT_DOUBLES_SCRIPTED_FILES_H

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <vector>

// The results of the next calls of read. By default, the calls are those of the C library.
struct ScriptedReads {
  std::size_t mostBytes = SIZE_MAX;  // that one call returns
  int goodCalls = -1;                // that succeed before others fail; -1: all
  long goodBytes = -1;               // that calls return before others fail; -1: all
  int failingCalls = -1;             // that fail after that, until reads succeed again; -1: all
  int error = EIO;                   // of the failing calls
};
extern ScriptedReads scriptedReads;

// The flags of the last call of open.
extern int openFlags;
// The error numbers with which the next calls of open fail, in order.
extern std::vector<int> openErrors;
// True if every open fails because another process holds a lease on the file.
extern bool everyFileIsLeased;

#endif
