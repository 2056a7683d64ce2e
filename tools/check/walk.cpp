#include "check/walk.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <ctime>
#include <filesystem>
#include <new>
#include <system_error>
#include <thread>

#include "check/estimate.h"
#include "check/part.h"
#include "gnupg/signature_check.h"
#include "io/exit_status.h"
#include "io/paths.h"
#include "root/other_root.h"
#include "root/package.h"
#include "run/interruption.h"
#include "run/log_relay.h"
#include "sets/set_content.h"
#include "sets/sets.h"

using namespace ZEMO::SELF_CHECK;

namespace tool {
namespace {

bool isUnder(const std::string& path, const std::vector<std::string>& directories) {
  return directories.empty() ||
         std::any_of(directories.begin(), directories.end(),
                     [&](const std::string& directory) { return isAtOrBelow(directory, path); });
}

// The first of the entries whose owner or group could be called right although the file's is
// another one; null if there is none.
const ProtectedFile* unclearEntry(const CheckOptions& options,
                                  const std::vector<Walk::Entry*>& entries) {
  if (!options.root)
    return nullptr;
  auto const isWanted = [&](CHECK_ITEM item, const std::string& id) {
    return (options.plan.items & item) != 0 && !id.empty();
  };
  bool const owners = isWanted(CHECK_ITEM_OWNER, options.root->unclear().owner);
  bool const groups = isWanted(CHECK_ITEM_GROUP, options.root->unclear().group);
  if (!owners && !groups)
    return nullptr;
  auto const found = std::find_if(entries.begin(), entries.end(), [&](const Walk::Entry* entry) {
    return (owners && entry->_owner == options.root->unclear().owner) ||
           (groups && entry->_group == options.root->unclear().group);
  });
  return found == entries.end() ? nullptr : *found;
}

bool isMissing(const ProtectedFile& entry) {
  return std::any_of(entry._errors.begin(), entry._errors.end(), [](const CheckError* error) {
    return error->_error == CHECK_ERROR_NOT_EXIST;
  });
}

bool isHidden(const std::string& path) {
  struct stat status = {};
  return lstat(path.c_str(), &status) != 0 && errno == EACCES;
}

// The uppermost directory above `path` that this user may not search, if the file is hidden by
// that; else empty.
std::string unsearchableAbove(const std::string& path) {
  if (!isHidden(path))
    return "";
  for (std::size_t slash = path.find('/', 1); slash != std::string::npos;
       slash = path.find('/', slash + 1)) {
    if (isHidden(path.substr(0, slash)))
      return directoryOf(path.substr(0, slash));
  }
  return directoryOf(path);
}

}  // namespace

// The lists are found, verified and read one after the other. A set that is replaced meanwhile is
// loaded again, so that lists of the old and the new set never count as one. The copies of another
// root's lists do not change.
void Walk::load() try {
  constexpr int attempts = 20;
  if (!canNameSet(set)) {
    obstacle = "set " + inQuotes(set) + " has an invalid name";
    return;
  }
  for (int left = attempts - 1;; --left) {
    auto const version = [this] {
      return options->root ? "" : versionOf(setDirectory(set), set, options->plan.mode);
    };
    std::string const before = version();
    loadOnce();
    if (version() == before)
      return;
    forget();
    if (left == 0)
      break;
    say("the files of set " + inQuotes(set) + " changed while they were read; loading it again");
  }
  obstacle = "the files of set " + inQuotes(set) + " changed each time they were read";
} catch (const std::bad_alloc&) {
  say(outOfMemory);
}

// Everything that was loaded.
void Walk::forget() {
  list = FileList(options->root ? systemSet : set, options->plan.mode);
  facts = {};
  isEmpty = false;
  obstacle.clear();
  entries.clear();
  outcomes.reset();
}

void Walk::loadOnce() {
  forgetPackage();
  // Sets of packages are small, and the library has to bind their placeholders.
  bool const part = set == systemSet && !options->under.empty() &&
                    loadPart(list, options->plan.mode, options->under, options->verify);
  bool const loads = part || loadWhole();
  if (options->measure)
    measure(loads);
  if (!loads) {
    obstacle = whyNotLoaded();
    return;
  }
  if (options->requireManifest) {
    facts.manifest = checkManifest(set, options->plan.mode);
    auto const highest = options->highestSerials.find(set);
    if (highest != options->highestSerials.end())
      requireSerial(*facts.manifest, highest->second);
    if (facts.manifest->state != ManifestCheck::State::FITS)
      return;
  }
  auto const files = list.getProtectedFiles();
  if (options->under.empty())
    entries.reserve(files->size());
  for (const auto& [path, entry] : *files) {
    if (isUnder(path, options->under))
      entries.push_back(entry.get());
  }
  if (const ProtectedFile* const unclear = unclearEntry(*options, entries)) {
    say("the owner or group that set " + inQuotes(set) + " states for " + inQuotes(unclear->_path) +
        " is also shown for those without a number in this user namespace; do not compare "
        "owners and groups (--items), or run this outside the namespace");
    return;
  }
  outcomes = std::make_unique<EntryOutcome[]>(entries.size());
  facts.entries = entries.size();
  isEmpty = !part && files->empty();
  if (isEmpty)
    obstacle = "set " + inQuotes(set) + " has no entries";
  facts.loaded = true;
}

bool Walk::loadWhole() {
  return options->root && set != systemSet
             ? loadPackageSet(options->root->tree(), list, set, options->plan.mode, options->verify)
             : list.loadList(options->verify);
}

// The library has logged what it met, but not in words for administrators.
std::string Walk::whyNotLoaded() const {
  std::string what = "set " + inQuotes(set) + " could not be loaded";
  std::vector<std::string> const lists = listsOf(set, options->plan.mode);
  if (lists.empty())
    return whyNoLists(set, options->plan.mode);
  if (hasBlocker(lists, set, options->plan.mode))
    return what + ": an installation has not ended; if none runs, run the same command again";
  std::string const reason = tool::whyNotLoaded(lists, options->verify);
  if (!reason.empty())
    return what + ": " + reason;
  using Type = std::filesystem::file_type;
  std::error_code error;
  Type const type = std::filesystem::status("/var/packages/" + set + "/target", error).type();
  // Of another root, it has been said.
  if (set == systemSet || options->root || type == Type::none || type == Type::directory)
    return what;
  return what + ": package " + inQuotes(set) + " is not installed";
}

Workers::Begin Walk::begin() const {
  if (!options->root)
    return nullptr;
  return [root = options->root] { root->tree().enter(); };
}

// Runs GnuPG again to read its status lines, which the library discards: here only they make a list
// count as verified. If a list does not verify, the oldest signature is unknown.
void Walk::measure(bool loads) try {
  std::vector<std::string> const lists = listsOf(set, options->plan.mode);
  facts.lists = lists.size();
  std::time_t oldest = 0;
  if (!options->verify)
    return;
  for (const std::string& path : lists) {
    SignatureCheck const check = checkSignature(path);
    if (!check.verified) {
      if (loads)  // otherwise the library has reported it
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
  EntryOutcome& outcome = outcomes[index];
  outcome.begun.store(true, std::memory_order_relaxed);
  try {
    Descriptor held;
    outcome.delay = delayOf(*entries[index], options->plan.items, held);
    if (outcome.delay.reason != Delay::Reason::NONE) {
      outcome.begun.store(false, std::memory_order_relaxed);
      return;
    }
    outcome.carriedOut = compare(index, options->plan.items);
  } catch (const std::bad_alloc&) {
    outcome.exhausted = true;  // other entries may need less
  }
}

// The library logs right after the system call that fails, so its error is the reason, except
// values that no failure to open or read a file leaves.
bool Walk::compare(std::size_t index, CHECK_ITEM wanted) {
  EntryOutcome& outcome = outcomes[index];
  Entry& entry = *entries[index];
  int error = 0;
  {
    CollectedLog const collected(outcome.log, &error);
    errno = 0;
    outcome.carriedOut = entry.check(outcome.changed, wanted);
  }
  std::string note;
  if (!outcome.carriedOut && error != 0 && error != EINTR && error != ESPIPE)
    note = std::generic_category().message(error);
  else if (outcome.carriedOut && outcome.changed && isMissing(entry))
    note = unsearchableAbove(entry._path);
  if (!note.empty())
    outcome.note = std::make_unique<const std::string>(std::move(note));
  return outcome.carriedOut;
}

// A file is read completely or not at all. If it is not read, everything except the content is
// compared.
void Walk::checkLater(std::size_t index) {
  constexpr std::chrono::milliseconds pause(5);
  Entry& entry = *entries[index];
  CHECK_ITEM const wanted = options->plan.items;
  EntryOutcome& outcome = outcomes[index];
  outcome.begun.store(true, std::memory_order_relaxed);
  try {
    Descriptor held;
    Delay delay = delayOf(entry, wanted, held);
    while (delay.reason == Delay::Reason::LEASE && !interrupted() && options->late->mayWait()) {
      std::this_thread::sleep_for(pause);
      delay = delayOf(entry, wanted, held);
    }
    uint64_t const paid = outcome.paid ? outcome.delay.size : 0;
    bool const read = delay.reason == Delay::Reason::NONE ||
                      (delay.reason == Delay::Reason::SIZE && delay.size <= paid);
    outcome.carriedOut =
        compare(index, read ? wanted : static_cast<CHECK_ITEM>(wanted & ~CHECK_ITEM_HASH)) && read;
    if (!read) {
      outcome.note = std::make_unique<const std::string>(reasonOf(delay));
      outcome.log.push_back("Content of [" + entry._path + "] not compared: " + *outcome.note);
    }
  } catch (const std::bad_alloc&) {
    outcome.exhausted = true;
  }
}

void Walk::beginLater() {
  for (std::size_t i = 0; i < entries.size(); ++i) {
    EntryOutcome& outcome = outcomes[i];
    if (outcome.delay.reason == Delay::Reason::NONE)
      continue;
    later.push_back(i);
    outcome.paid =
        outcome.delay.reason == Delay::Reason::SIZE && options->late->takes(outcome.delay.size);
  }
  laterWorkers = std::make_unique<Workers>(
      later.size(), options->jobs, [this](std::size_t i) { checkLater(later[i]); }, nullptr,
      begin());
}

bool Walk::done(std::size_t index) const {
  if (!workers->done(index) || outcomes[index].delay.reason == Delay::Reason::NONE)
    return workers->done(index);
  auto const place = std::lower_bound(later.begin(), later.end(), index);
  return laterWorkers != nullptr &&
         laterWorkers->done(static_cast<std::size_t>(place - later.begin()));
}

bool Walk::isQuick(std::size_t index) const {
  return tool::isQuick(*entries[index], options->plan.items);
}

uint64_t Walk::bytes() const {
  uint64_t bytes = 0;
  for (const Entry* const entry : entries)
    bytes += bytesOf(*entry, options->plan.items);
  return bytes;
}

uint64_t Walk::bytesRead() const {
  uint64_t bytes = 0;
  for (std::size_t i = 0; i < entries.size(); ++i) {
    if (done(i) && outcomes[i].carriedOut)
      bytes += tool::bytesRead(*entries[i], options->plan.items);
  }
  return bytes;
}

}  // namespace tool
