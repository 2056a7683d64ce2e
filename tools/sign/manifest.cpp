#include "sign/manifest.h"

#include <sys/stat.h>

#include <cerrno>
#include <set>

#include "io/exit_status.h"
#include "io/paths.h"
#include "io/regular_file.h"
#include "sets/list_file.h"
#include "sets/manifest.h"
#include "sets/new_list.h"
#include "sets/sets.h"

namespace tool {
namespace {

struct stat statusOf(const Directory& directory) {
  struct stat status = {};
  bool const isOpen = directory.get() >= 0;
  if (!isOpen || fstat(directory.get(), &status) != 0)
    throw Failure(STATUS_NOT_LOADED, withReason("cannot examine " + inQuotes(directory.path()),
                                                isOpen ? errno : directory.error()));
  return status;
}

bool isSameDirectory(const Directory& one, const Directory& other) {
  struct stat const first = statusOf(one);
  struct stat const second = statusOf(other);
  return first.st_dev == second.st_dev && first.st_ino == second.st_ino;
}

void requireFitting(const SignedFile& list, const Label& label, const Directory& directory) {
  if (!isNamedLikeListOf(list.path, label.set, label.mode))
    throw UsageError(inQuotes(list.path) + " is not named like a list of the set " +
                     inQuotes(label.set) + ", mode " + inQuotes(label.mode));
  if (!isSameDirectory(list.directory, directory))
    throw UsageError(inQuotes(list.path) + " is not in the manifest's directory");
  std::optional<Label> const own = parseLabel(listIn(list.content, list.path).label);
  if (own && !isLabelOf(*own, list.path, label.set, label.mode))
    throw Failure(STATUS_NOT_LOADED,
                  inQuotes(list.path) +
                      " says in line 2 that it is another list, so no manifest can name it");
}

// Machines that have accepted the existing manifest would take the new one for an old one.
void warnOfNewer(const Directory& directory, const std::string& path, const Label& label) try {
  std::optional<RegularFile> const file = RegularFile::ifThere(directory, path);
  if (!file)
    return;
  Label const existing =
      parseManifest(file->content(longestManifest + 1), path, label.set, label.mode).label;
  if (existing.serial > label.serial)
    say("warning: " + inQuotes(path) + " had the serial " + std::to_string(existing.serial) +
        ", higher than the new one, " + std::to_string(label.serial));
} catch (const Failure&) {  // it is not a manifest, and is going to be replaced
}

}  // namespace

SignedFile manifestOf(const std::string& path, const std::vector<SignedFile>& lists,
                      const std::optional<std::string>& serial) {
  Manifest manifest{labelOfManifest(path), {}};
  stamp(manifest.label, serial);
  Directory const directory(directoryOf(path));
  std::set<std::string> names;
  for (const SignedFile& list : lists) {
    requireFitting(list, manifest.label, directory);
    std::string const name = fileName(list.path);
    if (!names.insert(name).second)
      throw UsageError(inQuotes(list.path) + " is given twice");
    manifest.lists.push_back(manifestLine(name, list.content));
  }
  std::string text = manifestText(manifest);
  (void)parseManifest(text, path, manifest.label.set, manifest.label.mode);
  warnOfNewer(directory, path, manifest.label);
  return {directory, path, std::move(text)};
}

}  // namespace tool
