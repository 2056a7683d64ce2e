// remove-key: retires keys by removing them from the key ring. Nothing less is enough, because
// GnuPG's exit status accepts expired and revoked keys.

#include <zemo/selfcheck.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "commands.h"
#include "gnupg/fingerprint.h"
#include "gnupg/key_ring.h"
#include "gnupg/options.h"
#include "gnupg/signature_check.h"
#include "io/directory_lock.h"
#include "io/exit_status.h"
#include "sets/sets.h"
#include "text/escape.h"

namespace tool {
namespace {

const char* const examples =
    "Removes all of the keys or none. Then prints the lists that no longer verify, and exits with "
    "status 16 if there are any: a set with such a list cannot be loaded until that list is signed "
    "with another key.\n"
    "\n"
    "Example:\n"
    "  zemo-selfcheck remove-key 6136B3167575C697A6AB41B58489D4A54BFA7117\n";

struct Options {
  std::vector<std::string> fingerprints;
  std::string home = systemDirectory;
};

std::vector<std::string> wanted(const Options& options) {
  std::vector<std::string> fingerprints;
  for (const std::string& word : options.fingerprints) {
    std::string const fingerprint = fingerprintFrom(word);
    if (std::find(fingerprints.begin(), fingerprints.end(), fingerprint) == fingerprints.end())
      fingerprints.push_back(fingerprint);
  }
  return fingerprints;
}

// The key with this fingerprint. Throws Failure, with the reason, if it cannot be removed.
Key keyWith(const std::string& fingerprint, const std::vector<Key>& keys) {
  for (const Key& key : keys) {
    if (key.fingerprint == fingerprint)
      return key;
    if (std::find(key.subkeys.begin(), key.subkeys.end(), fingerprint) != key.subkeys.end())
      throw Failure(STATUS_NOT_LOADED, fingerprint + " is a subkey of " + key.fingerprint +
                                           ": give that key; nothing was removed");
  }
  throw Failure(STATUS_NOT_LOADED,
                "key " + fingerprint + " is not in the key ring; nothing was removed");
}

// The lists of all sets and modes that verify now.
std::vector<std::string> verifyingLists() {
  ChosenSets const sets = chosenSets({}, true);
  if (!sets.unknown.empty())
    say("warning: cannot examine the lists of packages: " + sets.unknown);
  std::vector<std::string> lists;
  for (const std::string& set : sets.names) {
    std::string const directory = setDirectory(set);
    for (const std::string& list : ZEMO::SELF_CHECK::glob(
             directory, std::string(directory).append("/" + set + ".*.*.list"))) {
      if (checkSignature(list).accepted)
        lists.push_back(list);
    }
  }
  return lists;
}

// True for any path that leads to the system's home.
bool isSystemHome(const std::string& home) {
  std::error_code ignored;
  return std::filesystem::equivalent(home, systemDirectory, ignored);
}

std::vector<Key> removeFrom(KeyRing& ring, const std::vector<std::string>& fingerprints) {
  std::vector<Key> const keys = ring.keys();
  std::vector<Key> removed;
  removed.reserve(fingerprints.size());
  for (const std::string& fingerprint : fingerprints)
    removed.push_back(keyWith(fingerprint, keys));
  for (const Key& key : removed)
    ring.remove(key.fingerprint);
  ring.install();
  return removed;
}

// Returns the bits to add to the exit status.
int reportOrphans(const std::vector<std::string>& verifiedBefore) {
  std::string const doubt = doubtAbout(systemDirectory);
  if (!doubt.empty()) {  // in this case GnuPG is not run
    say("unable to tell which lists still verify: " + doubt);
    return STATUS_UNCHECKED;
  }
  std::size_t count = 0;
  for (const std::string& list : verifiedBefore) {
    if (checkSignature(list).accepted)
      continue;
    printf("no longer verifies: %s\n", escaped(list).c_str());
    count += 1;
  }
  if (count == 0)
    printf("all lists that verified before still do\n");
  return count == 0 ? STATUS_INTACT : STATUS_NOT_LOADED;
}

int runRemoveKey(const Options& options) {
  std::vector<std::string> const fingerprints = wanted(options);
  std::string const home = homeFrom(options.home);
  DirectoryLock const lock = lockOn([&] { return ownHome(home); });
  const Directory& directory = lock.directory();
  refuseOtherRings(home);
  KeyRing ring(directory);
  if (!ring.isCopy())
    throw Failure(STATUS_NOT_LOADED, "key ring " + inQuotes(ringIn(home)) + " does not exist");
  bool const systemHome = isSystemHome(home);
  std::vector<std::string> const before =
      systemHome ? verifyingLists() : std::vector<std::string>();
  for (const Key& key : removeFrom(ring, fingerprints))
    printf("removed %s\n", keyText(key).c_str());
  return systemHome ? reportOrphans(before) : STATUS_INTACT;
}

}  // namespace

void addRemoveKey(Commands& program) {
  auto const options = std::make_shared<Options>();
  Arguments takes = program.add("remove-key", "Retire keys by removing them from the key ring",
                                examples, [options] { return runRemoveKey(*options); });
  takes.requiredWords("FINGERPRINT", options->fingerprints, "Full fingerprints of primary keys");
  takes.value("--homedir", "DIR", options->home, "GnuPG home directory");
}

}  // namespace tool
