#include "check/set_check.h"

#include <chrono>
#include <ctime>
#include <memory>
#include <utility>

#include "check/estimate.h"
#include "check/reporter.h"
#include "check/walk.h"
#include "io/exit_status.h"
#include "run/interruption.h"
#include "run/log_relay.h"
#include "run/workers.h"

namespace tool {
namespace {

// How long an interrupted check continues to report completed entries.
constexpr std::chrono::milliseconds lastWords(500);

using Clock = std::chrono::steady_clock;

// The progress of one set through the check.
struct Course {
  enum class State { LOADING, READY, NOT_LOADED, INTERRUPTED };

  Course(const std::string& set, const std::shared_ptr<const CheckOptions>& options)
      : walk(std::make_unique<Walk>(set, options)) {
    run.set = set;
  }

  std::unique_ptr<Walk> walk;  // null once everything is reported
  SetRun run;
  State state = State::LOADING;
  Clock::time_point start = Clock::now();
  bool opened = false;   // its report has been started
  Counters before;       // the counters at that time
  std::size_t next = 0;  // the next entry to report
};

// Freeing the map of a large set would take a fiftieth of the time of its check, and the process
// ends soon in any case. Leak checkers find the set by this pointer.
void keepUntilExit(std::unique_ptr<Walk> walk) {
  static Walk* kept = nullptr;
  walk->workers.reset();  // joins the threads
  walk->laterWorkers.reset();
  delete std::exchange(kept, walk.release());
}

// All sets of a run. The next set is loaded, and its threads start, once all entries of the
// previous set have been started, or none of its entries has ended for a second: no file, however
// slow, keeps another set from being checked. This thread reports the findings, in the order of
// sets and paths.
class SetsCheck {
 public:
  SetsCheck(const std::shared_ptr<const CheckOptions>& options, CheckReport& report,
            Counters& counters, Progress& progress)
      : _options(options), _report(report), _counters(counters), _progress(progress) {}

  // The threads cannot be stopped in the middle of a large file. The data that they use therefore
  // stays until the process ends.
  ~SetsCheck() {
    for (Course& course : _courses) {
      if (interrupted())
        (void)course.walk.release();
    }
  }
  SetsCheck(const SetsCheck&) = delete;
  SetsCheck& operator=(const SetsCheck&) = delete;

  std::vector<SetRun> run() {
    for (const std::string& set : _options->plan.sets) {
      if (interrupted())
        break;
      _courses.emplace_back(set, _options);
      load(_courses.back());
    }
    while (_front < _courses.size() && !interrupted()) {
      for (const Course& course : _courses) {
        if (course.walk && course.state == Course::State::READY && !course.walk->laterWorkers &&
            course.walk->workers->allDone())
          course.walk->beginLater();
      }
      Walk& walk = *_courses[_front].walk;
      (walk.laterWorkers ? walk.laterWorkers : walk.workers)->wait();
      tell();
    }
    _progress.clear();
    tellLastWords();
    sendHeldLog();
    return runs();
  }

 private:
  // Verification may wait for GnuPG, and a check may wait for a disk; this thread must remain
  // interruptible.
  void load(Course& course) {
    Walk* const walk = course.walk.get();
    walk->workers = std::make_unique<Workers>(1, 1, [walk](std::size_t) { walk->load(); });
    while (!walk->workers->allDone() && !interrupted()) {
      walk->workers->wait();
      tell();
    }
    // Ctrl-C also ends GnuPG, which may look like a bad signature.
    if (!walk->workers->allDone() || (!walk->facts.loaded && interrupted())) {
      course.state = Course::State::INTERRUPTED;
    } else if (!walk->facts.loaded || walk->isEmpty) {
      course.state = Course::State::NOT_LOADED;
    } else {
      walk->workers = std::make_unique<Workers>(
          walk->entries.size(), _options->jobs, [walk](std::size_t i) { walk->check(i); },
          [walk](std::size_t i) { return walk->isQuick(i); }, walk->begin());
      course.state = Course::State::READY;
      untilNextMayBegin(course);
    }
    tell();
  }

  void untilNextMayBegin(const Course& course) {
    constexpr std::chrono::seconds stalled(1);
    std::size_t left = 0;
    auto since = Clock::now();
    while (course.walk && !course.walk->workers->allBegun() && !interrupted()) {
      course.walk->workers->wait();
      if (course.walk->workers->left() != left) {
        left = course.walk->workers->left();
        since = Clock::now();
      } else if (Clock::now() - since > stalled) {
        return;
      }
      tell();
    }
  }

