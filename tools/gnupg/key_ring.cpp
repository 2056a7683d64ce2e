#include "gnupg/key_ring.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "gnupg/home_files.h"
#include "gnupg/status_lines.h"
#include "io/atomic_file.h"
#include "io/descriptors.h"
#include "io/exit_status.h"
#include "io/paths.h"
#include "io/regular_file.h"
#include "run/process.h"
#include "text/strings.h"

namespace tool {
namespace {

const char* const gnupg = "/usr/bin/gpg";

constexpr std::size_t keysLimit = std::size_t{64} << 20U;

// All files that GnuPG may write with the options below.
const std::vector<std::string> scratchNames = {"gpg.conf",        "pubring.kbx", "pubring.kbx~",
                                               "pubring.kbx.tmp", "random_seed", "trustdb.gpg",
                                               "tofu.db",         "import"};

[[noreturn]] void refuse(const std::string& file, const std::string& reason) {
  throw Failure(STATUS_NOT_LOADED, "cannot import " + inQuotes(file) + ": " + reason);
}

[[noreturn]] void refuseHome(const std::string& home, int status) {
  throw Failure(STATUS_NOT_LOADED, "GnuPG cannot use the home directory " + inQuotes(home) +
                                       " (exit status " + std::to_string(status) +
                                       "); for the reason, run gpg --homedir " + inQuotes(home) +
                                       " --list-keys");
}

Outcome quietly(std::vector<std::string> words, int captured) {
  Command command;
  command.words = std::move(words);
  command.captured = captured;
  command.showErrors = false;
  command.cleanEnvironment = true;
  return run(command);
}

// IMPORT_RES contains counts: keys read are first, revocations ninth, secret keys tenth.
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

bool exists(const std::string& path) {
  struct stat status = {};
  return lstat(path.c_str(), &status) == 0 || errno != ENOENT;
}

}  // namespace

std::string homeFrom(const std::string& option) {
  if (option.empty())
    throw UsageError("--homedir needs the path of a directory");
  std::string home = option;
  while (home.size() > 1 && home.back() == '/')
    home.pop_back();
  return home;
}

Directory ownHome(const std::string& home) {
  requireOwn(home);
  Directory opened(home);
  if (opened.get() < 0)
    throw Failure(STATUS_NOT_LOADED, withReason("cannot open " + inQuotes(home), opened.error()));
  return opened;
}

std::string ringIn(const std::string& home) {
  return home + "/pubring.kbx";
}

void refuseOtherRings(const std::string& home) {
  if (exists(home + "/pubring.gpg"))
    throw Failure(STATUS_NOT_LOADED, inQuotes(home) +
                                         " has a key ring in the old format, 'pubring.gpg': import "
                                         "that file, then remove it there");
  for (const std::string& path : otherConfigurationsIn(home))
    throw Failure(STATUS_NOT_LOADED, inQuotes(path) + " may replace gpg.conf");
  for (const std::string& path : gnupgFilesOf(home)) {
    std::string const reason = irregular(path);
    if (!reason.empty())
      throw Failure(STATUS_NOT_LOADED, reason);
    struct stat status = {};
    bool const isOfHome = directoryOf(path) == home;
    std::string const stranger =
        isOfHome && stat(path.c_str(), &status) == 0 ? strangerIn(status) : "";
    if (!stranger.empty())
      throw Failure(STATUS_NOT_LOADED,
                    inQuotes(path) + " " + stranger + ", who could have changed it");
  }
}

std::string readKeys(const std::string& file) {
  auto const refuse = [&file](int error) {
    throw Failure(STATUS_NOT_LOADED, withReason("cannot read " + inQuotes(file), error));
  };
  auto const fail = [&file](const char* reason) {
    throw Failure(STATUS_NOT_LOADED, "cannot read " + inQuotes(file) + ": " + reason);
  };
  // Do not wait for a writer if the FIFO has none.
  bool const input = file == "-";
  Descriptor const opened(input ? -1
                                : open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
  int const source = input ? STDIN_FILENO : opened.get();
  struct stat status = {};
  if (source < 0 || fstat(source, &status) != 0)
    refuse(errno);
  if (!input && !S_ISREG(status.st_mode) && !S_ISFIFO(status.st_mode))
    fail("it is neither a regular file nor a pipe");
  if (!input && fcntl(source, F_SETFL, 0) != 0)  // if it has a writer, wait for its data
    refuse(errno);
  std::string content;
  int const error = readBlocks(source, [&](std::string_view block) {
    content += block;
    if (content.size() > keysLimit)
      fail("it is larger than 64 MiB");
  });
  if (error != 0)
    refuse(error);
  return content;
}

KeyRing::KeyRing(const Directory& home)
    : _home(home), _found(RegularFile::ifThere(home, ringIn(home.path()))), _scratch(scratchNames) {
  // Not "trust-model always": with it, GnuPG makes no trust database, and then fails to import a
  // revocation because there is none. A key seems to be from the future if this machine's clock is
  // behind.
  writeWholeFile(_scratch / "gpg.conf",
                 "no-auto-key-retrieve\nno-auto-check-trustdb\nignore-time-conflict\n");
  if (_found)
    writeWholeFile(_scratch / "pubring.kbx", _found->content());
  (void)keys();  // creates an empty ring if none exists; fails for a damaged one
}

std::vector<std::string> KeyRing::gpg(const std::vector<std::string>& words) const {
  // Nothing else uses the copy, and lock files would have unpredictable names.
  std::vector<std::string> all = {
      gnupg, "--homedir", _scratch.path(), "--batch", "--no-autostart", "--lock-never", "--yes"};
  all.insert(all.end(), words.begin(), words.end());
  return all;
}

std::vector<Key> KeyRing::keys() const {
  Outcome const outcome = quietly(gpg({"--with-colons", "--list-keys"}), 1);
  if (outcome.status != 0)
    throw Failure(STATUS_NOT_LOADED,
                  "GnuPG cannot read the key ring " + inQuotes(ringIn(_home.path())));
  return keysIn(outcome.output);
}

void KeyRing::import(const std::string& file, const std::string& content) {
  writeWholeFile(_scratch / "import", content);
  Outcome const outcome =
      quietly(gpg({"--status-fd", "3", "--import", "--", _scratch / "import"}), 3);
  Imported const counts = countsIn(outcome.output);
  if (counts.secretKeys != 0)
    refuse(file, "it contains secret keys; export the public keys instead (gpg --export)");
  if (outcome.status != 0 && counts.keys == 0)
    refuse(file, "it contains no public keys that GnuPG can read");
  if (outcome.status != 0)
    refuse(file, "GnuPG does not accept all of it; it may be damaged");
  if (counts.keys == 0 && counts.revocations == 0)
    refuse(file, "it contains no public keys");
  // GnuPG skips keys that it cannot use, and still succeeds.
  Outcome const shown = quietly(gpg({"--with-colons", "--import-options", "show-only", "--import",
                                     "--", _scratch / "import"}),
                                1);
  if (shown.status != 0)
    refuse(file, "GnuPG cannot show the keys in it");
  std::vector<std::string> passedOver;
  std::vector<Key> const ring = keys();
  for (const Key& key : keysIn(shown.output)) {
    if (std::none_of(ring.begin(), ring.end(),
                     [&key](const Key& one) { return one.fingerprint == key.fingerprint; }))
      passedOver.push_back(keyText(key));
  }
  if (!passedOver.empty())
    refuse(file, "GnuPG does not accept key " + joinedBy(", ", passedOver) +
                     "; it may have no self-signed user ID");
}

void KeyRing::remove(const std::string& fingerprint) {
  Outcome const outcome = quietly(gpg({"--delete-keys", "--", fingerprint}), 1);
  if (outcome.status != 0)
    throw Failure(STATUS_NOT_LOADED, "GnuPG cannot remove key " + fingerprint);
}

void KeyRing::proveWith(const std::string& configuration) const {
  std::string const ours = readWholeFile(_scratch / "gpg.conf");
  writeWholeFile(_scratch / "gpg.conf", configuration);
  Outcome const outcome = quietly(gpg({"--with-colons", "--list-keys"}), 1);
  writeWholeFile(_scratch / "gpg.conf", ours);
  if (outcome.status != 0)
    refuseHome(_home.path(), outcome.status);
}

AtomicFile KeyRing::staged() const {
  AtomicFile ring(_home, ringIn(_home.path()), 0644);
  ring.write(readWholeFile(_scratch / "pubring.kbx"));
  ring.finish();
  return ring;
}

std::vector<Key> keysOfHome(const std::string& home) {
  Outcome const outcome = quietly(
      {gnupg, "--homedir", home, "--batch", "--no-autostart", "--with-colons", "--list-keys"}, 1);
  if (outcome.status != 0)
    refuseHome(home, outcome.status);
  return keysIn(outcome.output);
}

}  // namespace tool
