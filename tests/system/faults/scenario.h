// An operation whose calls fail one after another, and its documented outcomes.

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

  // Runs `operation`, with the failure if there is one. If it throws std::bad_alloc, the outcome is
  // "bad_alloc" and the result false.
  bool operator()(const std::function<void()>& operation);

  // Adds to the outcome.
  void say(const std::string& text);
  void sayWhether(bool result) { say(result ? "true" : "false"); }

  // Reports that a tampered file was called intact: adds " PATH called intact" to the outcome. Only
  // documented outcomes that contain these words allow it.
  void calledIntact(const std::string& path);

 private:
  const Failure* _failure;
};

// The outcome if a call of one of these functions fails.
struct Documented {
  std::string functions;  // separated by blanks; the outcome must occur with each of them
  // The result and, after " | ", the log lines, joined by "; ": an extended regular expression for
  // the whole. < and > replace brackets. It never matches the outcome without a failure, which is
  // "same".
  std::string outcome;
  int error = anyError;  // if set, other entries do not apply to this error

  static constexpr int anyError = -1;
};

struct Scenario {
  std::string name;
  // Prepares and attempts the operation, and adds its result to the outcome.
  std::function<void(Attempt&)> run;
  std::string outcome;  // without a failure, literally
  // The outcomes with a failure. The operation must not call functions that are missing here,
  // except those that all scenarios have in common (see scenario.cpp).
  std::vector<Documented> failures;
};

// Replaces the path `directory` with `name` in outcomes.
void abbreviate(const std::string& directory, const std::string& name);

// Runs the scenario with every call failing with every suitable error, and compares the outcomes.
void fail(const Scenario& scenario);

// The number of failures in all scenarios so far.
long failureCount();
// The functions that could fail but have not done so in any scenario yet, each after a blank.
std::string neverFailed();

#endif
