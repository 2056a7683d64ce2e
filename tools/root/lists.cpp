#include "root/lists.h"

#include <fcntl.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <map>

#include "gnupg/home_files.h"
#include "io/exit_status.h"
#include "io/paths.h"
#include "io/regular_file.h"
#include "io/scratch_directory.h"
#include "sets/sets.h"
#include "text/strings.h"

namespace tool {
namespace {

// The copies take memory. A list of a million entries has 0.1 GB.
constexpr uint64_t mostBytes = uint64_t{1} << 30U;
constexpr unsigned mostFiles = 65536;

const std::string orderName = "listorder";

using Contents = std::map<std::string, std::string>;  // by path

// The files of this machine that GnuPG opens to verify.
Contents keyRing() {
  Contents files;
  for (const std::string& path : gnupgFilesOf(gnupgHome)) {
    if (directoryOf(path) == gnupgHome)
      files[path] = readWholeFile(path);
  }
  if (files.count(gnupgHome + "/pubring.kbx") == 0 && files.count(gnupgHome + "/pubring.gpg") == 0)
    throw Failure(STATUS_NOT_LOADED, "there is no key ring in " + inQuotes(gnupgHome) +
                                         " of this machine (see zemo-selfcheck-init-home(1))");
  return files;
}

bool isOfLists(const std::string& name) {
  if (name == orderName)
    return true;
  std::string const plain = endsWith(name, ".asc") ? name.substr(0, name.size() - 4) : name;
  return endsWith(plain, ".list") || endsWith(plain, ".manifest");
}

// The kernel reports a file system without room, or without room for another file, in one way.
[[noreturn]] void cannotWrite(const std::string& path) {
  std::string const limit = errno == ENOSPC ? " (all lists of another root together may have " +
                                                  std::to_string(mostBytes >> 20U) + " MiB and " +
                                                  std::to_string(mostFiles) + " files)"
                                            : "";
  throw Failure(STATUS_NOT_LOADED, withReason("cannot copy to " + inQuotes(path), errno) + limit);
}

void makeDirectory(const std::string& path) {
  if (mkdir(path.c_str(), 0755) != 0)
    cannotWrite(path);
}

uint64_t sizeOf(const Descriptor& file) {
  struct stat status = {};
  return fstat(file.get(), &status) == 0 ? static_cast<uint64_t>(status.st_size) : 0;
}

uint64_t roomFor(const Descriptor& copy) {
  struct statvfs status = {};
  return fstatvfs(copy.get(), &status) == 0 ? uint64_t{status.f_bavail} * status.f_frsize : 0;
}

// Writes all that can be read. Throws a Failure to read or to write, after which `copy` is to be
// emptied.
void copyContent(const Tree& from, const std::string& path, const Descriptor& copy,
                 const std::string& name) {
  Descriptor const file = from.regular(path);
  errno = ENOSPC;
  if (sizeOf(file) > roomFor(copy))
    cannotWrite(name);
  int const error = readBlocks(file.get(), [&](std::string_view block) {
    errno = writeAll(copy.get(), block);
    if (errno != 0)
      cannotWrite(name);
  });
  if (error != 0)
    from.cannotRead(path, error);
}

// The library would read the lists of a set without its order in another order, so an order that
// cannot be read is a failure.
void copyFile(const Tree& from, const std::string& path, const std::string& name) {
  Descriptor const copy(open(name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644));
  if (copy.get() < 0)
    cannotWrite(name);
  try {
    copyContent(from, path, copy, name);
  } catch (const Failure& failure) {
    if (fileName(path) == orderName)
      throw;
    say(failure.what());
    if (ftruncate(copy.get(), 0) != 0)
      cannotWrite(name);
  }
}

void copyFiles(const Tree& from, const std::string& place, const std::string& directory) {
  for (const std::string& name : from.members(place)) {
    if (isOfLists(name))
      copyFile(from, joined(place, name), joined(directory, name));
  }
}

// True if it is certain that the library would find no set there.
bool isNoSet(const Tree& from, const std::string& package) {
  struct stat status = {};
  Descriptor const member = from.opened(package, O_PATH | O_NOFOLLOW);
  return member.get() >= 0 && fstat(member.get(), &status) == 0 && !S_ISDIR(status.st_mode) &&
         !S_ISLNK(status.st_mode);
}

void copyPackage(const Tree& from, const std::string& package, const std::string& directory) {
  makeDirectory(directory);
  try {
    copyFiles(from, package, directory);
  } catch (const Failure& failure) {
    say(failure.what());
    (void)std::filesystem::remove_all(directory);
    makeDirectory(directory);
  }
}

// Links count as sets, wherever they lead: a set that is not there cannot be loaded.
void copyPackages(const Tree& from, const std::string& place) {
  makeDirectory(packagesDirectory);
  for (const std::string& name : from.members(place)) {
    std::string const package = joined(place, name);
    if (!isNoSet(from, package))
      copyPackage(from, package, joined(packagesDirectory, name));
  }
}

}  // namespace

void putListsOf(const Tree& from, const std::string& place) {
  Contents const ring = keyRing();
  std::string const options =
      "mode=0755,size=" + std::to_string(mostBytes) + ",nr_inodes=" + std::to_string(mostFiles);
  if (mount("zemo-selfcheck", systemDirectory.c_str(), "tmpfs", MS_NOSUID | MS_NODEV | MS_NOEXEC,
            options.c_str()) != 0)
    throw Failure(STATUS_NOT_LOADED,
                  withReason("cannot mount on " + inQuotes(systemDirectory), errno));
  for (const auto& [path, content] : ring)
    writeWholeFile(path, content);
  copyFiles(from, place, systemDirectory);
  copyPackages(from, joined(place, "packages"));
}

void takeListsAway() {
  if (umount2(systemDirectory.c_str(), MNT_DETACH | UMOUNT_NOFOLLOW) != 0)
    throw Failure(STATUS_NOT_LOADED,
                  withReason("cannot unmount " + inQuotes(systemDirectory), errno));
}

}  // namespace tool
