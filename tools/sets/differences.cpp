#include "sets/differences.h"

#include "io/descriptors.h"
#include "io/exit_status.h"
#include "text/entry_json.h"
#include "text/escape.h"
#include "text/json.h"

namespace tool {
namespace {

// The parts of the list's line that have a meaning.
std::string lineOf(const std::string& path, const Statement& statement) {
  if (statement.removal)
    return "-" + escaped(path);
  std::string line = escaped(path);
  for (const Column& column : columns)
    line += "\t" + escaped((*statement.entry).*column.text);
  return line;
}

std::string visible(const std::string& text) {
  return text.empty() ? "\"\"" : escaped(text);
}

bool labelsDiffer(const Side& before, const Side& after) {
  return before.label && after.label && *before.label != *after.label;
}

void writeOneSided(const char* record, const std::string& path, const Statement& statement) {
  Json json;
  json["record"] = record;
  putText(json, "path", path);
  if (statement.removal)
    json["removal"] = true;
  else
    putColumns(json, *statement.entry);
  writeLine(recordLine(json));
}

bool isSame(const Statement& before, const Statement& after) {
  if (before.removal)
    return true;  // the other columns of such a line do not count
  for (const Column& column : columns) {
    if ((*before.entry).*column.text != (*after.entry).*column.text)
      return false;
  }
  return true;
}

void compareStatements(const std::string& path, const Statement& before, const Statement& after,
                       DiffReport& report, Counts& counts) {
  if (before.removal != after.removal) {
    report.removed(path, before);
    report.added(path, after);
    ++counts.removed;
    ++counts.added;
  } else if (isSame(before, after)) {
    ++counts.same;
  } else {
    report.changed(path, before, after);
    ++counts.changed;
  }
}

}  // namespace

void DiffReport::added(const std::string& /*path*/, const Statement& /*statement*/) {}
void DiffReport::removed(const std::string& /*path*/, const Statement& /*statement*/) {}
void DiffReport::changed(const std::string& /*path*/, const Statement& /*before*/,
                         const Statement& /*after*/) {}
void DiffReport::summary(const Side& /*before*/, const Side& /*after*/, const Counts& /*counts*/) {}

void TextReport::added(const std::string& path, const Statement& statement) {
  writeLine("+ " + lineOf(path, statement));
}

void TextReport::removed(const std::string& path, const Statement& statement) {
  writeLine("- " + lineOf(path, statement));
}

void TextReport::changed(const std::string& path, const Statement& before, const Statement& after) {
  for (const Column& column : columns) {
    const std::string& old = (*before.entry).*column.text;
    const std::string& now = (*after.entry).*column.text;
    if (old != now)
      writeLine("~ " + escaped(path) + " " + column.name + " " + visible(old) + " -> " +
                visible(now));
  }
}

void TextReport::summary(const Side& before, const Side& after, const Counts& counts) {
  std::string line = std::to_string(counts.added) + " added, " + std::to_string(counts.removed) +
                     " removed, " + std::to_string(counts.changed) + " changed, " +
                     std::to_string(counts.same) + " unchanged";
  if (labelsDiffer(before, after))
    line += "; the labels on line 2 differ: " + inQuotes(*before.label) + " and " +
            inQuotes(*after.label);
  writeLine(line);
}

void JsonReport::added(const std::string& path, const Statement& statement) {
  writeOneSided("added", path, statement);
}

void JsonReport::removed(const std::string& path, const Statement& statement) {
  writeOneSided("removed", path, statement);
}

void JsonReport::changed(const std::string& path, const Statement& before, const Statement& after) {
  Json record;
  record["record"] = "changed";
  putText(record, "path", path);
  Json old = Json::object();
  Json now = Json::object();
  for (const Column& column : columns) {
    if ((*before.entry).*column.text == (*after.entry).*column.text)
      continue;
    putColumn(old, *before.entry, column);
    putColumn(now, *after.entry, column);
  }
  record["old"] = old;
  record["new"] = now;
  writeLine(recordLine(record));
}

void JsonReport::summary(const Side& before, const Side& after, const Counts& counts) {
  Json record;
  record["record"] = "summary";
  putText(record, "old", before.name);
  putText(record, "new", after.name);
  if (!before.root.empty())
    putText(record, "oldRoot", before.root);
  if (!after.root.empty())
    putText(record, "newRoot", after.root);
  record["added"] = counts.added;
  record["removed"] = counts.removed;
  record["changed"] = counts.changed;
  record["same"] = counts.same;
  record["labelsDiffer"] = labelsDiffer(before, after);
  writeLine(recordLine(record));
}

Counts compareSides(const Side& before, const Side& after, DiffReport& report) {
  Counts counts;
  auto old = before.statements.begin();
  auto now = after.statements.begin();
  while (old != before.statements.end() || now != after.statements.end()) {
    if (now == after.statements.end() ||
        (old != before.statements.end() && old->first < now->first)) {
      report.removed(old->first, old->second);
      ++counts.removed;
      ++old;
    } else if (old == before.statements.end() || now->first < old->first) {
      report.added(now->first, now->second);
      ++counts.added;
      ++now;
    } else {
      compareStatements(old->first, old->second, now->second, report, counts);
      ++old;
      ++now;
    }
  }
  return counts;
}

}  // namespace tool
