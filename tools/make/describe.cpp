#include "make/describe.h"

#include <fcntl.h>
#include <openssl/evp.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <boost/make_shared.hpp>
#include <cerrno>
#include <cstdio>
#include <memory>

#include "io/descriptors.h"
#include "io/exit_status.h"
#include "run/log_relay.h"
#include "run/workers.h"
#include "text/strings.h"

using namespace ZEMO::SELF_CHECK;

namespace tool {
namespace {

char typeLetter(mode_t mode) {
  switch (mode & S_IFMT) {
    case S_IFREG:
      return 'f';
    case S_IFDIR:
      return 'd';
    case S_IFLNK:
      return 'l';
    case S_IFBLK:
      return 'b';
    case S_IFCHR:
      return 'c';
    case S_IFSOCK:
      return 's';
    case S_IFIFO:
      return 'p';
    default:
      return 'x';
  }
}

std::string octal(mode_t permission) {
  std::array<char, 16> text{};
  (void)snprintf(text.data(), text.size(), "%o", permission & 07777U);
  return text.data();
}

// Why the library could not read this file's content, since it does not say so. 0 if the file is
// readable by now.
int reasonOfFailure(const std::string& path, mode_t mode) {
  std::array<char, 65536> buffer;  // NOLINT(cppcoreguidelines-pro-type-member-init) filled by read
  if (S_ISLNK(mode))
    return readlink(path.c_str(), buffer.data(), buffer.size()) < 0 ? errno : 0;
  Descriptor const file(
      open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
  if (file.get() < 0)
    return errno;
  struct stat status = {};
  if (fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode))
    return ESTALE;  // another file has replaced it
  for (;;) {
    ssize_t const count = read(file.get(), buffer.data(), buffer.size());
    if (count == 0)
      return 0;
    if (count < 0 && errno != EINTR)
      return errno;
  }
}

// In lower case; empty if the file cannot be read or this machine's cryptography rejects MD5.
std::string md5Of(const std::string& path) {
  Descriptor const file(
      open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
  std::unique_ptr<EVP_MD_CTX, void (*)(EVP_MD_CTX*)> const context(EVP_MD_CTX_new(),
                                                                   EVP_MD_CTX_free);
  if (file.get() < 0 || context == nullptr ||
      EVP_DigestInit_ex(context.get(), EVP_md5(), nullptr) != 1)
    return "";
  bool digested = true;
  int const error = readBlocks(file.get(), [&](std::string_view block) {
    digested = digested && EVP_DigestUpdate(context.get(), block.data(), block.size()) == 1;
  });
  if (error != 0 || !digested)
    return "";
  std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
  unsigned length = 0;
  if (EVP_DigestFinal_ex(context.get(), digest.data(), &length) != 1)
    return "";
  return hexadecimal(std::string(digest.begin(), digest.begin() + length));
}

// True if the error means that the file or a directory above it no longer exists.
bool isAbsence(int error) {
  return error == ENOENT || error == ENOTDIR;
}

// The text that the library compares with a content column. It is obtained by letting the library
// compare an empty column, so that the list states what checks will see: truncated where they
// truncate, and read as carefully as they read.
bool readContent(const std::string& path, const struct stat& status, std::string& content) {
  ProtectedFile probe("");
  probe._path = path;
  bool changed = false;
  std::vector<std::string> log;  // we report its failures in our own words
  CollectedLog const collected(log);
  if (probe.checkHash(status, changed) || probe._errors.empty())
    return false;
  content = probe._errors.front()->_actual;
  return true;
}

bool hasLineOrColumnEnd(const std::string& text) {
  return text.find_first_of("\t\n") != std::string::npos;
}

class Describer {
 public:
  Describer(const MakePlan& plan, const Placeholders& placeholders, Problems& problems)
      : _plan(plan), _placeholders(placeholders), _problems(problems) {}

  void describe(const std::string& path, const Found& found, Described& result) const;

 private:
  bool isOmitted(CHECK_ITEM item) const { return (_plan.omitted & item) != 0; }
  bool isName(const std::string& path) const;
  bool isTarget(const std::string& path, const std::string& target) const;
  bool describeContent(ProtectedFile& entry, const struct stat& status, const Found& found,
                       bool& changed) const;
  bool isChanged(const std::string& path, const std::set<std::string>& digests) const;

  const MakePlan& _plan;
  const Placeholders& _placeholders;
  Problems& _problems;
};

bool Describer::isName(const std::string& path) const {
  if (hasLineOrColumnEnd(path))
    _problems.add(path, "a TAB or line feed in its name would end a column or line of the list");
  else if (_placeholders.confuses(path))
    _problems.add(path, "$pkg_dir in its name would be taken for the package's directory");
  else
    return true;
  return false;
}

bool Describer::isTarget(const std::string& path, const std::string& target) const {
  if (hasLineOrColumnEnd(target))
    _problems.add(path, "a TAB or line feed in its target " + inQuotes(target) +
                            " would end a column or line of the list");
  else if (!isOmitted(CHECK_ITEM_TYPE) && _placeholders.confuses(target))
    _problems.add(path, "$pkg_dir in its target " + inQuotes(target) +
                            " would be taken for the package's directory");
  else if (target == "-")
    _problems.add(path, "its target '-' would mean that the target is not checked");
  else if (target == "FIXED")
    _problems.add(path, "its target 'FIXED' would mean a directory with fixed members");
  else
    return true;
  return false;
}

// Fills in the column for the content. If that fails, adds a problem and returns false.
bool Describer::describeContent(ProtectedFile& entry, const struct stat& status, const Found& found,
                                bool& changed) const {
  if (found.fixed)
    entry._hash = "FIXED";
  bool const hasContent =
      S_ISREG(status.st_mode) || S_ISLNK(status.st_mode) || S_ISCHR(status.st_mode);
  if (!hasContent || found.config || isOmitted(CHECK_ITEM_HASH))
    return true;
  if (!readContent(entry._path, status, entry._hash)) {
    int const error = reasonOfFailure(entry._path, status.st_mode);
    if (error == 0)
      _problems.add(entry._path, "it could not be read and now it can, so it is changing");
    else if (!isAbsence(error))
      _problems.cannotRead(entry._path, error);
    return false;
  }
  if (S_ISREG(status.st_mode) && !found.digests.empty())
    changed = isChanged(entry._path, found.digests);
  return !S_ISLNK(status.st_mode) || isTarget(entry._path, entry._hash);
}

// Content that cannot be read or compared is added to the problems and counts as unchanged.
bool Describer::isChanged(const std::string& path, const std::set<std::string>& digests) const {
  std::string const digest = md5Of(path);
  if (digest.empty())
    _problems.add(path, "its MD5 digest, to be compared with its package's, cannot be computed");
  return !digest.empty() && digests.count(digest) == 0;
}

void Describer::describe(const std::string& path, const Found& found, Described& result) const {
  struct stat status = {};
  if (!isName(path))
    return;
  if (lstat(path.c_str(), &status) != 0) {
    if (!isAbsence(errno))
      _problems.cannotRead(path, errno);
    return;
  }
  if (found.fixed && !S_ISDIR(status.st_mode)) {
    _problems.add(path, "--fixed needs a directory");
    return;
  }
  bool const isLink = S_ISLNK(status.st_mode);
  auto const column = [this](CHECK_ITEM item, bool isChecked, const std::string& text) {
    return isChecked && !isOmitted(item) ? text : "-";
  };
  auto entry = boost::make_shared<ProtectedFile>("");
  entry->_path = path;
  entry->_size = column(CHECK_ITEM_SIZE, (S_ISREG(status.st_mode) || isLink) && !found.config,
                        std::to_string(status.st_size));
  entry->_hash = "-";
  result.type = typeLetter(status.st_mode);
  entry->_type = column(CHECK_ITEM_TYPE, true, std::string(1, result.type));
  entry->_permission = column(CHECK_ITEM_PERMISSION, !isLink, octal(status.st_mode));
  entry->_owner = column(CHECK_ITEM_OWNER, !isLink, std::to_string(status.st_uid));
  entry->_group = column(CHECK_ITEM_GROUP, !isLink, std::to_string(status.st_gid));
  result.fixed = found.fixed;
  if (describeContent(*entry, status, found, result.changed))
    result.entry = entry;
}

}  // namespace

std::vector<Described> describe(const Inventory& inventory, const MakePlan& plan,
                                const Placeholders& placeholders, Progress& progress,
                                Problems& problems) {
  std::vector<const Inventory::value_type*> items;
  items.reserve(inventory.size());
  uint64_t bytes = 0;
  for (const auto& item : inventory) {
    items.push_back(&item);
    bytes += item.second.bytes;
  }
  progress.total(items.size(), bytes);
  std::vector<Described> result(items.size());
  Describer const describer(plan, placeholders, problems);
  Workers workers(items.size(), plan.jobs, [&](std::size_t i) {
    result[i].path = items[i]->first;
    describer.describe(items[i]->first, items[i]->second, result[i]);
    progress.advance(1, items[i]->second.bytes);
  });
  while (!workers.allDone()) {
    workers.wait();
    progress.show();
  }
  progress.clear();
  return result;
}

std::set<std::string> vanishedIn(const std::vector<Described>& found) {
  std::set<std::string> paths;
  for (const Described& described : found) {
    if (described.entry == nullptr)
      paths.insert(described.path);
  }
  return paths;
}

void leaveOut(const std::set<std::string>& gone, std::vector<Described>& found) {
  if (gone.empty())
    return;
  found.erase(std::remove_if(
                  found.begin(), found.end(),
                  [&gone](const Described& described) { return gone.count(described.path) != 0; }),
              found.end());
  say(inQuotes(*gone.begin()) +
      (gone.size() == 1 ? " is" : " and " + std::to_string(gone.size() - 1) + " more are") +
      " left out: deleted while the list was being made");
}

}  // namespace tool
