// Everything that a caller may ask of the library, in one call or all at once.

#ifndef ZEMO_TESTS_SYSTEM_CALLERS_WHOLE_LIBRARY_H
#define ZEMO_TESTS_SYSTEM_CALLERS_WHOLE_LIBRARY_H

#include <ostream>

#include "shared_set.h"

// How a call of the library ended: as it does where nothing is wrong, as documented for one that
// cannot do its work, or in a way that no caller may ever meet.
enum class Outcome { right, failed, wrong };
std::ostream& operator<<(std::ostream& out, Outcome outcome);

class WholeLibraryTest : public SharedSetTest {
 protected:
  // What is done between a call and the judgement of its results.
  using Afterwards = void (*)();
  static void nothing() {}

  // SelfCheckFiles.
  static Outcome selfCheckFiles(Afterwards afterwards = nothing);

  // FileList::loadList with or without signatures, then FileList::check with a hook.
  static Outcome loadAndCheck(bool verify, Afterwards afterwards = nothing);

  // calculateHash.
  static Outcome digest();

  // All of these and VLIBExecl; no descriptor is left open.
  static void expectRightResults();
};

// Whether this process can take `account`: not in a user namespace with one account only.
bool mayBecome(unsigned int account);

// An account that has no process.
constexpr unsigned int emptyAccount = 64321;

#endif
