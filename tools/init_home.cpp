// init-home: makes a GnuPG home that every caller can use for verification.

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <ctime>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "commands.h"
#include "gnupg/key_ring.h"
#include "gnupg/options.h"
#include "io/atomic_file.h"
#include "io/directory.h"
#include "io/directory_lock.h"
#include "io/exit_status.h"
#include "io/paths.h"
#include "io/regular_file.h"
#include "io/temporary_path.h"
#include "sets/sets.h"
#include "text/escape.h"
#include "text/strings.h"

namespace tool {
namespace {

const char* const examples =
    "Creates the directory, gpg.conf and the key ring where they are missing, and adds keys. "
    "Without this gpg.conf, GnuPG needs a trust database that users without write access cannot "
    "create, and no list would verify for them.\n"
    "\n"
    "Examples:\n"
    "  gpg --export 6136B3167575C697A6AB41B58489D4A54BFA7117 > maker.gpg\n"
    "  zemo-selfcheck init-home --import maker.gpg\n"
    "  gpg --export maker@example.org | zemo-selfcheck init-home --import -\n";

struct Options {
  std::vector<std::string> files;
  std::string home = systemDirectory;
};

// Directories that did not exist before. They are removed again if the work on them fails or is
// ended by a signal.
class MadeDirectories {
 public:
  // Makes `path` and its missing parent directories, each with the permissions 0755.
  explicit MadeDirectories(const std::string& path) {
    try {
      make(path);
    } catch (...) {  // the destructor of an incomplete object does not run
      removeAll();
      throw;
    }
  }
  ~MadeDirectories() { removeAll(); }
  MadeDirectories(const MadeDirectories&) = delete;
  MadeDirectories& operator=(const MadeDirectories&) = delete;

  void keep() {
    for (const std::unique_ptr<TemporaryPath>& made : _made)
      made->keep();
    _made.clear();
  }

 private:
  void make(const std::string& path) {
    int error = tryToMake(path);
    std::string const parent = directoryOf(path);
    if (error == ENOENT && parent != path && parent != ".") {
      make(parent);
      error = tryToMake(path);
    }
    if (error != 0 && error != EEXIST)  // if it is not a directory, opening it fails
      fail(path, error);
  }

  // Returns an errno value.
  int tryToMake(const std::string& path) {
    HeldSignals const untilNoted;
    if (mkdir(path.c_str(), 0755) != 0)
      return errno;
    _made.push_back(std::make_unique<TemporaryPath>(path));
    Descriptor const made(open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    return made.get() >= 0 && fchmod(made.get(), 0755) == 0 ? 0 : errno;  // regardless of the umask
  }

  [[noreturn]] static void fail(const std::string& path, int error) {
    throw Failure(STATUS_NOT_LOADED,
                  withReason("cannot create directory " + inQuotes(path), error));
  }

  // Removes the latest first, and none that is no longer empty.
  void removeAll() {
    while (!_made.empty())
      _made.pop_back();
  }

  std::vector<std::unique_ptr<TemporaryPath>> _made;
};

std::string ownConfiguration() {
  std::string content;
  for (const NeededOption& option : neededOptions)
    content += std::string(option.line) + "\n";
  return content;
}

// The content of the existing gpg.conf at `path`, if it is suitable.
std::string keptConfiguration(const std::string& path, const RegularFile& file) {
  std::string content = file.content();
  OptionReading const reading = readOptions(content);
  std::vector<std::string> names;
  for (const NeededOption* const option : reading.missing)
    names.push_back(inQuotes(option->line));
  if (!names.empty())
    throw Failure(STATUS_NOT_LOADED, inQuotes(path) + " exists but lacks " + listed(names) +
                                         ": add what is missing or remove the file");
  return content;
}

void warnOfClosedDirectories(const std::string& home) {
  struct stat status = {};
  std::string directory = home;
  for (;; directory = directoryOf(directory)) {
    if (stat(directory.c_str(), &status) == 0 && (status.st_mode & S_IXOTH) == 0)
      say("warning: other users cannot enter " + inQuotes(directory) + ", so they cannot verify");
    if (directory == "/" || directory == ".")
      return;
  }
}

// Rejects everything that can be rejected before it writes anything. Returns what it has installed.
std::vector<std::string> prepare(const std::string& home, const std::vector<std::string>& files) {
  std::vector<std::string> contents;  // read first, because pipes may take long
  contents.reserve(files.size());
  for (const std::string& file : files)
    contents.push_back(readKeys(file));

  requireOwn(home);  // before a directory is made in it
  MadeDirectories made(home);
  DirectoryLock const lock = lockOn([&] { return ownHome(home); });
  const Directory& directory = lock.directory();
  refuseOtherRings(home);
  std::string const doubt = doubtAbout(home);
  if (!doubt.empty())
    throw Failure(STATUS_NOT_LOADED, doubt);
  std::string const configurationFile = home + "/gpg.conf";
  std::optional<RegularFile> const configured = RegularFile::ifThere(directory, configurationFile);
  std::string const configuration =
      configured ? keptConfiguration(configurationFile, *configured) : ownConfiguration();
  KeyRing ring(directory);
  for (std::size_t i = 0; i < files.size(); ++i)
    ring.import(files[i], contents[i]);
  ring.proveWith(configuration);

  bool const keepsRing = files.empty() && ring.isCopy();
  std::optional<AtomicFile> newRing;
  if (!keepsRing)
    newRing.emplace(ring.staged());
  std::vector<std::string> installed;
  if (configured) {
    configured->publish();  // an existing file must also be readable for every caller
  } else {
    AtomicFile file(directory, configurationFile, 0644);
    file.write(configuration);
    file.commit();
    installed.emplace_back("gpg.conf");
  }
  made.keep();
  if (newRing) {
    newRing->commit();
    installed.emplace_back("the key ring");
  } else {
    ring.publish();
  }
  return installed;
}

// Checks that GnuPG, run for this caller, can read the home as it is now.
std::vector<Key> proveHome(const std::string& home, const std::vector<std::string>& installed) {
  try {
    return keysOfHome(home);
  } catch (const Failure& failure) {
    throw Failure(
        failure.status(),
        failure.what() +
            (installed.empty() ? std::string() : "; this run has installed " + listed(installed)));
  }
}

int runInitHome(const Options& options) {
  std::string const home = homeFrom(options.home);
  std::vector<std::string> const installed = prepare(home, options.files);
  warnOfClosedDirectories(home);
  std::vector<Key> const keys = proveHome(home, installed);
  for (const Key& key : keys) {
    if (key.created > std::time(nullptr))
      say("warning: this machine's clock is slow: key " + key.fingerprint + " was created at " +
          utcText(key.created));
    printf("%s\n", keyText(key).c_str());
  }
  printf("%s trusts %s\n", escaped(home).c_str(), counted(keys.size(), "key", "keys").c_str());
  return STATUS_INTACT;
}

}  // namespace

void addInitHome(Commands& program) {
  auto const options = std::make_shared<Options>();
  Arguments takes = program.add(
      "init-home", "Create the GnuPG home with which lists are verified, and add keys to it",
      examples, [options] { return runInitHome(*options); });
  takes.values("--import", "FILE", options->files,
               "Files or pipes with public keys to trust; - is standard input");
  takes.value("--homedir", "DIR", options->home, "GnuPG home directory");
}

}  // namespace tool
