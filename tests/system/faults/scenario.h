// An operation whose calls fail one after another, and what it is documented to do then.

#ifndef ZEMO_TESTS_SYSTEM_FAULTS_SCENARIO_H
#define ZEMO_TESTS_SYSTEM_FAULTS_SCENARIO_H

#include <functional>
#include <string>
#include <vector>

#include "failing_calls.h"

// One run of an operation, with or without a failure.
class Attempt {
 public:
  explicit Attempt(const Failure* failure);

  // Runs `operation`, with the failure if there is one. What throws std::bad_alloc has the outcome
  // "bad_alloc"; then this is false.
  bool operator()(const std::function<void()>& operation);

  // Adds to the outcome.
  void say(const std::string& text);
  void sayWhether(bool result) { say(result ? "true" : "false"); }

  // A file that is not what its list says has been called intact: adds " PATH called intact" to the
  // outcome. Only what is documented with these words stands for such an outcome.
  void calledIntact(const std::string& path);

 private:
  const Failure* _failure;
};

// What happens when a call of one of some functions fails.
struct Documented {
  std::string functions;  // separated by blanks; with each of them, the outcome must come up
  // What was said and, behind " | ", what was logged, lines joined by "; ": an extended
  // regular expression for the whole. Brackets are written < and >. It never stands for the outcome
  // without a failure, which is "same".
  std::string outcome;
  int error = anyError;  // other entries then do not count for this one

  static constexpr int anyError = -1;
};

struct Scenario {
  std::string name;
  // Prepares, attempts the operation, and says what came out.
  std::function<void(Attempt&)> run;
  std::string outcome;  // without a failure, literally
  // The outcomes with one. What is not named here must not be called, but for what all scenarios
  // have in common, see scenario.cpp.
  std::vector<Documented> failures;
};

// In outcomes, `name` stands for the path `directory`.
void abbreviate(const std::string& directory, const std::string& name);

// Runs the scenario with every call failing with every error that fits, and compares.
void fail(const Scenario& scenario);

// The failures that have happened in all scenarios so far.
long failureCount();
// The functions that could fail, and have not in any scenario so far, each behind a blank.
std::string neverFailed();

#endif
