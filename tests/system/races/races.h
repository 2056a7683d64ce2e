// An operation of the library, run again and again, each time with another change to a file before
// another of its system calls.

#ifndef ZEMO_TESTS_SYSTEM_RACES_RACES_H
#define ZEMO_TESTS_SYSTEM_RACES_RACES_H

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "changes.h"
#include "support/private_root.h"
#include "tracer.h"

// What came of the operation: the exit status of the process that it runs in.
enum Outcome : int {
  intact = 50,
  changed,  // it differs from what it should be
  failed,   // it could not be checked, loaded, read
  misled,   // loaded, with other entries than the signed ones
  leaked,   // a descriptor was left open
};

// When a change is made, as seen from the object that is changed: before the operation's first look
// at it; after that, but before it opens the object, or reads the link, so that all content that it
// reads is the new one; later, but before the last look; or after that.
enum Moment { before, examined, between, after };

struct Operation {
  std::string start;              // calls are counted from the first one that names it or a member
  std::function<void()> prepare;  // makes all files, in place of what an earlier run has left
  std::function<int()> work;      // returns the Outcome
  int unchanged = intact;         // the Outcome without any change
  // For work that becomes another program: the Outcome that its exit status stands for; -1: none.
  std::function<int(int status)> meaning = nullptr;
};

// When a change was made, in an operation that makes these calls as long as nothing changes.
struct Situation {
  Moment moment;
  std::size_t number;  // of the call before which it was made, or would have been
  const std::vector<Call>& calls;
};

using IsRight = std::function<bool(const Situation& situation, int outcome)>;

// What is bad before its content is looked at is never intact. From then on it is anything.
bool isNoticed(const Situation& situation, int outcome);

// There is a result, which is not made up of something else.
bool isAnything(const Situation& situation, int outcome);

// The change makes no difference.
bool isHarmless(const Situation& situation, int outcome);

class RacesTest : public PrivateRootTest {
 protected:
  // How many of the combinations the ordinary tests try: one in so many.
  enum Sample : std::size_t { all = 1, some = 11, few = 211 };

  explicit RacesTest(Sample sample = some);

  void SetUp() override;
  void TearDown() override;

  // Makes each of the changes to `object` before each call. What comes after the last look at it
  // does not count; `isRight` decides about the others.
  void race(const Operation& operation, const std::string& object,
            const std::vector<Change>& changes, const IsRight& isRight = isNoticed);

  // Makes each of the changes before each call, and prepares all files anew before a later one.
  void raceAndPutBack(const Operation& operation, const std::string& object,
                      const std::vector<Change>& changes, const IsRight& isRight = isAnything);

  // Prepares all files and lets the operation run, which is stopped before each call for `visit`.
  Ending run(const Operation& operation, const std::string& object, const Visit& visit);

  // Whether the sample leaves out the next combination.
  bool isSkippedNow();

  // Removes a directory's members.
  static void clear(const std::string& directory);

  // Lets what changed last become older than the clock of change times can tell: what changed just
  // now is read again, and every run is to make the same calls.
  static void letATickPass();

 private:
  std::vector<Call> callsOf(const Operation& operation, const std::string& object);

  std::size_t _oneIn;
  std::size_t _runs = 0;
  std::size_t _calls = 0;
  std::size_t _combinations = 0;
};

// Calls `work` in a process without the right to read files against their permissions; tells, too,
// when it leaves a descriptor open.
int withoutPrivilege(const std::function<int()>& work);

#endif
