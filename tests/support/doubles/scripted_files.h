// open and read that fail as tests say: test programs that link this have them in the place of the
// C library's own.

#ifndef ZEMO_TESTS_SUPPORT_DOUBLES_SCRIPTED_FILES_H
#define ZEMO_TESTS_SUPPORT_DOUBLES_SCRIPTED_FILES_H

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <vector>

// How the next calls of read go. Without a change, they are those of the C library.
struct ScriptedReads {
  std::size_t mostBytes = SIZE_MAX;  // that one call gives
  int goodCalls = -1;                // that succeed before others fail; -1: all
  long goodBytes = -1;               // that calls give before others fail; -1: all
  int failingCalls = -1;             // that fail then, until reads succeed again; -1: all
  int error = EIO;                   // with which they fail
};
extern ScriptedReads scriptedReads;

// The error numbers with which the next calls of open fail, the first one first.
extern std::vector<int> openErrors;
// Whether every open fails because another process has a lease on the file.
extern bool everyFileIsLeased;

#endif
