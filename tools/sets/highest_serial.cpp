#include "sets/highest_serial.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <optional>

#include "io/atomic_file.h"
#include "io/directory.h"
#include "io/directory_lock.h"
#include "io/exit_status.h"
#include "io/paths.h"
#include "io/regular_file.h"

namespace tool {
namespace {

constexpr std::size_t longestSerial = 32;

std::optional<uint64_t> serialAt(const Directory& directory, const std::string& path) {
  std::optional<RegularFile> const file = RegularFile::ifThere(directory, path);
  if (!file)
    return std::nullopt;
  std::string const text = file->content(longestSerial);
  uint64_t serial = 0;
  (void)std::from_chars(text.data(), text.data() + text.size(), serial);
  if (text != std::to_string(serial) + "\n")
    throw Failure(STATUS_NOT_LOADED, inQuotes(path) + " does not contain a serial number");
  return serial;
}

// Root has chosen the owner of serialDirectory: the user of the nightly check.
void requireSafe(const std::string& directory) {
  struct stat status = {};
  if (directory != serialDirectory || lstat(directory.c_str(), &status) != 0 ||
      !S_ISDIR(status.st_mode)) {
    requireOwn(directory);
    return;
  }
  requireOwn(directoryOf(directory));
  status.st_uid = 0;
  if (std::string const reason = strangerIn(status); !reason.empty())
    throw Failure(STATUS_NOT_LOADED,
                  inQuotes(directory) + " is not safe to use because it " + reason);
}

std::map<std::string, uint64_t> serialsIn(const Directory& directory,
                                          const std::vector<std::string>& sets,
                                          const std::string& mode) {
  if (directory.get() < 0)
    throw Failure(
        STATUS_NOT_LOADED,
        withReason("cannot open the directory " + inQuotes(directory.path()), directory.error()));
  std::map<std::string, uint64_t> serials;
  for (const std::string& set : sets) {
    if (std::optional<uint64_t> const serial =
            serialAt(directory, serialFile(directory.path(), set, mode)))
      serials[set] = *serial;
  }
  return serials;
}

bool belongsToCaller(const Directory& directory) {
  struct stat status = {};
  return fstat(directory.get(), &status) == 0 && status.st_uid == geteuid();
}

void create(const std::string& directory) {
  if (mkdir(directory.c_str(), 0700) != 0) {
    if (errno == EEXIST)
      return;
    throw Failure(STATUS_NOT_LOADED,
                  withReason("cannot create the directory " + inQuotes(directory), errno));
  }
  if (int const error = Directory(directoryOf(directory)).sync(); error != 0)
    throw Failure(STATUS_NOT_LOADED, withReason("cannot sync " + inQuotes(directory), error));
}

}  // namespace

std::string serialFile(const std::string& directory, const std::string& set,
                       const std::string& mode) {
  return joined(directory, set + "." + mode + ".serial");
}

KnownSerials knownSerials(const std::string& directory, const std::vector<std::string>& sets,
                          const std::string& mode) {
  requireSafe(directory);
  KnownSerials known;
  Directory const opened(directory);
  bool const isDefault = directory == serialDirectory;
  bool const isRoot = geteuid() == 0;
  if (isDefault && isRoot && opened.get() < 0 && opened.error() == ENOENT)
    return known;
  known.mayRemember = !isDefault || isRoot || belongsToCaller(opened);
  try {
    known.highest = serialsIn(opened, sets, mode);
  } catch (const Failure& failure) {
    if (known.mayRemember)
      throw;
    known.unused = failure.what();
  }
  return known;
}

KnownSerials serialsToCompare(const std::vector<std::string>& sets, const std::string& mode) {
  try {
    return knownSerials(serialDirectory, sets, mode);
  } catch (const Failure& failure) {
    KnownSerials known;
    known.unused = failure.what();
    return known;
  }
}

void rememberSerial(const std::string& directory, const std::string& set, const std::string& mode,
                    uint64_t serial, bool evenLower) {
  if (directory == serialDirectory)
    create(directory);
  Directory const opened(directory);
  std::string const path = serialFile(directory, set, mode);
  // Another check may have accepted a later manifest meanwhile.
  DirectoryLock const lock(opened);
  std::optional<uint64_t> const known = serialAt(opened, path);
  if (known && (*known == serial || (*known > serial && !evenLower)))
    return;
  AtomicFile file(opened, path, 0600);
  file.write(std::to_string(serial) + "\n");
  file.commit();
}

}  // namespace tool
