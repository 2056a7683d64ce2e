// Runs an operation of the library again and again, each time with a different change to a file
// before a different system call.

#ifndef ZEMO_TESTS_SYSTEM_RACES_RACES_H
#define ZEMO_TESTS_SYSTEM_RACES_RACES_H

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "changes.h"
#include "support/private_root.h"
#include "tracer.h"

// The outcome of the operation: the exit status of the process that it runs in.
enum Outcome : int {
  intact = 50,
  changed,  // reported as changed
  failed,   // reported that checking, loading or reading failed
  misled,   // loaded entries that differ from the signed ones
  leaked,   // left a descriptor open
};

// The moment of a change, relative to the operation's looks at the changed object: before the first
// look; later, but before the operation opens the object or reads the link, so that all content
// that it reads is new; later, but before the last look; or after the last look.
enum Moment { before, examined, between, after };

struct Operation {
  std::string start;              // the first counted call names this path or a member
  std::function<void()> prepare;  // makes all files, and removes those of an earlier run
  std::function<int()> work;      // returns the Outcome
  int unchanged = intact;         // the Outcome without any change
  // For work that executes another program: the Outcome for its exit status, or -1 for none.
  std::function<int(int status)> meaning = nullptr;
};

// When a change was made, in an operation that makes these calls if nothing changes.
struct Situation {
  Moment moment;
  std::size_t number;  // of the next call after the change
  const std::vector<Call>& calls;
};

using IsRight = std::function<bool(const Situation& situation, int outcome)>;

// A change before the operation reads the content is never called intact. A later one allows any
// result.
bool isNoticed(const Situation& situation, int outcome);

// Accepts every outcome except `misled`.
bool isAnything(const Situation& situation, int outcome);

// The change makes no difference.
bool isHarmless(const Situation& situation, int outcome);

class RacesTest : public PrivateRootTest {
 protected:
  // The share of the combinations that the ordinary tests try: one in this many.
  enum Sample : std::size_t { all = 1, some = 11, few = 211 };

  explicit RacesTest(Sample sample = some);

  void SetUp() override;
  void TearDown() override;

  // Makes each of the changes to `object` before each call. Changes after the last look at it do
  // not count; `isRight` judges the outcome of the others.
  void race(const Operation& operation, const std::string& object,
            const std::vector<Change>& changes, const IsRight& isRight = isNoticed);

  // Makes each of the changes before each call, and restores all files before a later one.
  void raceAndPutBack(const Operation& operation, const std::string& object,
                      const std::vector<Change>& changes, const IsRight& isRight = isAnything);

  // Prepares all files and runs the operation, stopping before each call for `visit`.
  Ending run(const Operation& operation, const std::string& object, const Visit& visit);

  // Whether the sample leaves out the next combination.
  bool isSkippedNow();

  // Removes a directory's members.
  static void clear(const std::string& directory);

  // Waits until the last change is older than the resolution of change times: recently changed
  // files are read again, but every run must make the same calls.
  static void letATickPass();

 private:
  std::vector<Call> callsOf(const Operation& operation, const std::string& object);

  std::size_t _oneIn;
  std::size_t _runs = 0;
  std::size_t _calls = 0;
  std::size_t _combinations = 0;
};

// Calls `work` in a process that cannot override file permissions; also reports if it leaves a
// descriptor open.
int withoutPrivilege(const std::function<int()>& work);

#endif
