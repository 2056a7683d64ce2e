// make: writes a check list that states files as they are now.

#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "commands.h"
#include "io/atomic_file.h"
#include "io/directory.h"
#include "io/paths.h"
#include "io/regular_file.h"
#include "make/describe.h"
#include "make/difference.h"
#include "make/inventory.h"
#include "make/placeholders.h"
#include "make/plan.h"
#include "make/verify_written.h"
#include "run/failure.h"
#include "sets/list_file.h"
#include "text/escape.h"
#include "text/strings.h"

using ZEMO::SELF_CHECK::FileList;

namespace tool {
namespace {

const char* const examples =
    "Writes the list whole or not at all, after it has been read back and compared with the disk.\n"
    "Its name says what it is: SET.MODE.NAME.list; the set is wam, or the package's.\n"
    "\n"
    "Examples:\n"
    "  zemo-selfcheck make --output wam.full.base.list /usr --exclude /usr/local\n"
    "  zemo-selfcheck make --output wam.full.bash.list --dpkg bash libc6\n"
    "  zemo-selfcheck make --output wam.full.update.list --base wam.full.base.list -- /usr/lib\n"
    "  zemo-selfcheck make --output notes.full.1.list --package notes /var/packages/notes/target\n";

std::string removalLine(const std::string& path) {
  return "-" + path + "\t-\t-\t-\t-\t-\t-";
}

void writeList(AtomicFile& file, const MakePlan& plan, const Difference& difference,
               const Placeholders& placeholders) {
  file.write(listHeader + "\n" + labelLine(plan.label) + "\n");
  auto removal = difference.removals.begin();
  auto const writeRemovalsBefore = [&](const std::string* path) {
    for (; removal != difference.removals.end() && (path == nullptr || *removal < *path); ++removal)
      file.write(removalLine(placeholders.directory(*removal)) + "\n");
  };
  for (const Described& described : difference.entries) {
    writeRemovalsBefore(&described.entry->_path);
    file.write(placeholders.line(*described.entry) + "\n");
  }
  writeRemovalsBefore(nullptr);
  file.finish();
}

// "wam.full.base.list: 12 files, 3 directories (1 fixed), 2 removals"
std::string summary(const MakePlan& plan, const Difference& difference) {
  struct Type {
    char letter;
    const char* one;
    const char* many;
  };
  static const std::array<Type, 8> types = {{{'f', "file", "files"},
                                             {'d', "directory", "directories"},
                                             {'l', "link", "links"},
                                             {'c', "character device", "character devices"},
                                             {'b', "block device", "block devices"},
                                             {'p', "FIFO", "FIFOs"},
                                             {'s', "socket", "sockets"},
                                             {'x', "other", "others"}}};
  std::string parts;
  auto const add = [&parts](const std::string& part) {
    parts += (parts.empty() ? "" : ", ") + part;
  };
  for (const Type& type : types) {
    std::size_t number = 0;
    std::size_t fixed = 0;
    for (const Described& described : difference.entries) {
      number += described.type == type.letter ? 1 : 0;
      fixed += described.type == type.letter && described.fixed ? 1 : 0;
    }
    if (number > 0)
      add(counted(number, type.one, type.many) +
          (fixed > 0 ? " (" + std::to_string(fixed) + " fixed)" : ""));
  }
  if (!difference.removals.empty())
    add(counted(difference.removals.size(), "removal", "removals"));
  return escaped(fileName(plan.output)) + ": " +
         (parts.empty() ? "no entries: nothing differs from the base lists" : parts);
}

// Empty if there is no such file, or none that could be a list.
std::string contentOf(const Directory& directory, const std::string& path) {
  try {
    std::optional<RegularFile> const file = RegularFile::ifThere(directory, path);
    return file ? file->content() : "";
  } catch (const Failure&) {
    return "";
  }
}

// Before hours are spent on what cannot be written in the end.
void requireWritable(const std::string& output) {
  std::string const directory = directoryOf(output);
  if (access(directory.c_str(), W_OK | X_OK) != 0)
    throw Failure(STATUS_NOT_LOADED, withReason("cannot write to " + inQuotes(directory), errno));
  struct stat status = {};
  if (stat(output.c_str(), &status) == 0 && !S_ISREG(status.st_mode))
    throw Failure(STATUS_NOT_LOADED,
                  "cannot replace " + inQuotes(output) + ": it is not a regular file");
}

// Names what is not as its package installed it.
void requireUnchanged(const std::vector<Described>& found, const MakePlan& plan) {
  std::size_t number = 0;
  for (const Described& described : found) {
    if (!described.changed)
      continue;
    say(inQuotes(described.path) + " is not what its package installed");
    number += 1;
  }
  if (number > 0 && !plan.allowChanged)
    throw Failure(STATUS_CHANGED, "no list is written, because of " +
                                      counted(number, "changed file", "changed files") +
                                      "; --allow-changed lists them as they are");
}

void warnOfUnlisted(const std::set<std::string>& directories) {
  constexpr std::size_t most = 3;
  std::string names;
  std::size_t number = 0;
  for (const std::string& directory : directories) {
    if (number++ < most)
      names += (names.empty() ? "" : ", ") + inQuotes(directory);
  }
  if (number == 0)
    return;
  say("warning: no list states " + names +
      (number > most ? " and " + std::to_string(number - most) + " more" : "") +
      ", above listed files, to be " + (number == 1 ? "a directory" : "directories") +
      ": a link in that place would be followed");
}

// The list, written and proved, for what is `found`; from there, what vanishes meanwhile is taken
// out. Nothing, with the reasons said and `status` the exit status, if what is on disk differs.
std::optional<AtomicFile> verifiedList(const MakePlan& plan, const Placeholders& placeholders,
                                       FileList::ProtectedFileMap const& before,
                                       std::vector<Described>& found, Difference& difference,
                                       Progress& progress, int& status) {
  auto const written = [&] {
    difference = differenceTo(before, found, plan);
    if (found.empty() && difference.removals.empty())
      throw Failure(STATUS_NOT_LOADED, "there is nothing to list");
    AtomicFile file(plan.output, 0644);
    writeList(file, plan, difference, placeholders);
    return file;
  };
  std::optional<AtomicFile> file(written());
  Verification const verification = verifyWritten(
      *readBack(file->temporary(), plan, found, difference), plan, found, difference, progress);
  status = verification.status;
  if (status != STATUS_INTACT) {
    say("no list is written: files changed while it was made, or a member of a fixed directory is "
        "left out");
    return std::nullopt;
  }
  if (verification.gone.empty())
    return file;
  leaveOut(verification.gone, found);
  file.emplace(written());
  (void)readBack(file->temporary(), plan, found, difference);
  return file;
}

int runMake(const MakeOptions& options) {
  MakePlan const plan = planOf(options);
  requireWritable(plan.output);
  Placeholders const placeholders = plan.forPackage ? Placeholders(plan.label.set) : Placeholders();
  FileList base(plan.label.set, plan.mode);
  mergeBases(plan, base);
  FileList::ProtectedFileMap const& before = *base.getProtectedFiles();
  requireOutputOutside(plan, before);

  Progress progress(plan.progress);
  Problems problems;
  Inventory inventory = takeInventory(plan, before, progress, problems);
  keepFixed(before, inventory);
  std::vector<Described> found = describe(inventory, plan, placeholders, progress, problems);
  problems.refuse();
  leaveOut(vanishedIn(found), found);
  requireUnchanged(found, plan);

  Difference difference;
  int status = STATUS_INTACT;
  std::optional<AtomicFile> file =
      verifiedList(plan, placeholders, before, found, difference, progress, status);
  if (!file)
    return status;
  Directory const directory(directoryOf(plan.output));
  std::string const signature = plan.output + ".asc";
  bool const outdated = access(signature.c_str(), F_OK) == 0 &&
                        contentOf(directory, plan.output) != readWholeFile(file->temporary());
  file->commit();
  if (outdated)
    say(inQuotes(signature) + " no longer fits the list: run zemo-selfcheck sign next");
  warnOfUnlisted(unlistedParents(before, found, placeholders.packageDirectory()));
  puts(summary(plan, difference).c_str());
  return STATUS_INTACT;
}

void addWhatToList(Arguments& takes, MakeOptions& options) {
  takes.words("PATH", options.paths, "Files, and directories with all that lies below them");
  takes.value("--from", "FILE", options.from,
              "List the files named in this file, - for standard input; directories without "
              "what lies in them");
  takes.flag("-z,--null", options.nul, "The names of --from end by a zero byte");
  takes.values("--dpkg", "PACKAGE", options.dpkg, "List the files of these packages of dpkg's");
  takes.flag("--conffiles", options.conffiles,
             "State size and content of the packages' configuration files, too");
  takes.flag("--allow-changed", options.allowChanged,
             "List files of packages that are not as dpkg installed them, too, and name them");
  takes.repeated("--exclude", "GLOB", options.exclude,
                 "Leave out what matches, and all below it: with a slash, the whole path; "
                 "without, the last component");
  takes.repeated("--fixed", "DIR", options.fixed,
                 "List this directory with its members as the only ones that it may have");
  takes.list("--omit", "ITEM,...", options.omit,
             "Do not state size, owner, group, type, permission, hash, or all of them");
}

void addWhatToWrite(Arguments& takes, MakeOptions& options) {
  takes.requiredValue("--output", "FILE", options.output, "The list to write");
  takes.value("--package", "NAME", options.package,
              "The list is one of this package's set, with placeholders for its directory and "
              "user");
  takes.value("--mode", "MODE", options.mode, "Kind of lists");
  takes.values("--base", "LIST", options.base,
               "Write only what differs from these lists, which are read before this one");
  takes.value("--serial", "N", options.serial, "The list's serial number instead of its date");
  takes.number("--jobs", options.jobs, 1, mostJobs, "Threads; without it, one for each processor");
  takes.flag("--no-progress", options.noProgress, "Show no progress on a terminal");
}

}  // namespace

void addMake(Commands& program) {
  auto const options = std::make_shared<MakeOptions>();
  Arguments takes = program.add("make", "Write a list that states files as they are now", examples,
                                [options] { return runMake(*options); });
  addWhatToList(takes, *options);
  addWhatToWrite(takes, *options);
}

}  // namespace tool
