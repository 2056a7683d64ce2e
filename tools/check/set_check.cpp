#include "check/set_check.h"

#include <algorithm>
#include <atomic>
#include <boost/shared_ptr.hpp>
#include <charconv>
#include <chrono>
#include <ctime>
#include <memory>
#include <new>
#include <thread>

#include "common/escape.h"
#include "common/failure.h"
#include "common/interruption.h"
#include "common/log_relay.h"
#include "common/paths.h"
#include "common/sets.h"
#include "common/workers.h"
#include "gnupg/signature_check.h"

using namespace ZEMO::SELF_CHECK;

namespace tool {
namespace {

using Entry = boost::shared_ptr<ProtectedFile>;

const char* const outOfMemory = "out of memory";

bool isUnder(const std::string& path, const std::vector<std::string>& directories) {
  return directories.empty() ||
         std::any_of(directories.begin(), directories.end(),
                     [&](const std::string& directory) { return isAtOrBelow(directory, path); });
}

uint64_t numberIn(const std::string& text) {
  uint64_t number = 0;
  (void)std::from_chars(text.data(), text.data() + text.size(), number);
  return number;
}

// What a check of the entry reads, as far as its list tells.
uint64_t bytesOf(const ProtectedFile& entry, CHECK_ITEM items) {
  if ((items & CHECK_ITEM_HASH) == 0 || entry._type != "f" || entry._hash == "-")
    return 0;
  return numberIn(entry._size);
}

// Whether checking the entry takes little more than finding out that it is there.
bool isQuick(const ProtectedFile& entry, CHECK_ITEM items) {
  constexpr uint64_t small = 16384;
  if ((items & CHECK_ITEM_HASH) == 0 || entry._hash == "-")
    return true;
  if (entry._type == "d")
    return false;  // FIXED, with any number of members
  return entry._type != "f" || (entry._size != "-" && numberIn(entry._size) <= small);
}

uint64_t bytesOf(const std::vector<Entry>& entries, CHECK_ITEM items) {
  uint64_t bytes = 0;
  for (const Entry& entry : entries)
    bytes += bytesOf(*entry, items);
  return bytes;
}

// What a check of the entry that was carried out has read.
uint64_t bytesRead(const ProtectedFile& entry, CHECK_ITEM items) {
  uint64_t bytes = bytesOf(entry, items);
  for (const CheckError* error : entry._errors) {
    if (error->_error == CHECK_ERROR_NOT_EXIST || error->_error == CHECK_ERROR_TYPE)
      return 0;
    if (error->_error == CHECK_ERROR_SIZE && bytes != 0)
      bytes = numberIn(error->_actual);
  }
  return bytes;
}

// One entry's result, written by the thread that checks it.
struct Outcome {
  std::atomic<bool> begun{false};  // to be told apart from what waits, when it is not done
  Delay delay;                     // with a reason: the entry is among the later ones
  uint64_t paid = 0;               // bytes that may be read though the entry states another size
  bool carriedOut = false;
  bool changed = false;
  bool exhausted = false;  // there was not memory enough
  std::vector<std::string> log;
};

// Everything that the threads use. They may outlive the check, see SetsCheck.
struct Walk {
  Walk(std::string name, std::shared_ptr<const CheckOptions> chosen)
      : set(std::move(name)),
        options(std::move(chosen)),
        list(set, options->plan.mode),
        hook(options->accepted.hook()) {}

  std::string set;
  std::shared_ptr<const CheckOptions> options;
  FileList list;
  FileList::Hook hook;
  SetFacts facts;
  std::vector<Entry> entries;
  std::unique_ptr<Outcome[]> outcomes;
  std::vector<std::size_t> later;    // indices of the entries that are checked after the others
  std::unique_ptr<Workers> workers;  // last, so that its threads end before what they use
  std::unique_ptr<Workers> laterWorkers;  // of the later ones, once the others are done

