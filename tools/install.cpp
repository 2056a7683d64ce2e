// install: puts the lists that a maker has sent in the place of those that are installed.
//
// All files are read once, before anything else. The bytes that were read are verified with this
// machine's key ring, and then installed. replacement.h describes how the set is replaced.

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "commands.h"
#include "install/incoming.h"
#include "io/exit_status.h"
#include "sets/manifest.h"
#include "sets/replacement.h"
#include "sets/set_change.h"
#include "sets/set_content.h"
#include "sets/set_lock.h"
#include "sets/sets.h"

namespace tool {
namespace {

const char* const examples =
    "Takes the lists of one set with their signatures and, if it has one, its signed manifest. "
    "With a manifest, the set then has exactly the lists that it describes, in its order. Without "
    "one, lists of the same name are replaced, others stay, and new ones override them. Nothing is "
    "changed unless every signature verifies with this machine's key ring.\n"
    "\n"
    "The set that was replaced is kept, and --back puts it in place again.\n"
    "\n"
    "Examples:\n"
    "  zemo-selfcheck install new/ --dry-run\n"
    "  zemo-selfcheck install wam.full.base.list wam.full.local.list wam.full.manifest\n"
    "  zemo-selfcheck install --back\n";

struct Options {
  std::vector<std::string> files;
  bool back = false;
  std::optional<std::string> package;
  std::optional<std::string> mode;
  std::optional<std::string> root;
  std::optional<std::string> lists;
  bool acceptOlder = false;
  SetChangeOptions change;
};

// The serial in the second line; empty if it is not a label.
std::optional<uint64_t> serialOf(const std::optional<std::string>& list) {
  return list ? serialIn(*list) : std::nullopt;
}

void refuseOlder(const std::string& name, uint64_t offered, uint64_t installed) {
  if (offered < installed)
    throw Failure(STATUS_NOT_LOADED,
                  inQuotes(name) + " is older than the one that is installed: serial " +
                      std::to_string(offered) + ", not " + std::to_string(installed) +
                      "; nothing was installed (see --accept-older)");
}

std::optional<Manifest> manifestIn(const SetContent& content, const SetPlace& place) {
  std::string const name = manifestName(place.set, place.mode);
  auto const file = content.files.find(name);
  if (file == content.files.end())
    return std::nullopt;
  try {
    return parseManifest(file->second.value_or(""), name, place.set, place.mode);
  } catch (const Failure& failure) {
    say(std::string("warning: the installed manifest is not compared: ") + failure.what());
    return std::nullopt;
  }
}

void requireNewer(const SetPlace& place, const SetContent& before, const Incoming& incoming) {
  if (incoming.manifest) {
    if (std::optional<Manifest> const installed = manifestIn(before, place))
      refuseOlder(manifestName(place.set, place.mode), incoming.manifest->label.serial,
                  installed->label.serial);
    return;
  }
  for (const std::string& name : incoming.content.lists) {
    auto const old = before.files.find(name);
    std::optional<uint64_t> const offered = serialOf(incoming.content.files.at(name));
    std::optional<uint64_t> const installed =
        old == before.files.end() ? std::nullopt : serialOf(old->second);
    if (offered && installed)
      refuseOlder(name, *offered, *installed);
    else if (installed)
      throw Failure(STATUS_NOT_LOADED, inQuotes(name) +
                                           " has no serial, but the one that is installed has " +
                                           std::to_string(*installed) +
                                           "; nothing was installed (see --accept-older)");
  }
}

bool hasManifest(const SetContent& content, const SetPlace& place) {
  return content.files.count(manifestName(place.set, place.mode)) != 0;
}

// The set as it is going to be.
SetContent afterInstalling(const SetContent& before, const Incoming& incoming) {
  SetContent after = incoming.content;
  if (!incoming.manifest) {
    after.lists = before.lists;
    for (const std::string& name : incoming.content.lists) {
      if (before.files.count(name) == 0)
        after.lists.push_back(name);
    }
    after.files.insert(before.files.begin(), before.files.end());
    after.files.erase(blockerName(incoming.set, incoming.mode));
  }
  auto const order = before.files.find(orderName);
  if (order != before.files.end())
    after.files[orderName] = order->second;
  return after;
}

std::unique_ptr<const SetLock> lockOf(const SetPlace& place, const SetChangeOptions& change) {
  return change.dryRun ? nullptr : std::make_unique<const SetLock>(place);
}

int installFiles(const Options& options) {
  if (options.package || options.mode)
    throw UsageError("--package and --mode need --back: the files say which set they are of");
  Incoming const incoming = incomingFrom(options.files);
  SetPlace const place = placeOf(incoming.set, incoming.mode, options.root, options.lists);
  std::unique_ptr<const SetLock> const lock = lockOf(place, options.change);
  SetContent const now = contentIn(place.directory, place.set, place.mode);
  SetContent const before = lastWhole(place, now);
  if (!incoming.manifest && hasManifest(before, place))
    throw Failure(STATUS_NOT_LOADED,
                  "the installed set has a manifest, and none is given; nothing "
                  "was installed");
  if (!options.acceptOlder)
    requireNewer(place, before, incoming);
  changeSet(place, now, afterInstalling(before, incoming), options.change);
  return STATUS_INTACT;
}

// Only lists and what belongs to them come back: the key ring stays, and decides.
int bringBack(const Options& options) {
  if (!options.files.empty())
    throw UsageError("--back takes no files");
  std::string const set = options.package.value_or(systemSet);
  std::string const mode = options.mode.value_or(defaultMode);
  requireSetName(set);
  requireModeName(mode);
  SetPlace const place = placeOf(set, mode, options.root, options.lists);
  std::unique_ptr<const SetLock> const lock = lockOf(place, options.change);
  SetContent const before = contentIn(place.directory, set, mode);
  Incoming previous{set, mode, contentIn(previousDirectory(place), set, mode), std::nullopt};
  if (previous.content.lists.empty())
    throw Failure(STATUS_NOT_LOADED,
                  "there is no previous set in " + inQuotes(previousDirectory(place)));
  previous.content.files.erase(orderName);  // `lists` has it
  previous = verified(std::move(previous), previousDirectory(place));
  SetContent after = previous.content;
  auto const order = before.files.find(orderName);
  if (order != before.files.end())
    after.files[orderName] = order->second;
  changeSet(place, before, std::move(after), options.change);
  return STATUS_INTACT;
}

}  // namespace

void addInstall(Commands& program) {
  auto const options = std::make_shared<Options>();
  options->change.command = "install";
  Arguments takes = program.add(
      "install", "Verify lists, and put them in the place of those installed", examples,
      [options] { return options->back ? bringBack(*options) : installFiles(*options); });
  takes.words("FILE", options->files,
              "Lists, their signatures and the manifest of one set, or directories with them");
  takes.flag("--back", options->back, "Install the set that was replaced last");
  takes.value("--package", "NAME", options->package,
              "With --back: the set of this package (default: wam, the system's own)");
  takes.value("--mode", "MODE", options->mode,
              "With --back: the mode of the lists (default: full)");
  takes.flag("--accept-older", options->acceptOlder,
             "Also install what is older than the installed set");
  takes.flag("--dry-run", options->change.dryRun, "Verify, show what would change, and stop");
  takes.value("--root", "DIR", options->root,
              "Install into the system below this directory; this machine's key ring decides");
  takes.value("--lists", "DIR", options->lists,
              "Install into this directory, laid out like /usr/zemo/selfcheck");
  takes.choice("--format", {"text", "json"}, options->change.format, "Output format");
}

}  // namespace tool
