#include "check/highest_serial.h"

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

std::string fileOf(const std::string& directory, const std::string& set, const std::string& mode) {
  return joined(directory, set + "." + mode + ".serial");
}

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

}  // namespace

std::map<std::string, uint64_t> highestSerials(const std::string& directory,
                                               const std::vector<std::string>& sets,
                                               const std::string& mode) {
  requireOwn(directory);
  Directory const opened(directory);
  if (opened.get() < 0)
    throw Failure(STATUS_NOT_LOADED,
                  withReason("cannot open the directory " + inQuotes(directory), opened.error()));
  std::map<std::string, uint64_t> serials;
  for (const std::string& set : sets) {
    if (std::optional<uint64_t> const serial = serialAt(opened, fileOf(directory, set, mode)))
      serials[set] = *serial;
  }
  return serials;
}

void rememberSerial(const std::string& directory, const std::string& set, const std::string& mode,
                    uint64_t serial, bool evenLower) {
  Directory const opened(directory);
  std::string const path = fileOf(directory, set, mode);
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