  void load();
  void measure(bool loads);
  void check(std::size_t index);
  void checkLater(std::size_t index);
  void beginLater();
  bool done(std::size_t index) const;
  bool isQuick(std::size_t index) const {
    return ::tool::isQuick(*entries[index], options->plan.items);
  }
};

void Walk::load() try {
  if (!canNameSet(set))
    return;
  forgetPackage();
  bool const loads = list.loadList(options->verify);
  if (options->measure)
    measure(loads);
  if (!loads)
    return;
  for (const auto& [path, entry] : *list.getProtectedFiles()) {
    if (isUnder(path, options->under))
      entries.push_back(entry);
  }
  outcomes = std::make_unique<Outcome[]>(entries.size());
  facts.entries = entries.size();
  facts.loaded = true;
} catch (const std::bad_alloc&) {
  say(outOfMemory);
}

// Asks GnuPG once more, for what the library does not hear: its words, by which alone a list counts
// as verified here. Where one does not, nobody knows the oldest signature.
void Walk::measure(bool loads) try {
  std::vector<std::string> const lists = listsOf(set, options->plan.mode);
  facts.lists = lists.size();
  std::time_t oldest = 0;
  if (!options->verify)
    return;
  for (const std::string& path : lists) {
    SignatureCheck const check = checkSignature(path);
    if (!check.verified) {
      if (loads)  // else the library has said so
        say("the metrics count " + inQuotes(path) + " as not verified" +
            (check.reason.empty() ? "" : ": " + check.reason));
      return;
    }
    for (const Signature& signature : check.signatures) {
      if (isGood(signature) && (oldest == 0 || signature.made < oldest))
        oldest = signature.made;
    }
  }
  facts.oldestSignature = oldest;
  facts.verified = true;
} catch (const Failure& failure) {
  say(failure.what());
}

void Walk::check(std::size_t index) {
  Outcome& outcome = outcomes[index];
  outcome.begun.store(true, std::memory_order_relaxed);
  try {
    Descriptor held;
    outcome.delay = delayOf(*entries[index], options->plan.items, held);
    if (outcome.delay.reason != Delay::Reason::NONE) {
      outcome.begun.store(false, std::memory_order_relaxed);
      return;
    }
    CollectedLog const collected(outcome.log);
    outcome.carriedOut = entries[index]->check(outcome.changed, options->plan.items);
  } catch (const std::bad_alloc&) {
    outcome.exhausted = true;  // other entries may need less
  }
}

// A file is read as a whole or not at all. Of one that is not, all but the content is compared.
void Walk::checkLater(std::size_t index) {
  constexpr std::chrono::milliseconds pause(5);
  const Entry& entry = entries[index];
  CHECK_ITEM const items = options->plan.items;
  Outcome& outcome = outcomes[index];
  outcome.begun.store(true, std::memory_order_relaxed);
  try {
    Descriptor held;
    Delay delay = delayOf(*entry, items, held);
    while (delay.reason == Delay::Reason::LEASE && !interrupted() && options->late->mayWait()) {
      std::this_thread::sleep_for(pause);
      delay = delayOf(*entry, items, held);
    }
    bool const read = delay.reason == Delay::Reason::NONE ||
                      (delay.reason == Delay::Reason::SIZE && delay.size <= outcome.paid);
    CollectedLog const collected(outcome.log);
    bool const checked = entry->check(
        outcome.changed, read ? items : static_cast<CHECK_ITEM>(items & ~CHECK_ITEM_HASH));
    outcome.carriedOut = checked && read;
    if (!read)
      outcome.log.push_back(notCompared(entry->_path, delay));
  } catch (const std::bad_alloc&) {
    outcome.exhausted = true;
  }
}

// To be called once, when all others are done.
void Walk::beginLater() {
  for (std::size_t i = 0; i < entries.size(); ++i) {
    Outcome& outcome = outcomes[i];
    if (outcome.delay.reason == Delay::Reason::NONE)
      continue;
    later.push_back(i);
    if (outcome.delay.reason == Delay::Reason::SIZE && options->late->takes(outcome.delay.size))
      outcome.paid = outcome.delay.size;
  }
  laterWorkers = std::make_unique<Workers>(later.size(), options->jobs,
                                           [this](std::size_t i) { checkLater(later[i]); });
}

// Whether the entry's outcome stands.
bool Walk::done(std::size_t index) const {
  if (!workers->done(index) || outcomes[index].delay.reason == Delay::Reason::NONE)
    return workers->done(index);
  auto const place = std::lower_bound(later.begin(), later.end(), index);
  return laterWorkers != nullptr &&
         laterWorkers->done(static_cast<std::size_t>(place - later.begin()));
}

// What all checks have read that were carried out by now.
uint64_t bytesRead(const Walk& walk) {
  uint64_t bytes = 0;
  for (std::size_t i = 0; i < walk.entries.size(); ++i) {
    if (walk.done(i) && walk.outcomes[i].carriedOut)
      bytes += bytesRead(*walk.entries[i], walk.options->plan.items);
  }
  return bytes;
}

// Reports the outcomes in the order of paths, as soon as they are known.
class Reporter {
 public:
  Reporter(Walk& walk, const std::string& set, CheckReport& report, Counters& counters,
           Progress& progress)
      : _walk(walk), _set(set), _report(report), _counters(counters), _progress(progress) {}

