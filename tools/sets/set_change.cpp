#include "sets/set_change.h"

#include <memory>
#include <optional>

#include "io/descriptors.h"
#include "io/exit_status.h"
#include "sets/differences.h"
#include "sets/manifest.h"
#include "sets/replacement.h"
#include "text/escape.h"
#include "text/json.h"
#include "text/strings.h"

namespace tool {
namespace {

// The serial of the manifest; empty if there is none.
std::optional<uint64_t> serialOf(const SetContent& content, const SetPlace& place) {
  std::string const name = manifestName(place.set, place.mode);
  auto const file = content.files.find(name);
  if (file == content.files.end() || !file->second)
    return std::nullopt;
  try {
    return parseManifest(*file->second, name, place.set, place.mode).label.serial;
  } catch (const Failure&) {
    return std::nullopt;
  }
}

const char* changeOf(const std::string& name, const SetContent& before, const SetContent& after) {
  auto const old = before.files.find(name);
  auto const now = after.files.find(name);
  if (now == after.files.end())
    return "removed";
  if (old == before.files.end())
    return "new";
  return old->second == now->second ? "unchanged" : "changed";
}

// The names of all lists, in the order of `after`, and then those that are removed.
std::vector<std::string> allLists(const SetContent& before, const SetContent& after) {
  std::vector<std::string> names = after.lists;
  for (const std::string& name : before.lists) {
    if (after.files.count(name) == 0)
      names.push_back(name);
  }
  return names;
}

class Teller {
 public:
  Teller(const SetPlace& place, const SetContent& before, const SetContent& after,
         const SetChangeOptions& options)
      : _place(place), _before(before), _after(after), _options(options) {}

  void start() const {
    if (!isJson())
      return;
    Json record;
    record["record"] = "start";
    record["format"] = 1;  // incremented when a record loses a member or changes meaning
    record["program"] = "zemo-selfcheck";
    record["version"] = ZEMO_VERSION;
    record["command"] = _options.command;
    putText(record, "set", _place.set);
    putText(record, "mode", _place.mode);
    putText(record, "directory", _place.directory);
    record["dry_run"] = _options.dryRun;
    writeLine(recordLine(record));
  }

  void differences() {
    Side const old = statementsOf(_before);
    Side const now = statementsOf(_after);
    TextReport text;
    JsonReport json;
    DiffReport silent;
    DiffReport& report = _before.lists.empty() ? silent
                         : isJson()            ? static_cast<DiffReport&>(json)
                                               : text;
    _counts = compareSides(old, now, report);
    for (const std::string& name : allLists(_before, _after)) {
      const char* const change = changeOf(name, _before, _after);
      if (isJson()) {
        Json record;
        record["record"] = "list";
        putText(record, "name", name);
        record["change"] = change;
        writeLine(recordLine(record));
      } else if (changeOf(name, _before, _after) != std::string("unchanged")) {
        writeLine("list " + inQuotes(name) + ": " + change);
      }
    }
    if (!isJson())
      text.summary(old, now, _counts);
  }

  // `way`: "exchange", "renames", or "none" if nothing was done.
  void end(const std::string& way) const {
    std::optional<uint64_t> const serial = serialOf(_after, _place);
    if (isJson()) {
      Json record;
      record["record"] = "summary";
      record["added"] = _counts.added;
      record["removed"] = _counts.removed;
      record["changed"] = _counts.changed;
      record["same"] = _counts.same;
      if (serial)
        record["serial"] = *serial;
      record["way"] = way;
      writeLine(recordLine(record));
      return;
    }
    std::string const has =
        "set " + inQuotes(_place.set) + ", mode " + inQuotes(_place.mode) + ", has " +
        counted(_after.lists.size(), "list", "lists") +
        (serial ? " and a manifest with the serial " + std::to_string(*serial) : "");
    if (way != "none")
      writeLine("done: " + has);
    else
      writeLine(_options.dryRun ? "dry run: nothing was changed" : "nothing to do: " + has);
  }

 private:
  bool isJson() const { return _options.format == "json"; }

  const SetPlace& _place;
  const SetContent& _before;
  const SetContent& _after;
  const SetChangeOptions& _options;
  Counts _counts;
};

}  // namespace

void changeSet(const SetPlace& place, const SetContent& before, SetContent after,
               const SetChangeOptions& options) {
  orderLists(after, place.set, place.mode);
  Teller teller(place, before, after, options);
  teller.start();
  teller.differences();
  bool const changes = before.unfinished || before.files != after.files;
  if (options.dryRun || !changes) {
    teller.end("none");
    return;
  }
  flushOutput();  // a reader sees it before anything changes
  teller.end(replaceSet(place, before, after) == Way::EXCHANGE ? "exchange" : "renames");
}

}  // namespace tool
