#include "make/verify_written.h"

#include <algorithm>
#include <cstdlib>
#include <map>
#include <set>

#include "io/exit_status.h"
#include "run/log_relay.h"
#include "run/workers.h"
#include "sets/list_file.h"
#include "text/escape.h"

using namespace ZEMO::SELF_CHECK;

namespace tool {
namespace {

using Map = FileList::ProtectedFileMap;

[[noreturn]] void failAt(const std::string& path) {
  throw Failure(STATUS_NOT_LOADED, "the list does not read back as intended, at " + inQuotes(path) +
                                       "; has a base list changed?");
}

// The intended lines by path: the remaining ones of the base lists, and ours.
std::map<std::string, std::string> meantLines(const MakePlan& plan,
                                              const std::vector<Described>& found,
                                              const Difference& written) {
  FileList base(plan.readAs, plan.mode);
  mergeBases(plan, base);
  std::map<std::string, std::string> lines;
  for (const auto& [path, entry] : *base.getProtectedFiles())
    lines[path] = entryLine(*entry);
  for (const std::string& path : written.removals)
    lines.erase(path);
  for (const Described& described : found)
    lines[described.entry->_path] = entryLine(*described.entry);
  return lines;
}

void requireSame(const std::map<std::string, std::string>& meant, const Map& read) {
  for (const auto& [path, line] : meant) {
    auto const entry = read.find(path);
    if (entry == read.end() || entryLine(*entry->second) != line)
      failAt(path);
  }
  for (const auto& [path, entry] : read) {
    if (meant.count(path) == 0)
      failAt(path);
  }
}

// The entries to check, and each file's size.
std::vector<ProtectedFile*> entriesToCheck(const Map& read, const std::vector<Described>& found,
                                           const Difference& written) {
  std::set<std::string> paths;
  for (const Described& described : written.entries)
    paths.insert(described.entry->_path);
  for (const Described& described : found) {
    if (described.fixed)
      paths.insert(described.entry->_path);
  }
  std::vector<ProtectedFile*> entries;
  entries.reserve(paths.size());
  for (const std::string& path : paths)
    entries.push_back(read.at(path).get());
  return entries;
}

uint64_t sizeOf(const ProtectedFile& entry) {
  return entry._type == "f" ? strtoull(entry._size.c_str(), nullptr, 10) : 0;
}

struct Checked {
  bool carriedOut = false;
  std::vector<std::string> log;  // the library's messages about it
};

std::vector<Checked> checkAll(const std::vector<ProtectedFile*>& entries, unsigned jobs,
                              Progress& progress) {
  uint64_t bytes = 0;
  for (const ProtectedFile* entry : entries)
    bytes += sizeOf(*entry);
  progress.total(entries.size(), bytes);
  std::vector<Checked> checked(entries.size());
  Workers workers(entries.size(), jobs, [&](std::size_t i) {
    bool changed = false;
    CollectedLog const collected(checked[i].log);
    checked[i].carriedOut = entries[i]->check(changed, CHECK_ITEM_ALL);
    progress.advance(1, sizeOf(*entries[i]));
  });
  while (!workers.allDone()) {
    workers.wait();
    progress.show();
  }
  progress.clear();
  return checked;
}

// In the library's order, but with stray members last, in byte order.
std::vector<std::string> mismatchesOf(const ProtectedFile& entry) {
  std::vector<std::string> attributes;
  std::vector<std::string> strays;
  for (CheckError* error : entry._errors) {
    bool const isStray = error->_error == CHECK_ERROR_UNKNOWN_FILE;
    (isStray ? strays : attributes).push_back(error->toString());
  }
  std::sort(strays.begin(), strays.end());
  attributes.insert(attributes.end(), strays.begin(), strays.end());
  return attributes;
}

}  // namespace

std::unique_ptr<FileList> readBack(const std::string& path, const MakePlan& plan,
                                   const std::vector<Described>& found, const Difference& written) {
  auto list = std::make_unique<FileList>(plan.readAs, plan.mode);
  mergeBases(plan, *list);
  if (!list->parseList(path))
    throw Failure(STATUS_NOT_LOADED, "the list cannot be read back after writing");
  list->fillFixedDirInfo();
  requireSame(meantLines(plan, found, written), *list->getProtectedFiles());
  return list;
}

Verification verifyWritten(const FileList& list, const MakePlan& plan,
                           const std::vector<Described>& found, const Difference& written,
                           Progress& progress) {
  std::vector<ProtectedFile*> const entries =
      entriesToCheck(*list.getProtectedFiles(), found, written);
  std::vector<Checked> const checked = checkAll(entries, plan.jobs, progress);
  Verification verification;
  for (std::size_t i = 0; i < entries.size(); ++i) {
    std::vector<std::string> const mismatches = mismatchesOf(*entries[i]);
    if ((!checked[i].carriedOut || !mismatches.empty()) && isGone(entries[i]->_path)) {
      verification.gone.insert(entries[i]->_path);
      continue;
    }
    if (!checked[i].carriedOut || !mismatches.empty())
      verification.differing.insert(entries[i]->_path);
    for (const std::string& mismatch : mismatches) {
      say(escaped(mismatch));
      verification.status |= STATUS_CHANGED;
    }
    if (!checked[i].carriedOut) {
      for (const std::string& line : checked[i].log)
        say(escaped(line));
      say("cannot read " + inQuotes(entries[i]->_path) + " again");
      verification.status |= STATUS_UNCHECKED;
    }
  }
  return verification;
}

}  // namespace tool