  void tell(std::size_t index) {
    Outcome& outcome = _walk.outcomes[index];
    if (outcome.carriedOut && !outcome.changed) {  // as almost all of them, so: quickly
      if (++_counters.checked == 1)                // then no longer "nothing was checked"
        noteStatus();
      return;
    }
    Entry entry = _walk.entries[index];
    _progress.clear();
    if (outcome.carriedOut)
      ++_counters.checked;
    if (outcome.changed)
      tellMismatches(entry, outcome);
    if (!outcome.carriedOut) {
      ++_counters.unchecked;
      if (outcome.exhausted)
        outcome.log.emplace_back(outOfMemory);
      for (const std::string& line : outcome.log)
        say(escaped(line));
      _report.unchecked(_set, entry->_path, outcome.log);
    }
    noteStatus();
  }

 private:
  // That of an end before everything is told.
  void noteStatus() { endSoonAfterInterruption(exitStatus(_counters) | STATUS_UNCHECKED); }

  void tellMismatches(Entry& entry, Outcome& outcome) {
    const Accepted& accepted = _walk.options->accepted;
    std::vector<Finding> findings;
    for (CheckError* error : entry->_errors)
      findings.push_back({error, accepted.covers(*error)});
    // The hook decides on the entry as a whole, as it does for the library's own check of a set.
    _walk.hook(entry, outcome.changed);
    if (outcome.changed)
      count(findings);
    for (const Finding& finding : findings)
      _counters.accepted += finding.accepted ? 1 : 0;
    _report.mismatches(_set, entry->_path, findings);
  }

  void count(const std::vector<Finding>& findings) {
    bool changed = false;
    for (const Finding& finding : findings) {
      if (finding.accepted)
        continue;
      ++_counters.kinds[finding.error->_error];
      if (finding.error->_error == CHECK_ERROR_UNKNOWN_FILE)
        ++_counters.stray;
      else if (finding.error->_error == CHECK_ERROR_NOT_EXIST)
        ++_counters.missing;
      else
        changed = true;
    }
    _counters.changed += changed ? 1 : 0;
  }

  Walk& _walk;
  const std::string& _set;
  CheckReport& _report;
  Counters& _counters;
  Progress& _progress;
};

// The library has logged why, unless there is nothing that it could have loaded.
void sayNotLoaded(const std::string& set, const std::string& mode, bool loaded) {
  std::string const what = "set " + inQuotes(set);
  if (!canNameSet(set))
    say(what + " has an invalid name");
  else if (listsOf(set, mode).empty())
    say(whyNoLists(set, mode));
  else
    say(what + (loaded ? " has no entries" : " could not be loaded"));
}

// How long an interrupted check goes on to tell what is done.
constexpr std::chrono::milliseconds lastWords(500);

using Clock = std::chrono::steady_clock;

// One set on its way through the check.
struct Course {
  enum class State { LOADING, READY, NOT_LOADED, INTERRUPTED };

  Course(const std::string& set, const std::shared_ptr<const CheckOptions>& options)
      : walk(std::make_unique<Walk>(set, options)) {
    run.set = set;
  }

