#include "races.h"

#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <iostream>
#include <set>

#include "support/files.h"

namespace {

std::string parentOf(const std::string& path) {
  return path.substr(0, path.rfind('/'));
}

// Reading a directory to find its members is a look at each of them. A program that is run may look
// at everything.
bool looksAt(const Call& call, const std::string& object) {
  return isAtOrBelow(call.path, object) || call.number == SYS_clone ||
         (call.number == SYS_getdents64 && call.path == parentOf(object));
}

// After this call, the operation's data about the object may be older than a change.
bool looksInto(const Call& call, const std::string& object) {
  switch (call.number) {
    case SYS_clone:
      return true;
    case SYS_open:
    case SYS_openat:
    case SYS_readlink:
    case SYS_readlinkat:
      return call.path == object;
    default:
      return false;
  }
}

// Closing does not count as a look.
bool isLook(const Call& call, const std::string& object) {
  return call.number != SYS_close && looksAt(call, object);
}

// The progress of an operation, as seen from an object that it looks at `looks` times.
class Progress {
 public:
  Progress(const std::string& object, std::size_t looks) : _object(object), _left(looks) {}

  // Called before a call: its thread has completed its earlier calls.
  void come(const Call& call) { _looking.erase(call.thread); }

  // Called when the call starts.
  void go(const Call& call) {
    if (!isLook(call, _object))
      return;
    _moment = std::max(_moment, looksInto(call, _object) ? between : examined);
    _looking.insert(call.thread);
    _left -= std::min<std::size_t>(_left, 1);
  }

  Moment moment() const { return _left == 0 && _looking.empty() ? after : _moment; }

 private:
  const std::string& _object;
  std::size_t _left;
  std::set<pid_t> _looking;  // threads whose last look may not have ended
  Moment _moment = before;
};

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

const char* textOf(Moment moment) {
  static const char* const moments[] = {"before the first look", "before a look into it",
                                        "between looks", "after the last look"};
  return moments[moment];
}

std::string textOf(const Call& call) {
  return "system call " + std::to_string(call.number) + " " + call.path;
}

}  // namespace

bool isAnything(const Situation& /*situation*/, int outcome) {
  return outcome != misled;
}

bool isNoticed(const Situation& situation, int outcome) {
  if (situation.moment == between)
    return isAnything(situation, outcome);
  return outcome == changed || outcome == failed;
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
  _oneIn *= 5;  // creating a process takes so much longer
#endif
}

void RacesTest::SetUp() {
  if (getenv("ZEMO_UNDER_VALGRIND") != nullptr)
    GTEST_SKIP() << "valgrind makes additional system calls in the traced process";
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

void RacesTest::letATickPass() {
  timespec const pause = {0, 1'000'000};
  timespec made = {};
  (void)clock_gettime(CLOCK_REALTIME, &made);
  timespec now = {};
  do {
    (void)nanosleep(&pause, nullptr);
    (void)clock_gettime(CLOCK_REALTIME_COARSE, &now);
  } while (now.tv_sec < made.tv_sec || (now.tv_sec == made.tv_sec && now.tv_nsec <= made.tv_nsec));
}

bool RacesTest::isSkippedNow() {
  // Pseudo-random: with every Nth combination, each change would meet the same calls only, if N
  // divides their number.
  constexpr uint32_t scatter = 2654435761;
  auto const place = static_cast<uint32_t>(_combinations++) * scatter;
  return (place >> 16) % _oneIn != 0;
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
  auto const looks = static_cast<std::size_t>(std::count_if(
      calls.begin(), calls.end(), [&object](const Call& call) { return isLook(call, object); }));
  ASSERT_NE(looks, 0U) << "no call looks at " << object;
  for (const Change& change : changes) {
    for (std::size_t when = 0; when < calls.size(); ++when) {
      if (isSkippedNow())
        continue;
      Progress progress(object, looks);
      std::vector<Call> met = calls;  // threads may make theirs in another order now
      Ending const ending = run(operation, object, [&](std::size_t number, const Call& call) {
        progress.come(call);
        met[number] = call;
        if (number == when)
          change.make(object);
        else
          progress.go(call);
        return number != when;
      });
      Moment const moment = progress.moment();
      bool const isRightThen = moment == after ? ending.value == operation.unchanged
                                               : isRight({moment, when, met}, ending.value);
      EXPECT_TRUE(isResult(ending) && isRightThen)
          << object << " " << change.name << " before call " << when << " (" << textOf(met[when])
          << "), " << textOf(moment) << ": " << textOf(ending);
      ASSERT_NE(ending.kind, Ending::hung);  // later runs would take as long
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
