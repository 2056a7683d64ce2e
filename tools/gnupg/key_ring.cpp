#include "gnupg/key_ring.h"

#include <sys/stat.h>

#include <cerrno>
#include <filesystem>

#include "common/atomic_file.h"
#include "common/failure.h"
#include "common/process.h"
#include "common/sets.h"
#include "gnupg/status_lines.h"

namespace tool {
namespace {

const char* const gnupg = "/usr/bin/gpg";

// All that GnuPG may write with the options below.
const std::vector<std::string> scratchNames = {"gpg.conf",        "pubring.kbx", "pubring.kbx~",
                                               "pubring.kbx.tmp", "random_seed", "trustdb.gpg",
                                               "tofu.db",         "import"};

[[noreturn]] void refuse(const std::string& file, const std::string& reason) {
  throw Failure(STATUS_NOT_LOADED, "cannot import " + inQuotes(file) + ": " + reason);
}

Outcome quietly(std::vector<std::string> words, int captured) {
  Command command;
  command.words = std::move(words);
  command.captured = captured;
  command.showErrors = false;
  command.cleanEnvironment = true;
  return run(command);
}

// IMPORT_RES has counts: keys that were read first, revocations ninth, secret keys tenth.
struct Imported {
  long long keys = 0;
  long long revocations = 0;
  long long secretKeys = 0;
};

Imported countsIn(const std::string& status) {
  Imported counts;
  for (const StatusLine& line : statusLines(status)) {
    if (line.keyword == "IMPORT_RES")
      counts = {numberIn(line.word(0)), numberIn(line.word(8)), numberIn(line.word(9))};
  }
  return counts;
}

}  // namespace

bool exists(const std::string& path) {
  struct stat status = {};
  return lstat(path.c_str(), &status) == 0 || errno != ENOENT;
}

std::string ringIn(const std::string& home) {
  return home + "/pubring.kbx";
}

void refuseOtherRings(const std::string& home) {
  if (exists(home + "/pubring.gpg"))
    throw Failure(STATUS_NOT_LOADED, inQuotes(home) +
                                         " has a key ring of the old form, 'pubring.gpg': import "
                                         "it as a file and remove it there");
  std::error_code ignored;  // a home that cannot be read fails soon enough
  for (const auto& member : std::filesystem::directory_iterator(home, ignored)) {
    std::string const name = member.path().filename();
    if (name.compare(0, 9, "gpg.conf-") == 0)
      throw Failure(STATUS_NOT_LOADED,
                    inQuotes(member.path().string()) + " may take the place of gpg.conf");
  }
}

KeyRing::KeyRing(const std::string& home) : _home(home), _scratch(scratchNames) {
  // Not "trust-model always": with that, GnuPG makes no trust database, and fails for the lack of
  // one when it imports a revocation.
  writeWholeFile(_scratch / "gpg.conf", "no-auto-key-retrieve\nno-auto-check-trustdb\n");
  if (exists(ringIn(home)))
    writeWholeFile(_scratch / "pubring.kbx", readWholeFile(ringIn(home)));
  (void)keys();  // makes an empty ring if there is none, and fails for a damaged one
}

std::vector<std::string> KeyRing::gpg(const std::vector<std::string>& words) const {
  // Nobody else works on the copy; locks would be files with names that are not known before.
  std::vector<std::string> all = {
      gnupg, "--homedir", _scratch.path(), "--batch", "--no-autostart", "--lock-never", "--yes"};
  all.insert(all.end(), words.begin(), words.end());
  return all;
}

std::vector<Key> KeyRing::keys() const {
  Outcome const outcome = quietly(gpg({"--with-colons", "--list-keys"}), 1);
  if (outcome.status != 0)
    throw Failure(STATUS_NOT_LOADED, "GnuPG cannot read the key ring " + inQuotes(ringIn(_home)));
  return keysIn(outcome.output);
}

void KeyRing::import(const std::string& file) {
  writeWholeFile(_scratch / "import", readWholeFile(file));
  Outcome const outcome =
      quietly(gpg({"--status-fd", "3", "--import", "--", _scratch / "import"}), 3);
  Imported const counts = countsIn(outcome.output);
  if (counts.secretKeys != 0)
    refuse(file, "it holds secret keys; export the public ones (gpg --export)");
  if (outcome.status != 0 && counts.keys == 0)
    refuse(file, "it holds no public keys that GnuPG can read");
  if (outcome.status != 0)
    refuse(file, "GnuPG does not take all that is in it, it may be damaged");
  if (counts.keys == 0 && counts.revocations == 0)
    refuse(file, "it holds no public keys");
}

void KeyRing::remove(const std::string& fingerprint) {
  Outcome const outcome = quietly(gpg({"--delete-keys", "--", fingerprint}), 1);
  if (outcome.status != 0)
    throw Failure(STATUS_NOT_LOADED, "GnuPG does not remove the key " + fingerprint);
}

void KeyRing::install() const {
  AtomicFile ring(ringIn(_home), 0644);
  ring.write(readWholeFile(_scratch / "pubring.kbx"));
  ring.commit();
}

std::vector<Key> keysOfHome(const std::string& home) {
  Outcome const outcome = quietly(
      {gnupg, "--homedir", home, "--batch", "--no-autostart", "--with-colons", "--list-keys"}, 1);
  if (outcome.status != 0)
    throw Failure(STATUS_NOT_LOADED, "GnuPG cannot use the home " + inQuotes(home) +
                                         ", it ended with exit status " +
                                         std::to_string(outcome.status) + "; gpg --homedir " +
                                         inQuotes(home) + " --list-keys says why");
  return keysIn(outcome.output);
}

}  // namespace tool
