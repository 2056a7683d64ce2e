#include "sets/new_list.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <climits>
#include <cstdlib>
#include <ctime>
#include <string_view>

#include "io/directory.h"
#include "io/exit_status.h"
#include "io/paths.h"
#include "io/regular_file.h"
#include "text/escape.h"

namespace tool {
namespace {

constexpr std::string_view signatureEnding = ".asc";
constexpr uint64_t lastSecond = 253402300799;  // of the year 9999

// `text` as a decimal number from `least` to `most`. Messages call it `what`.
uint64_t numberOf(const std::string& text, const std::string& what, uint64_t least, uint64_t most) {
  uint64_t number = 0;
  const char* const end = text.data() + text.size();
  std::from_chars_result const result = std::from_chars(text.data(), end, number);
  if (result.ec != std::errc() || result.ptr != end || number < least || number > most)
    throw UsageError(what + " " + inQuotes(text) + " is not a number from " +
                     std::to_string(least) + " to " + std::to_string(most));
  return number;
}

// The current time, or the time that a reproducible build specifies.
std::time_t dateOfList() {
  const char* const given = getenv("SOURCE_DATE_EPOCH");
  if (given == nullptr)
    return std::time(nullptr);
  return static_cast<std::time_t>(numberOf(given, "SOURCE_DATE_EPOCH", 0, lastSecond));
}

std::string setOf(const NewListOptions& options) {
  if (!options.package)
    return systemSet;
  requireSetName(*options.package);
  if (*options.package == systemSet)
    throw UsageError("--package wam: that is the operating system's own set, not a package");
  return *options.package;
}

// Empty if there is no such file or it cannot be a list.
std::string contentOf(const Directory& directory, const std::string& path) {
  try {
    std::optional<RegularFile> const file = RegularFile::ifThere(directory, path);
    return file ? file->content() : "";
  } catch (const Failure&) {
    return "";
  }
}

}  // namespace

void stamp(Label& label, const std::optional<std::string>& serial) {
  label.date = dateOfList();
  label.serial =
      !serial ? static_cast<uint64_t>(label.date) : numberOf(*serial, "--serial", 0, UINT64_MAX);
}

Label labelOf(const NewListOptions& options) {
  requireModeName(options.mode);
  Label label;
  label.set = setOf(options);
  label.mode = options.mode;
  label.list = listName(options.output, label.set, label.mode);
  stamp(label, options.serial);
  if (!isNamedLikeListOf(options.output, label.set, options.mode))
    throw UsageError("--output " + inQuotes(options.output) +
                     " is not named like a list of its set: " +
                     escaped(label.set + "." + options.mode) + ".*.list");
  if (fileName(options.output).size() + signatureEnding.size() > NAME_MAX)
    throw UsageError("--output " + inQuotes(options.output) + ": its name may have at most " +
                     std::to_string(NAME_MAX - signatureEnding.size()) +
                     " bytes, to leave room for .asc");
  return label;
}

bool isSameFile(const std::string& one, const std::string& other) {
  struct stat first = {};
  struct stat second = {};
  return one == other || (stat(one.c_str(), &first) == 0 && stat(other.c_str(), &second) == 0 &&
                          first.st_dev == second.st_dev && first.st_ino == second.st_ino);
}

void requireWritable(const std::string& output) {
  std::string const directory = directoryOf(output);
  if (access(directory.c_str(), W_OK | X_OK) != 0)
    throw Failure(STATUS_NOT_LOADED, withReason("cannot write to " + inQuotes(directory), errno));
  struct stat status = {};
  if (stat(output.c_str(), &status) == 0 && !S_ISREG(status.st_mode))
    throw Failure(STATUS_NOT_LOADED,
                  "cannot replace " + inQuotes(output) + ": it is not a regular file");
}

void commitList(AtomicFile& file, const std::string& path) {
  Directory const directory(directoryOf(path));
  std::string const signature = path + ".asc";
  bool const outdated = access(signature.c_str(), F_OK) == 0 &&
                        contentOf(directory, path) != readWholeFile(file.temporary());
  file.commit();
  if (outdated)
    say(inQuotes(signature) + " no longer matches the list: run zemo-selfcheck sign next");
}

}  // namespace tool
