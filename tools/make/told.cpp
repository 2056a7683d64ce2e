#include "make/told.h"

#include <array>
#include <vector>

#include "io/descriptors.h"
#include "io/paths.h"
#include "text/escape.h"
#include "text/json.h"
#include "text/strings.h"

namespace tool {
namespace {

struct Type {
  char letter;
  const char* one;
  const char* many;
  const char* member;  // of the JSON summary
};

const std::array<Type, 8> types = {
    {{'f', "file", "files", "files"},
     {'d', "directory", "directories", "directories"},
     {'l', "link", "links", "links"},
     {'c', "character device", "character devices", "character_devices"},
     {'b', "block device", "block devices", "block_devices"},
     {'p', "FIFO", "FIFOs", "fifos"},
     {'s', "socket", "sockets", "sockets"},
     {'x', "other", "others", "others"}}};

std::size_t numberOf(const Difference& difference, char letter, bool onlyFixed) {
  std::size_t number = 0;
  for (const Described& described : difference.entries)
    number += described.type == letter && (described.fixed || !onlyFixed) ? 1 : 0;
  return number;
}

Json record(const char* kind) {
  Json record;
  record["record"] = kind;
  return record;
}

void writePath(const char* kind, const std::string& path, const std::string& reason = "") {
  Json about = record(kind);
  putText(about, "path", path);
  if (!reason.empty())
    putText(about, "reason", reason);
  writeLine(recordLine(about));
}

void writePaths(const char* kind, const std::set<std::string>& paths) {
  for (const std::string& path : paths)
    writePath(kind, path);
}

Json startOf(const MakePlan& plan) {
  Json start = record("start");
  start["format"] = 1;  // incremented when a record loses a member or changes meaning
  start["program"] = "zemo-selfcheck";
  start["version"] = ZEMO_VERSION;
  putText(start, "output", plan.output);
  if (plan.root)
    putText(start, "root", *plan.root);
  putText(start, "set", plan.label.set);
  putText(start, "mode", plan.label.mode);
  putText(start, "list", plan.label.list);
  start["serial"] = plan.label.serial;
  start["date"] = utcText(plan.label.date);
  putTexts(start, "made", plan.label.made);
  return start;
}

Json summaryOf(const Told& told) {
  Json summary = record("summary");
  bool const isWritten = told.failure.empty();
  summary["written"] = isWritten;
  if (!isWritten)
    putText(summary, "reason", told.failure);
  for (const Type& type : types)
    summary[type.member] = isWritten ? numberOf(told.difference, type.letter, false) : 0;
  summary["fixed"] = isWritten ? numberOf(told.difference, 'd', true) : 0;
  summary["removals"] = isWritten ? told.difference.removals.size() : 0;
  summary["status"] = told.status;
  return summary;
}

}  // namespace

std::string summaryLine(const MakePlan& plan, const Told& told) {
  std::vector<std::string> parts;
  for (const Type& type : types) {
    std::size_t const number = numberOf(told.difference, type.letter, false);
    std::size_t const fixed = numberOf(told.difference, type.letter, true);
    if (number > 0)
      parts.push_back(counted(number, type.one, type.many) +
                      (fixed > 0 ? " (" + std::to_string(fixed) + " fixed)" : ""));
  }
  if (!told.difference.removals.empty())
    parts.push_back(counted(told.difference.removals.size(), "removal", "removals"));
  return escaped(fileName(plan.output)) + ": " +
         (parts.empty() ? "no entries: nothing differs from the base lists"
                        : joinedBy(", ", parts));
}

void writeJson(const MakePlan& plan, const Told& told) {
  writeLine(recordLine(startOf(plan)));
  for (const auto& [path, reason] : told.problems)
    writePath("problem", path, reason);
  writePaths("vanished", told.vanished);
  writePaths("changed", told.changed);
  writePaths("differing", told.differing);
  writePaths("unlisted", told.unlisted);
  writeLine(recordLine(summaryOf(told)));
}

}  // namespace tool