  std::unique_ptr<Walk> walk;  // none when all is told
  SetRun run;
  State state = State::LOADING;
  Clock::time_point start = Clock::now();
  bool opened = false;   // its report has begun
  Counters before;       // then
  std::size_t next = 0;  // the entry that is to be told next
};

// All sets of a run. The next set is loaded, and its threads start, when nothing of the one before
// waits to be begun, or nothing of it has ended for a second: no file, however long it takes, keeps
// another set from being checked. This thread tells what is found, in the order of sets and paths.
class SetsCheck {
 public:
  SetsCheck(const std::shared_ptr<const CheckOptions>& options, CheckReport& report,
            Counters& counters, Progress& progress)
      : _options(options), _report(report), _counters(counters), _progress(progress) {}

  // The threads cannot be stopped in the middle of a large file. They keep what they use until the
  // process ends.
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
    return runs();
  }

 private:
  // Verification may wait for GnuPG, and a check for a disk; this thread must stay free to be
  // interrupted.
  void load(Course& course) {
    Walk* const walk = course.walk.get();
    walk->workers = std::make_unique<Workers>(1, 1, [walk](std::size_t) { walk->load(); });
    while (!walk->workers->allDone() && !interrupted()) {
      walk->workers->wait();
      tell();
    }
    // Ctrl-C ends GnuPG, too, which may look like a bad signature.
    if (!walk->workers->allDone() || (!walk->facts.loaded && interrupted())) {
      course.state = Course::State::INTERRUPTED;
    } else if (!walk->facts.loaded || walk->list.getProtectedFiles()->empty()) {
      course.state = Course::State::NOT_LOADED;
    } else {
      walk->workers = std::make_unique<Workers>(
          walk->entries.size(), _options->jobs, [walk](std::size_t i) { walk->check(i); },
          [walk](std::size_t i) { return walk->isQuick(i); });
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

  // Tells what is done and not told, as far as nothing before it is missing.
  void tell() {
    for (; _front < _courses.size() && !interrupted(); ++_front) {
      Course& course = _courses[_front];
      if (course.state == Course::State::LOADING || course.state == Course::State::INTERRUPTED)
        return;
      open(course);
      if (course.state == Course::State::READY && !tellEntries(course))
        return;
      close(course, true);
      course.walk.reset();
    }
  }

  void open(Course& course) {
    if (course.opened)
      return;
    course.opened = true;
    course.before = _counters;
    Walk& walk = *course.walk;
    if (course.state == Course::State::NOT_LOADED) {
      ++_counters.notLoaded;
      sayNotLoaded(walk.set, _options->plan.mode, walk.facts.loaded);
      _report.notLoaded(walk.set);
      return;
    }
    ++_counters.sets;
    _counters.entries += walk.entries.size();
    if (_progress.wanted())
      _progress.total(walk.entries.size(), bytesOf(walk.entries, _options->plan.items));
  }

  // Returns whether all are told.
  bool tellEntries(Course& course) {
    Walk& walk = *course.walk;
    Reporter reporter(walk, walk.set, _report, _counters, _progress);
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
    }
    if (_options->measure && course.state == Course::State::READY)
      run.facts.bytes = bytesRead(walk);
    run.verified = run.facts.loaded && run.facts.verified;
    run.counters = between(course.before, _counters);
    run.counters.partial = !whole;
    run.seconds = std::chrono::duration<double>(Clock::now() - course.start).count();
    run.ended = std::time(nullptr);
  }

  // After an interruption: what is done behind what is not, as far as there is time.
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
        course.run.counters.partial = true;
        course.run.ended = std::time(nullptr);
      }
      _counters.partial = _counters.partial || !whole;
    }
    _counters.partial = _counters.partial || _courses.size() < _options->plan.sets.size();
  }

  bool tellRest(Course& course, Clock::time_point end) {
    Walk& walk = *course.walk;
    Reporter reporter(walk, walk.set, _report, _counters, _progress);
    bool whole = true;
    std::size_t& next = course.next;
    for (; next < walk.entries.size() && Clock::now() < end; ++next) {
      if (walk.done(next)) {
        reporter.tell(next);
        continue;
      }
      whole = false;  // and it is not told later either, should it be done by then
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
  std::size_t _front = 0;  // the first set of which not all is told
};

}  // namespace

std::vector<SetRun> checkSets(const std::shared_ptr<const CheckOptions>& options,
                              CheckReport& report, Counters& counters, Progress& progress) {
  return SetsCheck(options, report, counters, progress).run();
}

}  // namespace tool
