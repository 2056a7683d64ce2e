#include "root/package.h"

#include <fcntl.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <sstream>
#include <vector>

#include "io/exit_status.h"
#include "sets/sets.h"

using namespace ZEMO::SELF_CHECK;

namespace tool {
namespace {

constexpr std::size_t longestName = 256;
constexpr std::size_t largestPasswordFile = std::size_t{64} << 20U;

[[noreturn]] void noUser(const Tree& root, const std::string& package, const std::string& reason) {
  throw Failure(STATUS_NOT_LOADED, "the user of package " + inQuotes(package) + " in " +
                                       inQuotes(root.name()) + " is not known: " + reason);
}

// The same names as the package library accepts.
bool isUserName(const std::string& text) {
  return !text.empty() && text.size() <= longestName &&
         std::none_of(text.begin(), text.end(), [](unsigned char c) {
           return c <= ' ' || c == 0x7f || c == ':' || c == '/';
         });
}

std::vector<std::string> fieldsOf(const std::string& line) {
  std::vector<std::string> fields(1);
  for (char const c : line) {
    if (c == ':')
      fields.emplace_back();
    else
      fields.back() += c;
  }
  return fields;
}

bool isId(const std::string& text, uint32_t& id) {
  const char* const end = text.data() + text.size();
  auto const read = std::from_chars(text.data(), end, id);
  return read.ec == std::errc() && read.ptr == end;
}

// Stores the ids of the first account of this name.
void readIds(const Tree& root, const std::string& package, const std::string& user, PkgInfo& info) {
  constexpr std::size_t fieldCount = 7;
  std::istringstream lines(root.content(passwordFile, largestPasswordFile));
  for (std::string line; std::getline(lines, line);) {
    std::vector<std::string> const fields = fieldsOf(line);
    if (fields[0] != user || fields.size() < fieldCount)
      continue;
    if (!isId(fields[2], info.uid) || !isId(fields[3], info.gid))
      noUser(
          root, package,
          "the line of " + inQuotes(user) + " in " + inQuotes(passwordFile) + " has no plain ids");
    return;
  }
  noUser(root, package, inQuotes(user) + " is not in " + inQuotes(passwordFile));
}

}  // namespace

PkgInfo packageIn(const Tree& root, const std::string& name) {
  std::string const directory = "/var/packages/" + name;
  PkgInfo info;
  info.targetDir = directory + "/target";
  if (!root.isDirectory(info.targetDir))
    throw Failure(STATUS_NOT_LOADED,
                  "package " + inQuotes(name) + " is not installed in " + inQuotes(root.name()));
  info.isSet = true;
  std::string const file = directory + "/user";
  if (root.isAbsent(file))
    return info;
  std::string user = root.content(file, longestName + 1);
  if (!user.empty() && user.back() == '\n')
    user.pop_back();
  if (!isUserName(user))
    noUser(root, name, inQuotes(file) + " is not one line with one name");
  readIds(root, name, user, info);
  return info;
}

bool loadPackageSet(const Tree& root, FileList& files, const std::string& name,
                    const std::string& mode, bool verify) try {
  std::vector<std::string> const lists = listsOf(name, mode);
  auto const verifies = [&](const std::string& list) { return files.checkSign(list); };
  if (lists.empty() || (verify && !std::all_of(lists.begin(), lists.end(), verifies)))
    return false;
  ProtectedFile::_pkginfo = packageIn(root, name);
  auto const parses = [&](const std::string& list) { return files.parseList(list); };
  return std::all_of(lists.begin(), lists.end(), parses) && files.fillFixedDirInfo();
} catch (const Failure& failure) {
  say(failure.what());
  return false;
}

MergedSet mergedSetOf(const Tree* root, const std::string& set, const std::string& mode,
                      bool verify) {
  if (root == nullptr || set == systemSet || listsOf(set, mode).empty())
    return mergedSet(set, mode, verify);
  PkgInfo const package = packageIn(*root, set);
  return mergedSet(set, mode, verify, &package);
}

}  // namespace tool
