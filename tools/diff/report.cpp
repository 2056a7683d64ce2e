#include "diff/report.h"

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

}  // namespace

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

}  // namespace tool
