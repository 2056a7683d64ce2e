// make: writes a check list that describes files as they are now.

#include <cstdio>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "commands.h"
#include "io/atomic_file.h"
#include "io/exit_status.h"
#include "make/describe.h"
#include "make/difference.h"
#include "make/inventory.h"
#include "make/placeholders.h"
#include "make/plan.h"
#include "make/record.h"
#include "make/told.h"
#include "make/verify_written.h"
#include "root/other_root.h"
#include "sets/list_file.h"
#include "sets/new_list.h"
#include "text/strings.h"

using namespace ZEMO::SELF_CHECK;

namespace tool {
namespace {

const char* const examples =
    "Writes the whole list or nothing, after reading it back and comparing it with the disk. The "
    "name of the list must be SET.MODE.NAME.list, where SET is wam or the name of the package.\n"
    "\n"
    "Examples:\n"
    "  zemo-selfcheck make --output wam.full.base.list /usr --exclude /usr/local\n"
    "  zemo-selfcheck make --output wam.full.bash.list --dpkg bash libc6\n"
    "  zemo-selfcheck make --output wam.full.update.list --base wam.full.base.list -- /usr/lib\n"
    "  zemo-selfcheck make --output notes.full.1.list --package notes /var/packages/notes/target\n";

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

// Reports files that are not as their package installed them. Throws unless the plan allows these.
void requireUnchanged(const std::vector<Described>& found, const MakePlan& plan, Told& told) {
  for (const Described& described : found) {
    if (!described.changed)
      continue;
    say(inQuotes(described.path) + " differs from what its package installed");
    told.changed.insert(described.path);
  }
  std::size_t const number = told.changed.size();
  if (number > 0 && !plan.allowChanged)
    throw Failure(STATUS_CHANGED, "no list was written, because of " +
                                      counted(number, "changed file", "changed files") +
                                      "; --allow-changed lists them as they are");
}

void warnOfUnlisted(const std::set<std::string>& directories) {
  constexpr std::size_t most = 3;
  std::vector<std::string> names;
  for (const std::string& directory : directories) {
    if (names.size() < most)
      names.push_back(inQuotes(directory));
  }
  if (names.empty())
    return;
  if (directories.size() > most)
    names.push_back(std::to_string(directories.size() - most) + " more");
  say("warning: no list requires " + listed(names) + ", above listed files, to be " +
      (names.size() == 1 ? "a directory: a link in its place would be followed"
                         : "directories: a link in their place would be followed"));
}

// Does `work`, which examines files, where the list's paths lead to them: in the other root, if
// there is one.
void atFiles(const OtherRoot* root, const std::function<void()>& work) {
  if (root != nullptr)
    root->inside(work);
  else
    work();
}

// Null without another root.
std::unique_ptr<const OtherRoot> rootOf(const MakePlan& plan) {
  if (!plan.root)
    return nullptr;
  auto root = std::make_unique<const OtherRoot>(*plan.root);
  auto const ids = CHECK_ITEM_OWNER | CHECK_ITEM_GROUP;
  if (!root->knowsIds() && (plan.omitted & ids) != ids)
    throw Failure(STATUS_NOT_LOADED,
                  "only root can see the owners and groups of another root: --omit owner,group "
                  "makes a list without them");
  return root;
}

// In a user namespace, all owners without a number there look like the same one.
void requireKnownIds(const OtherRoot& root, const std::vector<Described>& found,
                     Problems& problems) {
  for (const Described& described : found) {
    if (described.entry != nullptr && (described.entry->_owner == root.unclear().owner ||
                                       described.entry->_group == root.unclear().group))
      problems.add(described.path, "this user namespace may have no number for its owner or group");
  }
}

Placeholders placeholdersOf(const MakePlan& plan, const Tree* root) {
  if (!plan.forPackage)
    return {};
  return root != nullptr ? Placeholders(*root, plan.label.set) : Placeholders(plan.label.set);
}

// Writes and verifies the list for the files `found`, and takes files that vanish meanwhile out of
// it. Returns nothing if the disk differs from the list; the differences are then reported.
std::optional<AtomicFile> verifiedList(const MakePlan& plan, const OtherRoot* root,
                                       const Placeholders& placeholders,
                                       FileList::ProtectedFileMap const& before,
                                       std::vector<Described>& found, Progress& progress,
                                       Told& told) {
  auto const written = [&] {
    atFiles(root, [&] { told.difference = differenceTo(before, found, plan); });
    if (found.empty() && told.difference.removals.empty())
      throw Failure(STATUS_NOT_LOADED, "there is nothing to list");
    AtomicFile file(plan.output, 0644);
    writeList(file, plan, told.difference, placeholders);
    return file;
  };
  std::optional<AtomicFile> file(written());
  std::unique_ptr<FileList> const read = readBack(file->temporary(), plan, found, told.difference);
  Verification verification;
  atFiles(root,
          [&] { verification = verifyWritten(*read, plan, found, told.difference, progress); });
  told.status = verification.status;
  told.differing = verification.differing;
  if (told.status != STATUS_INTACT) {
    told.failure =
        "no list was written: files changed meanwhile, or a member of a fixed directory is "
        "excluded";
    say(told.failure);
    return std::nullopt;
  }
  if (verification.gone.empty())
    return file;
  leaveOut(verification.gone, found);
  told.vanished.insert(verification.gone.begin(), verification.gone.end());
  file.emplace(written());
  (void)readBack(file->temporary(), plan, found, told.difference);
  return file;
}

void makeList(const MakePlan& plan, Told& told) {
  requireWritable(plan.output);
  std::unique_ptr<const OtherRoot> const root = rootOf(plan);
  const Tree* const tree = root ? &root->tree() : nullptr;
  Placeholders const placeholders = placeholdersOf(plan, tree);
  FileList base(plan.readAs, plan.mode);
  mergeBases(plan, base);
  FileList::ProtectedFileMap const& before = *base.getProtectedFiles();
  requireOutputOutside(plan, before);

  Progress progress(plan.progress);
  Problems problems;
  Sources sources = readSources(plan, tree);
  std::vector<Described> found;
  atFiles(root.get(), [&] {
    Inventory inventory = takeInventory(plan, std::move(sources), before, progress, problems);
    keepFixed(before, inventory);
    found = describe(inventory, plan, placeholders, progress, problems);
  });
  if (root)
    requireKnownIds(*root, found, problems);
  told.problems = problems.reasons();
  problems.refuse();
  told.vanished = vanishedIn(found);
  leaveOut(told.vanished, found);
  requireUnchanged(found, plan, told);

  std::optional<AtomicFile> file =
      verifiedList(plan, root.get(), placeholders, before, found, progress, told);
  if (!file)
    return;
  commitList(*file, plan.output);
  for (const std::string& pattern : plan.exclusions.unused())
    say("note: --exclude " + inQuotes(pattern) + " matched nothing");
  told.unlisted = unlistedParents(before, found, placeholders.packageDirectory());
  warnOfUnlisted(told.unlisted);
}

int runMake(const MakeOptions& options) {
  if (options.noVerify && !options.again)
    throw UsageError("--no-verify needs --again");
  MakePlan const plan = planOf(options.again ? optionsToRepeat(options) : options);
  bool const isJson = options.format == "json";
  Told told;
  try {
    makeList(plan, told);
  } catch (const Failure& failure) {
    told.failure = failure.what();
    told.status = failure.status();
    if (isJson)
      writeJson(plan, told);
    throw;
  }
  if (isJson)
    writeJson(plan, told);
  else if (told.failure.empty())
    puts(summaryLine(plan, told).c_str());
  return told.status;
}

void addWhatToList(Arguments& takes, MakeOptions& options) {
  addRecorded(takes, options);
  takes.value("--again", "LIST", options.again,
              "Make this list again, as its second line says that it was made");
  takes.value("--root", "DIR", options.root,
              "List files of the system below this directory, as it sees them");
  takes.flag("--allow-changed", options.allowChanged,
             "Also list files that differ from what dpkg installed, and name them");
}

void addWhatToWrite(Arguments& takes, MakeOptions& options) {
  takes.value("--output", "FILE", options.output, "List to write (with --again: default LIST)");
  takes.value("--package", "NAME", options.package,
              "Write a list for this package's set, with placeholders for its directory and user");
  takes.value("--mode", "MODE", options.mode, "Mode of the list");
  takes.value("--serial", "N", options.serial, "Serial number of the list (default: its date)");
  takes.number("--jobs", options.jobs, 1, mostJobs,
               "Number of threads (default: one per processor)");
  takes.flag("--no-verify", options.noVerify, "Do not verify the signature of the LIST of --again");
  takes.choice("--format", {"text", "json"}, options.format, "Output format");
  takes.flag("--no-progress", options.noProgress, "Do not show progress on a terminal");
}

}  // namespace

void addMake(Commands& program) {
  auto const options = std::make_shared<MakeOptions>();
  Arguments takes = program.add("make", "Write a list of files as they are now", examples,
                                [options] { return runMake(*options); });
  addWhatToList(takes, *options);
  addWhatToWrite(takes, *options);
}

}  // namespace tool
