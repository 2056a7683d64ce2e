// All calls of the library that a caller may make, one by one or all at once.

#ifndef ZEMO_TESTS_SYSTEM_CALLERS_WHOLE_LIBRARY_H
#define ZEMO_TESTS_SYSTEM_CALLERS_WHOLE_LIBRARY_H

#include <ostream>

#include "shared_set.h"

// How a call of the library ended: as usual, with a documented failure, or in a way that no caller
// may ever see.
enum class Outcome { right, failed, wrong };
std::ostream& operator<<(std::ostream& out, Outcome outcome);

class WholeLibraryTest : public SharedSetTest {
 protected:
  // Runs between a call and the comparison of its results.
  using Afterwards = void (*)();
  static void nothing() {}

  // SelfCheckFiles.
  static Outcome selfCheckFiles(Afterwards afterwards = nothing);

  // FileList::loadList with or without signatures, then FileList::check with a hook.
  static Outcome loadAndCheck(bool verify, Afterwards afterwards = nothing);

  // calculateHash.
  static Outcome digest();

  // All of these and VLIBExecl; all descriptors are closed afterwards.
  static void expectRightResults();
};

// Whether this process can switch to `account`: impossible in a user namespace with only one
// account.
bool mayBecome(unsigned int account);

// An account without processes.
constexpr unsigned int emptyAccount = 64321;

#endif
