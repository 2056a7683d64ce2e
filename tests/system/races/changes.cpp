#include "changes.h"

#include <sys/mount.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <stdexcept>

#include "support/bound_socket.h"
#include "support/files.h"

namespace {

void require(bool success, const std::string& what) {
  if (!success)
    throw std::runtime_error(what + ": " + strerror(errno));
}

// Replaces the object at `path` with the one that `make` makes.
Change replacement(const std::string& name, const std::function<void(const std::string&)>& make) {
  return {name, [make](const std::string& path) {
            remove(path);
            make(path);
          }};
}

// A copy, so that the link's target has the right content and only the link is wrong.
void linkToCopy(const std::string& path) {
  std::string const copy = path + ".copy";
  std::filesystem::copy(
      path, copy,
      std::filesystem::copy_options::recursive | std::filesystem::copy_options::copy_symlinks);
  remove(path);
  makeLink(copy, path);
}

void makeDevice(const char* device, const std::string& path) {
  writeFile(path, "");
  bindDevice(device, path);
}

void overwrite(const std::string& path, const std::string& content) {
  std::fstream file(path, std::ios::binary | std::ios::in | std::ios::out);
  file << content;
  file.close();
  require(file.good(), "writing into " + path);
}

void truncateTo(const std::string& path, off_t size) {
  require(truncate(path.c_str(), size) == 0, "truncating " + path);
}

std::vector<Change> with(std::vector<Change> changes, const std::vector<Change>& more) {
  changes.insert(changes.end(), more.begin(), more.end());
  return changes;
}

}  // namespace

const std::vector<Change>& replacements() {
  static const std::vector<Change> changes = {
      {"removed", [](const std::string& path) { remove(path); }},
      {"made unreadable", [](const std::string& path) { changeMode(path, 0); }},
      {"replaced by a link to a copy", linkToCopy},
      replacement("replaced by a dangling link",
                  [](const std::string& path) { makeLink(path + ".nowhere", path); }),
      replacement("replaced by a link to itself",
                  [](const std::string& path) { makeLink(path, path); }),
      replacement("replaced by a link to a FIFO",
                  [](const std::string& path) {
                    makeFifo(path + ".fifo");
                    makeLink(path + ".fifo", path);
                  }),
      replacement("replaced by a FIFO", makeFifo),
      replacement("replaced by a socket", bindSocket),
      replacement("replaced by an empty directory", makeDirectory),
      replacement("replaced by a directory",
                  [](const std::string& path) {
                    makeDirectory(path);
                    writeFile(path + "/other", "content");
                  }),
      replacement("replaced by /dev/zero",
                  [](const std::string& path) { makeDevice("/dev/zero", path); }),
      replacement("replaced by /dev/full",
                  [](const std::string& path) { makeDevice("/dev/full", path); }),
      replacement("replaced by /dev/null",
                  [](const std::string& path) { makeDevice("/dev/null", path); }),
  };
  return changes;
}

const std::vector<Change>& fileChanges() {
  static const std::vector<Change> changes = with(
      replacements(),
      {{"replaced by other content",
        [](const std::string& path) {
          std::string const content = readFile(path);
          remove(path);
          writeFile(path, corrupted(content));
        }},
       {"overwritten", [](const std::string& path) { overwrite(path, corrupted(readFile(path))); }},
       {"emptied", [](const std::string& path) { truncateTo(path, 0); }},
       {"cut in half",
        [](const std::string& path) { truncateTo(path, statusOf(path).st_size / 2); }},
       {"grown", [](const std::string& path) { appendToFile(path, "more\n"); }},
       {"grown much", [](const std::string& path) { truncateTo(path, off_t{1} << 22U); }}});
  return changes;
}

const std::vector<Change>& directoryChanges() {
  static const std::vector<Change> changes = with(
      replacements(), {replacement("replaced by a file",
                                   [](const std::string& path) { writeFile(path, "content"); }),
                       {"given another member",
                        [](const std::string& path) { writeFile(path + "/other", "content"); }}});
  return changes;
}

std::vector<Change> without(const std::vector<std::string>& words, std::vector<Change> changes) {
  auto const isUnwanted = [&words](const Change& change) {
    return std::any_of(words.begin(), words.end(), [&change](const std::string& word) {
      return change.name.find(word) != std::string::npos;
    });
  };
  changes.erase(std::remove_if(changes.begin(), changes.end(), isUnwanted), changes.end());
  return changes;
}

Change named(const std::string& name, const std::vector<Change>& changes) {
  for (const Change& change : changes) {
    if (change.name == name)
      return change;
  }
  throw std::runtime_error("unknown change: " + name);
}

void bindDevice(const char* device, const std::string& path) {
  require(mount(device, path.c_str(), "none", MS_BIND, nullptr) == 0, "binding over " + path);
}

void unmount(const std::string& path) {
  while (umount2(path.c_str(), MNT_DETACH) == 0) {
  }
}

std::string corrupted(std::string content) {
  content[content.size() - 2] ^= 1;
  return content;
}
