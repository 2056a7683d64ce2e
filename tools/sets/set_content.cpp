#include "sets/set_content.h"

#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <set>

#include "io/directory.h"
#include "io/exit_status.h"
#include "io/paths.h"
#include "io/regular_file.h"
#include "sets/list_file.h"
#include "sets/manifest.h"
#include "sets/sets.h"
#include "text/strings.h"

namespace tool {
namespace {

// `path` with its links resolved as far as it exists.
std::string canonical(const std::string& path) {
  std::error_code error;
  std::string const found = std::filesystem::weakly_canonical(path, error);
  if (error)
    throw Failure(STATUS_NOT_LOADED, withReason("cannot examine " + inQuotes(path), error.value()));
  std::string whole = std::filesystem::path(found).is_absolute()
                          ? found
                          : std::filesystem::absolute(found).lexically_normal().string();
  if (whole.size() > 1 && whole.back() == '/')  // stays if nothing exists there
    whole.pop_back();
  return whole;
}

// Throws unless `below` in `directory` is a directory that is reached without links, or is missing.
void requireWithoutLinks(const std::string& directory, const std::string& below) {
  struct open_how how = {};
  how.flags = O_PATH | O_DIRECTORY | O_CLOEXEC;
  how.resolve = RESOLVE_BENEATH | RESOLVE_NO_SYMLINKS;
  Descriptor const from(open(directory.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
  int const error = errno;
  std::string const path = joined(directory, below);
  if (from.get() < 0 && error == ENOENT)
    return;
  if (from.get() < 0)
    throw Failure(STATUS_NOT_LOADED, withReason("cannot open " + inQuotes(directory), error));
  Descriptor const found(
      static_cast<int>(syscall(SYS_openat2, from.get(), below.c_str(), &how, sizeof how)));
  if (found.get() >= 0 || errno == ENOENT)
    return;
  if (errno == ELOOP)
    throw Failure(STATUS_NOT_LOADED, inQuotes(path) +
                                         " is reached through a symbolic link, and "
                                         "nothing is written through links");
  throw Failure(STATUS_NOT_LOADED, withReason("cannot open " + inQuotes(path), errno));
}

std::vector<std::string> linesOf(const std::string& content) {
  std::vector<std::string> lines;
  for (std::size_t start = 0; start < content.size();) {
    std::size_t const end = std::min(content.find('\n', start), content.size());
    lines.push_back(content.substr(start, end - start));
    start = end + 1;
  }
  return lines;
}

// The names of `lists`, sorted as the library reads them with these lines in its order.
std::vector<std::string> sortedBy(const std::vector<std::string>& lines,
                                  std::vector<std::string> lists) {
  std::map<std::string, std::size_t> const positions = orderPositions(lines);
  std::sort(lists.begin(), lists.end(), [&](const std::string& one, const std::string& other) {
    auto const placed = [&](const std::string& name) {
      auto const found = positions.find(name);
      return std::make_pair(found == positions.end() ? 0 : found->second, name);
    };
    return placed(one) < placed(other);
  });
  return lists;
}

std::vector<std::string> orderIn(const SetContent& content) {
  auto const order = content.files.find(orderName);
  return order == content.files.end() ? std::vector<std::string>()
                                      : linesOf(order->second.value_or(""));
}

bool isOrdered(const std::vector<std::string>& lines, const std::vector<std::string>& lists) {
  std::map<std::string, std::size_t> const positions = orderPositions(lines);
  bool const named = std::all_of(lists.begin(), lists.end(), [&](const std::string& name) {
    return positions.count(name) != 0;
  });
  return (named || lists.size() == 1) && sortedBy(lines, lists) == lists;
}

// `lines` with `lists` in the place of the first line that names a list of the set and mode.
std::vector<std::string> withLists(const std::vector<std::string>& lines,
                                   const std::vector<std::string>& lists, const std::string& set,
                                   const std::string& mode) {
  std::vector<std::string> changed;
  bool placed = false;
  auto const place = [&] {
    if (!placed)
      changed.insert(changed.end(), lists.begin(), lists.end());
    placed = true;
  };
  for (const std::string& line : lines) {
    if (isNamedLikeListOf(line, set, mode))
      place();
    else
      changed.push_back(line);
  }
  place();
  return changed;
}

}  // namespace

SetPlace placeOf(const std::string& set, const std::string& mode,
                 const std::optional<std::string>& root, const std::optional<std::string>& lists) {
  if (root && lists)
    throw UsageError("--root cannot be combined with --lists");
  if ((root && root->empty()) || (lists && lists->empty()))
    throw UsageError("--root and --lists need the name of a directory");
  SetPlace place{set, mode, systemDirectory, "", ""};
  if (root) {
    std::string const base = canonical(*root);
    std::error_code ignored;
    if (!std::filesystem::is_directory(base, ignored))
      throw Failure(STATUS_NOT_LOADED, inQuotes(*root) + " is not a directory");
    requireWithoutLinks(base, systemDirectory.substr(1));
    place.top = joined(base, systemDirectory.substr(1));
  } else if (lists) {
    place.top = canonical(*lists);
  }
  place.directory = place.top;
  if (set != systemSet) {
    std::string const below = "packages/" + set;
    requireWithoutLinks(place.top, below);
    place.directory = joined(place.top, below);
  }
  place.leadsTo = canonical(place.top);
  requireOwn(place.directory);
  return place;
}

void requireOwnStill(const SetPlace& place) {
  if (canonical(place.top) != place.leadsTo)
    throw Failure(STATUS_NOT_LOADED,
                  inQuotes(place.top) + " led elsewhere meanwhile; nothing was done");
  requireOwn(place.directory);
}

std::string blockerName(const std::string& set, const std::string& mode) {
  return set + "." + mode + ".unfinished-install.list";
}

bool hasBlocker(const std::vector<std::string>& lists, const std::string& set,
                const std::string& mode) {
  std::string const blocker = blockerName(set, mode);
  return std::any_of(lists.begin(), lists.end(),
                     [&](const std::string& path) { return fileName(path) == blocker; });
}

bool isFileOf(const std::string& name, const std::string& set, const std::string& mode) {
  std::string const plain = endsWith(name, ".asc") ? name.substr(0, name.size() - 4) : name;
  return name == orderName || plain == manifestName(set, mode) ||
         isNamedLikeListOf(plain, set, mode);
}

SetContent contentIn(const std::string& directory, const std::string& set,
                     const std::string& mode) {
  SetContent content;
  Directory const opened(directory);
  if (opened.get() < 0 && opened.error() != ENOENT)
    throw Failure(STATUS_NOT_LOADED,
                  withReason("cannot read " + inQuotes(directory), opened.error()));
  std::vector<std::string> const names =
      opened.get() < 0 ? std::vector<std::string>() : opened.members();
  if (opened.get() >= 0 && names.empty())  // not even "." and ".."
    throw Failure(STATUS_NOT_LOADED, "cannot read " + inQuotes(directory));
  for (const std::string& name : names) {
    if (!isFileOf(name, set, mode))
      continue;
    std::optional<std::string>& file = content.files[name];
    try {
      file = RegularFile(opened, joined(directory, name)).content(longestList);
    } catch (const Failure&) {
      if (name == orderName)
        throw;
    }
    if (name == blockerName(set, mode))
      content.unfinished = true;
    else if (isNamedLikeListOf(name, set, mode))
      content.lists.push_back(name);
  }
  content.lists = sortedBy(orderIn(content), std::move(content.lists));
  return content;
}

std::string versionOf(const std::string& directory, const std::string& set,
                      const std::string& mode) {
  Directory const opened(directory);
  struct stat status = {};
  if (opened.get() < 0 || fstat(opened.get(), &status) != 0)
    return "";
  auto const numberOf = [](const struct stat& file) {
    return std::to_string(file.st_dev) + ":" + std::to_string(file.st_ino);
  };
  std::set<std::string> files;  // in one order, whatever that of the directory is
  for (const std::string& name : opened.members()) {
    struct stat file = {};
    if (!isFileOf(name, set, mode) || stat(joined(directory, name).c_str(), &file) != 0)
      continue;
    files.insert(name + '\0' + numberOf(file) + ' ' + std::to_string(file.st_size) + ' ' +
                 std::to_string(file.st_mtim.tv_sec) + '.' + std::to_string(file.st_mtim.tv_nsec));
  }
  std::string version = numberOf(status);
  for (const std::string& file : files)
    version += '\0' + file;
  return version;
}

void orderLists(SetContent& content, const std::string& set, const std::string& mode) {
  std::set<std::string> const kept(content.lists.begin(), content.lists.end());
  std::vector<std::string> const before = orderIn(content);
  std::vector<std::string> lines = before;
  lines.erase(std::remove_if(lines.begin(), lines.end(),
                             [&](const std::string& line) {
                               return isNamedLikeListOf(line, set, mode) && kept.count(line) == 0;
                             }),
              lines.end());
  if (!isOrdered(lines, content.lists))
    lines = withLists(before, content.lists, set, mode);
  if (lines == before)
    return;
  std::string text;
  for (const std::string& line : lines)
    text += line + "\n";
  content.files[orderName] = text;
}

Side statementsOf(const SetContent& content) {
  Side side;
  for (const std::string& name : content.lists) {
    auto const file = content.files.find(name);
    if (file == content.files.end() || !file->second)
      continue;
    try {
      for (const ListLine& line : listIn(*file->second, name).lines) {
        if (line.removal)
          side.statements.erase(line.entry->_path);
        else
          side.statements[line.entry->_path] = {false, line.entry};
      }
    } catch (const Failure&) {  // an installed file that is not a list
    }
  }
  return side;
}

}  // namespace tool
