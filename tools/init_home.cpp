// init-home: a GnuPG home that every caller can verify with.

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "commands.h"
#include "common/atomic_file.h"
#include "common/directory_lock.h"
#include "common/escape.h"
#include "common/failure.h"
#include "common/paths.h"
#include "common/sets.h"
#include "gnupg/key_ring.h"

namespace tool {
namespace {

const char* const examples =
    "Makes the directory, gpg.conf and the key ring, as far as they are missing, and adds keys.\n"
    "A home without this gpg.conf needs a trust database, which users who cannot write to the "
    "home\n"
    "do not get: no list would verify for them.\n"
    "\n"
    "Examples:\n"
    "  gpg --export 6136B3167575C697A6AB41B58489D4A54BFA7117 > maker.gpg\n"
    "  zemo-selfcheck init-home --import maker.gpg\n";

// For all callers: no trust database, no network, no agent, no files written.
const std::array<const char*, 4> configuration = {"trust-model always", "weak-digest SHA1",
                                                  "no-auto-key-retrieve", "no-auto-check-trustdb"};

struct Options {
  std::vector<std::string> files;
  std::string home = systemDirectory;
};

// Directories that were not there before; they go again if the work on them fails.
class MadeDirectories {
 public:
  // Makes `path` and what is missing above it, each with the permissions 0755.
  explicit MadeDirectories(const std::string& path) { make(path); }
  ~MadeDirectories() {
    for (auto path = _made.rbegin(); path != _made.rend(); ++path)
      (void)rmdir(path->c_str());  // not if somebody has put something there meanwhile
  }
  MadeDirectories(const MadeDirectories&) = delete;
  MadeDirectories& operator=(const MadeDirectories&) = delete;

  void keep() { _made.clear(); }

 private:
  void make(const std::string& path) {
    if (mkdir(path.c_str(), 0755) != 0) {
      if (errno == EEXIST)
        return;  // if it is no directory, opening it tells
      std::string const parent = directoryOf(path);
      if (errno != ENOENT || parent == path || parent == ".")
        fail(path);
      make(parent);
      if (mkdir(path.c_str(), 0755) != 0)
        fail(path);
    }
    _made.push_back(path);
    if (chmod(path.c_str(), 0755) != 0)  // whatever the umask
      fail(path);
  }

  // The destructor of an object that is not complete does not run.
  [[noreturn]] void fail(const std::string& path) {
    int const error = errno;
    for (auto made = _made.rbegin(); made != _made.rend(); ++made)
      (void)rmdir(made->c_str());
    throw Failure(STATUS_NOT_LOADED,
                  withReason("cannot make the directory " + inQuotes(path), error));
  }

  std::vector<std::string> _made;
};

// The lines that an existing gpg.conf lacks.
std::vector<std::string> missingLines(const std::string& content) {
  std::vector<std::string> lines;
  std::istringstream text(content);
  for (std::string line; std::getline(text, line);)
    lines.push_back(line);
  std::vector<std::string> missing;
  for (const char* const line : configuration) {
    if (std::find(lines.begin(), lines.end(), line) == lines.end())
      missing.emplace_back(line);
  }
  return missing;
}

void requireConfiguration(const std::string& path) {
  std::string names;
  for (const std::string& line : missingLines(readWholeFile(path)))
    names += (names.empty() ? "" : ", ") + inQuotes(line);
  if (!names.empty())
    throw Failure(STATUS_NOT_LOADED, inQuotes(path) + " is there already and lacks " + names +
                                         ": add that or remove the file");
}

void writeConfiguration(const std::string& path) {
  AtomicFile file(path, 0644);
  for (const char* const line : configuration)
    file.write(std::string(line) + "\n");
  file.commit();
}

// A file that is kept must be readable for every caller, too.
void publish(const std::string& path) {
  if (chmod(path.c_str(), 0644) != 0)
    throw Failure(STATUS_NOT_LOADED,
                  withReason("cannot make " + inQuotes(path) + " readable", errno));
}

void warnOfClosedDirectories(const std::string& home) {
  struct stat status = {};
  std::string directory = home;
  for (;; directory = directoryOf(directory)) {
    if (stat(directory.c_str(), &status) == 0 && (status.st_mode & S_IXOTH) == 0)
      say("warning: other users cannot enter " + inQuotes(directory) + ", and so cannot verify");
    if (directory == "/" || directory == ".")
      return;
  }
}

std::string withoutSlashes(std::string path) {
  while (path.size() > 1 && path.back() == '/')
    path.pop_back();
  return path;
}

// Everything that can be refused is refused before anything is written.
void prepare(const std::string& home, const std::vector<std::string>& files) {
  MadeDirectories made(home);
  DirectoryLock const lock(home);
  refuseOtherRings(home);
  std::string const configurationFile = home + "/gpg.conf";
  bool const configured = exists(configurationFile);
  if (configured)
    requireConfiguration(configurationFile);
  KeyRing ring(home);
  for (const std::string& file : files)
    ring.import(file);

  if (configured)
    publish(configurationFile);
  else
    writeConfiguration(configurationFile);
  made.keep();
  if (!files.empty() || !exists(ringIn(home)))
    ring.install();
  else
    publish(ringIn(home));
}

int runInitHome(const Options& options) {
  if (options.home.empty())
    throw UsageError("--homedir needs the path of a directory");
  std::string const home = withoutSlashes(options.home);
  prepare(home, options.files);
  warnOfClosedDirectories(home);
  // The proof: GnuPG, run for this caller, reads the home as it is now.
  std::vector<Key> const keys = keysOfHome(home);
  for (const Key& key : keys)
    printf("%s\n", describe(key).c_str());
  printf("%s trusts %zu %s\n", escaped(home).c_str(), keys.size(),
         keys.size() == 1 ? "key" : "keys");
  return STATUS_INTACT;
}

}  // namespace

void addInitHome(Commands& program) {
  auto const options = std::make_shared<Options>();
  Arguments takes = program.add(
      "init-home", "Make the GnuPG home that lists are verified with, and add keys to it", examples,
      [options] { return runInitHome(*options); });
  takes.values("--import", "FILE", options->files, "Files of public keys to trust");
  takes.value("--homedir", "DIR", options->home, "The home");
}

}  // namespace tool
