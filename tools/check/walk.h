// Loading one set and checking its entries on threads.

#ifndef ZEMO_TOOLS_CHECK_WALK_H
#define ZEMO_TOOLS_CHECK_WALK_H

#include <zemo/selfcheck.h>

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "check/later.h"
#include "check/set_check.h"
#include "run/workers.h"
#include "sets/sets.h"

namespace tool {

inline const char* const outOfMemory = "out of memory";

// One entry's result, written by the thread that checks it. Kept small, because touching its memory
// for the first time is a part of what a small file takes.
struct EntryOutcome {
  std::atomic<bool> begun{false};  // tells a running check from a waiting one
  bool carriedOut = false;
  bool changed = false;
  bool exhausted = false;  // there was not enough memory
  bool paid = false;       // delay.size bytes may be read although the size differs
  Delay delay;             // if it has a reason, the entry is checked later
  std::vector<std::string> log;
  // Why it was not checked or, of a missing file, the directory above it that this user may not
  // search; null if there is nothing to say.
  std::unique_ptr<const std::string> note;
};

// Everything that the threads use. They may outlive the check; see SetsCheck.
struct Walk {
  using Entry = ZEMO::SELF_CHECK::ProtectedFile;

  Walk(std::string name, std::shared_ptr<const CheckOptions> chosen)
      : set(std::move(name)),
        options(std::move(chosen)),
        list(options->root ? systemSet : set, options->plan.mode),
        hook(options->accepted.hook()) {}

  std::string set;
  std::shared_ptr<const CheckOptions> options;
  ZEMO::SELF_CHECK::FileList list;  // for another root always named as loadPackageSet() needs
  ZEMO::SELF_CHECK::FileList::Hook hook;
  SetFacts facts;
  bool isEmpty = false;         // the whole set, if loaded
  std::string obstacle;         // why nothing is checked; empty if unknown
  std::vector<Entry*> entries;  // of the list's map
  std::unique_ptr<EntryOutcome[]> outcomes;
  std::vector<std::size_t> later;         // indices of entries that are checked after the others
  std::unique_ptr<Workers> workers;       // last, so that its threads end before the data they use
  std::unique_ptr<Workers> laterWorkers;  // for the later entries, once the others are done

  void load();
  void check(std::size_t index);
  // The function that a thread calls before it checks entries; null if there is nothing to do.
  Workers::Begin begin() const;
  // Must be called once, when all other entries are done.
  void beginLater();
  // True if the entry's outcome is final.
  bool done(std::size_t index) const;
  bool isQuick(std::size_t index) const;
  // The number of bytes that a check of all entries reads, as far as the lists say.
  uint64_t bytes() const;
  // The number of bytes that the checks completed so far have read.
  uint64_t bytesRead() const;

 private:
  void loadOnce();
  void forget();
  bool loadWhole();
  std::string whyNotLoaded() const;
  void measure(bool loads);
  void checkLater(std::size_t index);
  bool compare(std::size_t index, ZEMO::SELF_CHECK::CHECK_ITEM wanted);
};

}  // namespace tool

#endif
