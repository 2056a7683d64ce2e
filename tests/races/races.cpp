#include "races/races.h"

#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <iostream>

#include "support/files.h"

namespace {

std::string parentOf(const std::string& path) {
  return path.substr(0, path.rfind('/'));
}

// A directory is read to find its members, which is a look at each of them.
bool looksAt(const Call& call, const std::string& object) {
  return isAtOrBelow(call.path, object) ||
         (call.number == SYS_getdents64 && call.path == parentOf(object));
}

// Where an operation looks at an object.
struct Looks {
  std::size_t first = 0;
  std::size_t last = 0;
};

Looks looksIn(const std::vector<Call>& calls, const std::string& object) {
  Looks looks = {calls.size(), 0};
  for (std::size_t number = 0; number < calls.size(); ++number) {
    // A program that is run may look at everything.
    bool const runsProgram = calls[number].number == SYS_clone;
    if (!looksAt(calls[number], object) && !runsProgram)
      continue;
    looks.first = std::min(looks.first, number);
    // Closing is no look.
    if (calls[number].number != SYS_close)
      looks.last = number;
  }
  return looks;
}

std::string textOf(const Ending& ending) {
  static const char* const outcomes[] = {"intact", "changed", "failed", "misled", "leaked"};
  if (ending.kind == Ending::hung)
    return "hung";
  std::string const value = std::to_string(ending.value);
  if (ending.kind == Ending::killed)
    return "ended by signal " + value;
  if (ending.value < intact || ending.value > leaked)
    return "exit status " + value;
  return outcomes[ending.value - intact];
}

bool isResult(const Ending& ending) {
  return ending.kind == Ending::exited && ending.value >= intact && ending.value < leaked;
}

std::string textOf(const Call& call) {
  return "system call " + std::to_string(call.number) + " " + call.path;
}

}  // namespace

bool isAnything(const Situation& /*situation*/, int outcome) {
  return outcome != misled;
}

bool isNoticed(const Situation& situation, int outcome) {
  switch (situation.moment) {
    case before:
      return outcome == changed || outcome == failed;
    case between:
      return isAnything(situation, outcome);
    default:
      return outcome == intact;
  }
}

bool isHarmless(const Situation& /*situation*/, int outcome) {
  return outcome == intact;
}

int withoutPrivilege(const std::function<int()>& work) {
  WithoutFileCapabilities const ordinary;
  int const lowest = dup(0);
  (void)close(lowest);
  int const outcome = work();
  int const lowestNow = dup(0);
  return lowestNow == lowest ? outcome : static_cast<int>(leaked);
}

RacesTest::RacesTest(Sample sample) : _oneIn(sample) {
  if (const char* const text = getenv("ZEMO_RACES_ONE_IN"))
    _oneIn = strtoul(text, nullptr, 10);
#ifdef __SANITIZE_ADDRESS__
  _oneIn *= 5;  // making a process takes so much longer
#endif
}

void RacesTest::SetUp() {
  if (getenv("ZEMO_UNDER_VALGRIND") != nullptr)
    GTEST_SKIP() << "valgrind makes system calls of its own in the traced process";
  PrivateRootTest::SetUp();
}

void RacesTest::TearDown() {
  if (IsSkipped())
    return;
  const ::testing::TestInfo& test = *::testing::UnitTest::GetInstance()->current_test_info();
  std::cout << test.test_suite_name() << "." << test.name() << ": " << _runs << " runs, " << _calls
            << " system calls at most\n";
}

void RacesTest::clear(const std::string& directory) {
  for (const auto& member : std::filesystem::directory_iterator(directory))
    ::remove(member.path());
}

bool RacesTest::isSkippedNow() {
  return _combinations++ % _oneIn != 0;
}

Ending RacesTest::run(const Operation& operation, const std::string& object, const Visit& visit) {
  operation.prepare();
  ++_runs;
  Ending ending = trace([&] { return withoutPrivilege(operation.work); }, operation.start, visit);
  if (operation.meaning && ending.kind == Ending::exited)
    ending.value = operation.meaning(ending.value);
  unmount(object);
  return ending;
}

std::vector<Call> RacesTest::callsOf(const Operation& operation, const std::string& object) {
  std::vector<Call> calls;
  Ending const ending = run(operation, object, [&](std::size_t /*number*/, const Call& call) {
    calls.push_back(call);
    return true;
  });
  EXPECT_EQ(textOf(ending), textOf(Ending{Ending::exited, operation.unchanged}));
  _calls = std::max(_calls, calls.size());
  return calls;
}

void RacesTest::race(const Operation& operation, const std::string& object,
                     const std::vector<Change>& changes, const IsRight& isRight) {
  std::vector<Call> const calls = callsOf(operation, object);
  Looks const looks = looksIn(calls, object);
  ASSERT_LT(looks.first, calls.size()) << "nobody looks at " << object;
  for (const Change& change : changes) {
    for (std::size_t when = 0; when < calls.size(); ++when) {
      if (isSkippedNow())
        continue;
      Moment moment = when > looks.last ? after : before;
      Ending const ending = run(operation, object, [&](std::size_t number, const Call& call) {
        if (number == when)
          change.make(object);
        else if (moment == before && looksAt(call, object))
          moment = between;
        return number != when;
      });
      EXPECT_TRUE(isResult(ending) && isRight({moment, when, calls}, ending.value))
          << object << " " << change.name << " before call " << when << " (" << textOf(calls[when])
          << "; first look " << looks.first << ", last " << looks.last << "): " << textOf(ending);
      ASSERT_NE(ending.kind, Ending::hung);  // the next ones would wait as long
    }
  }
}

void RacesTest::raceAndPutBack(const Operation& operation, const std::string& object,
                               const std::vector<Change>& changes, const IsRight& isRight) {
  std::vector<Call> const calls = callsOf(operation, object);
  for (const Change& change : changes) {
    for (std::size_t when = 0; when < calls.size(); ++when) {
      for (std::size_t back = when + 1; back < calls.size(); ++back) {
        if (isSkippedNow())
          continue;
        Ending const ending = run(operation, object, [&](std::size_t number, const Call& /*call*/) {
          if (number == when)
            change.make(object);
          if (number == back) {
            unmount(object);
            operation.prepare();
          }
          return number != back;
        });
        EXPECT_TRUE(isResult(ending) && isRight({between, when, calls}, ending.value))
            << object << " " << change.name << " before call " << when << " ("
            << textOf(calls[when]) << ") and put back before call " << back << ": "
            << textOf(ending);
      }
    }
  }
}
