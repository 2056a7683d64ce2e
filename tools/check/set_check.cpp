#include "check/set_check.h"

#include <algorithm>
#include <boost/shared_ptr.hpp>
#include <charconv>
#include <chrono>
#include <memory>
#include <new>

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
  bool carriedOut = false;
  bool changed = false;
  bool exhausted = false;  // there was not memory enough
  std::vector<std::string> log;
};

// Everything that the threads use. They may outlive the check of the set, see checkSet().
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
  std::vector<Outcome> outcomes;
  std::unique_ptr<Workers> workers;  // last, so that its threads end before what they use

  void load();
  void measure(bool loads);
  void check(std::size_t index);
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
  outcomes.resize(entries.size());
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
        say("the metrics call " + inQuotes(path) + " not verified" +
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
  try {
    CollectedLog const collected(outcome.log);
    outcome.carriedOut = entries[index]->check(outcome.changed, options->plan.items);
  } catch (const std::bad_alloc&) {
    outcome.exhausted = true;  // other entries may need less
  }
}

// What all checks have read that were carried out by now.
uint64_t bytesRead(const Walk& walk) {
  uint64_t bytes = 0;
  for (std::size_t i = 0; i < walk.entries.size(); ++i) {
    if (walk.workers->done(i) && walk.outcomes[i].carriedOut)
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
  std::string const what = "the set " + inQuotes(set);
  if (!canNameSet(set))
    say(what + " has a name that no set can have");
  else if (listsOf(set, mode).empty())
    say(whyNoLists(set, mode));
  else
    say(what + (loaded ? " has no entries" : " could not be loaded"));
}

// How long an interrupted check goes on to tell what is done.
constexpr std::chrono::milliseconds lastWords(500);

// Tells what is done in the order of paths, until all is told or the program is interrupted. Then
// what is done further on is told, too, as far as there is time. Returns whether all was told.
bool follow(Walk& walk, Reporter& reporter, Progress& progress) {
  CHECK_ITEM const items = walk.options->plan.items;
  std::size_t const count = walk.entries.size();
  std::size_t next = 0;
  while (next < count && !interrupted()) {
    walk.workers->wait();
    for (; next < count && walk.workers->done(next) && !interrupted(); ++next) {
      reporter.tell(next);
      if (progress.wanted())
        progress.advance(1, bytesOf(*walk.entries[next], items));
    }
    progress.show();
  }
  progress.clear();
  auto const end = std::chrono::steady_clock::now() + lastWords;
  std::size_t told = next;
  for (; next < count && std::chrono::steady_clock::now() < end; ++next) {
    if (!walk.workers->done(next))
      continue;  // and not told later either, should it be done by then
    reporter.tell(next);
    ++told;
  }
  return told == count;
}

}  // namespace

SetFacts checkSet(const std::string& name, const std::shared_ptr<const CheckOptions>& options,
                  CheckReport& report, Counters& counters, Progress& progress) {
  auto walk = std::make_unique<Walk>(name, options);
  Walk* const shared = walk.get();
  // Verification may wait for GnuPG, and a check for a disk; this thread must stay free to be
  // interrupted.
  walk->workers = std::make_unique<Workers>(1, 1, [shared](std::size_t) { shared->load(); });
  while (!walk->workers->allDone() && !interrupted())
    walk->workers->wait();

  SetFacts facts;
  // Ctrl-C ends GnuPG, too, which may look like a bad signature.
  if (!walk->workers->allDone() || (!walk->facts.loaded && interrupted())) {
    counters.partial = true;
  } else if (!walk->facts.loaded || walk->list.getProtectedFiles()->empty()) {
    ++counters.notLoaded;
    sayNotLoaded(name, options->plan.mode, walk->facts.loaded);
    report.notLoaded(name);
    facts.lists = walk->facts.lists;
  } else {
    ++counters.sets;
    if (progress.wanted())
      progress.total(walk->entries.size(), bytesOf(walk->entries, options->plan.items));
    walk->workers = std::make_unique<Workers>(
        walk->entries.size(), options->jobs, [shared](std::size_t i) { shared->check(i); },
        [shared](std::size_t i) { return shared->isQuick(i); });
    Reporter reporter(*walk, name, report, counters, progress);
    counters.partial = !follow(*walk, reporter, progress);
    facts = walk->facts;
    if (options->measure)
      facts.bytes = bytesRead(*walk);
  }
  // The threads cannot be stopped in the middle of a large file. They keep what they use until the
  // process ends.
  if (counters.partial)
    (void)walk.release();
  return facts;
}

}  // namespace tool
