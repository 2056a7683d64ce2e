// files: prints one line for each named file, using the library's plain C function.

#include <zemo/core.h>
#include <zemo/selfcheck.h>

#include <array>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "commands.h"
#include "io/descriptors.h"
#include "io/exit_status.h"
#include "io/names_input.h"
#include "io/paths.h"
#include "text/escape.h"
#include "text/json.h"
#include "text/strings.h"

namespace tool {
namespace {

const char* const examples =
    "Prints a line for each path: the flag word, the names of its flags (or intact) and the path, "
    "separated by spaces.\n"
    "\n"
    "Examples:\n"
    "  zemo-selfcheck files /bin/ls /etc/passwd\n"
    "  find /usr/lib -newer /etc/hostname -print0 | zemo-selfcheck files --from - -z\n";

struct Options {
  std::vector<std::string> paths;
  std::optional<std::string> from;
  bool nul = false;
  std::string format = "text";
};

struct Flag {
  uint32_t mask;
  const char* name;
  ExitStatus status;
};

// A path that no list names cannot be checked.
const std::array<Flag, 9> flags = {{
    {0x001, "sizeError", STATUS_CHANGED},
    {0x002, "ownerError", STATUS_CHANGED},
    {0x004, "groupError", STATUS_CHANGED},
    {0x008, "typeError", STATUS_CHANGED},
    {0x010, "permissionError", STATUS_CHANGED},
    {0x020, "hashError", STATUS_CHANGED},
    {0x040, "notExist", STATUS_MISSING},
    {0x080, "notListed", STATUS_UNCHECKED},
    {0x100, "inFixedDir", STATUS_STRAY},
}};

uint32_t wordOf(const SELFCHECK_RESULT& result) {
  uint32_t word = 0;
  static_assert(sizeof word == sizeof result);
  memcpy(&word, &result, sizeof word);
  return word;
}

std::vector<std::string> namesOf(uint32_t word) {
  std::vector<std::string> names;
  for (const Flag& flag : flags) {
    if ((word & flag.mask) != 0)
      names.emplace_back(flag.name);
  }
  return names;
}

// A stray member is also not listed, which is not a second finding.
int statusOf(uint32_t word) {
  int status = 0;
  for (const Flag& flag : flags) {
    if ((word & flag.mask) != 0)
      status |= flag.status;
  }
  return (status & STATUS_STRAY) != 0 ? status & ~STATUS_UNCHECKED : status;
}

void writeText(const std::string& path, uint32_t word, bool nul) {
  std::string const names = joinedBy(",", namesOf(word));
  printf("0x%03x %s ", word, names.empty() ? "intact" : names.c_str());
  writeOut(nul ? path + '\0' : escaped(path) + "\n");
}

void writeRecord(const std::string& path, uint32_t word) {
  Json record;
  record["record"] = "file";
  putText(record, "path", path);
  record["flags"] = namesOf(word);
  writeLine(recordLine(record));
}

void writeSummary(std::size_t files, int status) {
  Json record;
  record["record"] = "summary";
  record["files"] = files;
  record["status"] = status;
  writeLine(recordLine(record));
}

using PathList = std::unique_ptr<VLIBSzList, void (*)(VLIBSzList*)>;

PathList listOf(const std::vector<std::string>& paths) {
  VLIBSzList* list = VLIBSzListAlloc(static_cast<int>(paths.size()));
  for (const std::string& path : paths) {
    if (list == nullptr || VLIBSzListPush(&list, path.c_str()) < 0) {
      VLIBSzListFree(list);
      throw std::bad_alloc();
    }
  }
  return PathList(list, VLIBSzListFree);
}

// `path` without links in its directory, as lists name files.
std::string withoutLinks(std::string path) {
  while (path.size() > 1 && path.back() == '/')
    path.pop_back();
  std::error_code error;
  std::filesystem::path const directory = std::filesystem::canonical(directoryOf(path), error);
  return error ? path : joined(directory, fileName(path));
}

// Says under which path lists may have a file that they do not have under the given one.
void hint(const std::vector<std::string>& paths, const std::vector<SELFCHECK_RESULT>& results) {
  std::string text;
  std::size_t others = 0;
  for (std::size_t i = 0; i < paths.size(); ++i) {
    if (results[i].notListed == 0 || paths[i].empty())
      continue;
    std::string const other = withoutLinks(paths[i]);
    if (other == paths[i])
      continue;
    if (text.empty())
      text = inQuotes(paths[i]) + " is " + inQuotes(other);
    else
      ++others;
  }
  if (!text.empty())
    say("note: lists name a file by one absolute path without links: " + text +
        (others > 0 ? ", and " + counted(others, "more path", "more paths") : ""));
}

int runFiles(const Options& options) {
  std::vector<std::string> paths = options.paths;
  if (options.from) {
    std::vector<std::string> const more = readNames(*options.from, options.nul);
    paths.insert(paths.end(), more.begin(), more.end());
    if (paths.empty())
      throw Failure(STATUS_NOT_LOADED, inQuotes(*options.from) + " contains no names");
  }
  for (const std::string& path : paths) {
    // The library's names end at a zero byte.
    if (path.find('\0') != std::string::npos)
      throw Failure(STATUS_NOT_LOADED,
                    "the name " + inQuotes(path) + " contains a zero byte; see -z");
  }
  if (paths.empty())
    throw UsageError("give at least one path, or --from");

  std::vector<SELFCHECK_RESULT> results(paths.size());
  if (SelfCheckFiles(listOf(paths).get(), results.data()) != 0)
    throw Failure(STATUS_NOT_LOADED,
                  "these files were not checked: set 'wam' cannot be loaded, or one of the files "
                  "cannot be read");
  hint(paths, results);
  int status = STATUS_INTACT;
  bool const json = options.format == "json";
  if (json)
    writeLine(recordLine(startRecord()));
  for (std::size_t i = 0; i < paths.size(); ++i) {
    uint32_t const word = wordOf(results[i]);
    status |= statusOf(word);
    if (json)
      writeRecord(paths[i], word);
    else
      writeText(paths[i], word, options.nul);
  }
  if (json)
    writeSummary(paths.size(), status);
  return status;
}

}  // namespace

void addFiles(Commands& program) {
  auto const options = std::make_shared<Options>();
  Arguments takes = program.add("files", "Check the named files against the system's own lists",
                                examples, [options] { return runFiles(*options); });
  takes.words("PATH", options->paths, "Paths, exactly as in the lists");
  takes.value("--from", "FILE", options->from,
              "Read more paths from this file, or from standard input if it is -");
  takes.flag("-z,--null", options->nul,
             "End names with a zero byte, on input and in text output, and do not escape them");
  takes.choice("--format", {"text", "json"}, options->format, "Output format");
}

}  // namespace tool