  // Reports completed entries that are not reported yet, up to the first that is not done.
  void tell() {
    sendHeldLog();
    for (; _front < _courses.size() && !interrupted(); ++_front) {
      Course& course = _courses[_front];
      if (course.state == Course::State::LOADING || course.state == Course::State::INTERRUPTED)
        return;
      open(course);
      if (course.state == Course::State::READY && !tellEntries(course))
        return;
      close(course, true);
      if (_front + 1 == _options->plan.sets.size())
        keepUntilExit(std::move(course.walk));
      else
        course.walk.reset();
    }
  }

  void open(Course& course) {
    if (course.opened)
      return;
    course.opened = true;
    course.before = _counters;
    Walk& walk = *course.walk;
    if (walk.facts.manifest)
      _report.manifest(walk.set, *walk.facts.manifest);
    if (course.state == Course::State::NOT_LOADED) {
      Reporter(walk, _report, _counters, _progress).tellNotLoaded();
      return;
    }
    ++_counters.sets;
    _counters.entries += walk.entries.size();
    if (_progress.wanted())
      _progress.total(walk.entries.size(), walk.bytes());
  }

  // Returns true once all are reported.
  bool tellEntries(Course& course) {
    Walk& walk = *course.walk;
    Reporter reporter(walk, _report, _counters, _progress);
    std::size_t& next = course.next;
    for (; next < walk.entries.size() && walk.done(next) && !interrupted(); ++next) {
      reporter.tell(next);
      if (_progress.wanted())
        _progress.advance(1, bytesOf(*walk.entries[next], _options->plan.items));
    }
    _progress.show();
    return next == walk.entries.size();
  }

  void close(Course& course, bool whole) {
    Walk& walk = *course.walk;
    SetRun& run = course.run;
    run.facts = walk.facts;
    if (course.state == Course::State::NOT_LOADED) {
      run.facts = {};
      run.facts.lists = walk.facts.lists;
      run.facts.manifest = walk.facts.manifest;
    }
    if (_options->measure && course.state == Course::State::READY)
      run.facts.bytes = walk.bytesRead();
    run.verified = run.facts.loaded && run.facts.verified;
    run.counters = between(course.before, _counters);
    run.counters.partial = !whole;
    run.seconds = std::chrono::duration<double>(Clock::now() - course.start).count();
    run.ended = std::time(nullptr);
  }

  // After an interruption, reports completed entries even after entries that are not done, as time
  // permits.
  void tellLastWords() {
    auto const end = Clock::now() + lastWords;
    for (; _front < _courses.size(); ++_front) {
      Course& course = _courses[_front];
      bool whole = false;
      if (course.state == Course::State::READY || course.state == Course::State::NOT_LOADED) {
        open(course);
        whole = tellRest(course, end);
        close(course, whole);
      } else {
        ++_counters.notReached;
        course.run.counters.partial = true;
        course.run.ended = std::time(nullptr);
      }
      _counters.partial = _counters.partial || !whole;
    }
    std::size_t const others = _options->plan.sets.size() - _courses.size();
    _counters.notReached += others;
    _counters.partial = _counters.partial || others > 0;
  }

  bool tellRest(Course& course, Clock::time_point end) {
    Walk& walk = *course.walk;
    Reporter reporter(walk, _report, _counters, _progress);
    bool whole = true;
    std::size_t& next = course.next;
    for (; next < walk.entries.size() && Clock::now() < end; ++next) {
      if (walk.done(next)) {
        reporter.tell(next);
        continue;
      }
      whole = false;  // nor is it reported later, even if done by then
      if (walk.outcomes[next].begun.load(std::memory_order_relaxed))
        say("interrupted while checking " + inQuotes(walk.entries[next]->_path));
    }
    return whole && next == walk.entries.size();
  }

  std::vector<SetRun> runs() {
    std::vector<SetRun> runs;
    for (Course& course : _courses)
      runs.push_back(std::move(course.run));
    for (std::size_t i = runs.size(); i < _options->plan.sets.size(); ++i) {
      runs.emplace_back();
      runs.back().set = _options->plan.sets[i];
      runs.back().counters.partial = true;
      runs.back().ended = std::time(nullptr);
    }
    return runs;
  }

  const std::shared_ptr<const CheckOptions>& _options;
  CheckReport& _report;
  Counters& _counters;
  Progress& _progress;
  std::vector<Course> _courses;
  std::size_t _front = 0;  // the first set that is not completely reported
};

}  // namespace

std::vector<SetRun> checkSets(const std::shared_ptr<const CheckOptions>& options,
                              CheckReport& report, Counters& counters, Progress& progress) {
  return SetsCheck(options, report, counters, progress).run();
}

}  // namespace tool
