#include "io/names_input.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>

#include "io/descriptors.h"
#include "io/directory.h"
#include "io/exit_status.h"

namespace tool {

namespace {

// Throws if strangers can change the opened file or, through a directory above it, replace it.
void requireOwnFile(const std::string& from, int descriptor) {
  struct stat status = {};
  std::error_code error;
  std::string const path =
      std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(descriptor), error);
  if (fstat(descriptor, &status) != 0 || error)
    throw Failure(STATUS_NOT_LOADED, "cannot examine " + inQuotes(from));
  if (path == "/dev/null")
    return;
  if (std::string const reason = strangerIn(status); !reason.empty())
    throw Failure(STATUS_NOT_LOADED, inQuotes(from) + " is not safe to use because it " + reason);
  if (path.front() == '/')  // not an unnamed pipe, as in /dev/fd
    requireOwn(from);
}

// Calls `take` with each name.
template <typename Take>
void readEach(const std::string& from, char end, bool own, Take take) {
  Descriptor file;
  if (from != "-")
    file = Descriptor(open(from.c_str(), O_RDONLY | O_CLOEXEC));
  int const descriptor = from == "-" ? STDIN_FILENO : file.get();
  if (descriptor < 0)
    throw Failure(STATUS_NOT_LOADED, withReason("cannot open " + inQuotes(from), errno));
  if (own && from != "-")
    requireOwnFile(from, descriptor);
  std::string name;
  int const error = readBlocks(descriptor, [&](std::string_view rest) {
    for (std::size_t at = rest.find(end); at != std::string_view::npos; at = rest.find(end)) {
      name += rest.substr(0, at);
      rest.remove_prefix(at + 1);
      take(std::move(name));
      name.clear();
    }
    name += rest;
  });
  if (error != 0)
    throw Failure(STATUS_NOT_LOADED, withReason("cannot read " + inQuotes(from), error));
  if (!name.empty())
    take(std::move(name));
}

}  // namespace

std::vector<std::string> readNames(const std::string& from, bool nul) {
  std::vector<std::string> names;
  readEach(from, nul ? '\0' : '\n', false, [&](std::string&& name) {
    if (!name.empty())
      names.push_back(std::move(name));
  });
  return names;
}

std::vector<std::string> readLines(const std::string& from) {
  std::vector<std::string> lines;
  readEach(from, '\n', false, [&](std::string&& line) { lines.push_back(std::move(line)); });
  return lines;
}

std::vector<std::string> readOwnLines(const std::string& from) {
  std::vector<std::string> lines;
  readEach(from, '\n', true, [&](std::string&& line) { lines.push_back(std::move(line)); });
  return lines;
}

}  // namespace tool
