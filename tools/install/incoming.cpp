#include "install/incoming.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>

#include "gnupg/signature_check.h"
#include "io/directory.h"
#include "io/exit_status.h"
#include "io/paths.h"
#include "io/regular_file.h"
#include "io/scratch_directory.h"
#include "sets/label.h"
#include "sets/list_file.h"
#include "sets/manifest_check.h"
#include "sets/sets.h"
#include "text/strings.h"

namespace tool {
namespace {

const std::string signatureEnding = ".asc";

std::string withoutSignature(const std::string& name) {
  return endsWith(name, signatureEnding) ? name.substr(0, name.size() - signatureEnding.size())
                                         : name;
}

bool isSignature(const std::string& name) {
  return endsWith(name, signatureEnding);
}

bool isOfSet(const std::string& name) {
  std::string const plain = withoutSignature(name);
  return endsWith(plain, ".list") || endsWith(plain, ".manifest");
}

// The files that were given, by name.
class Given {
 public:
  explicit Given(const std::vector<std::string>& paths) {
    for (const std::string& path : paths) {
      struct stat status = {};
      bool const known = lstat(path.c_str(), &status) == 0;
      if (!known && errno != ENOENT)
        throw Failure(STATUS_NOT_LOADED, withReason("cannot read " + inQuotes(path), errno));
      if (!known && !isOfSet(path))
        throw UsageError("there is no file or directory " + inQuotes(path));
      if (known && S_ISDIR(status.st_mode))
        takeDirectory(path);
      else
        take(Directory(directoryOf(path)), path);
    }
    for (const std::string& path : paths)
      takeSignatureOf(path);
  }

  const std::map<std::string, std::optional<std::string>>& files() const { return _files; }
  const std::vector<std::string>& lists() const { return _lists; }

 private:
  void takeDirectory(const std::string& path) {
    Directory const directory(path);
    std::vector<std::string> names = directory.members();
    if (names.empty())  // not even "." and ".."
      throw Failure(STATUS_NOT_LOADED, "cannot read " + inQuotes(path));
    std::sort(names.begin(), names.end());
    std::size_t const before = _files.size();
    for (const std::string& name : names) {
      if (isOfSet(name))
        take(directory, joined(path, name));
    }
    if (_files.size() == before)
      throw Failure(STATUS_NOT_LOADED, inQuotes(path) + " has no lists");
  }

  void take(const Directory& directory, const std::string& path) {
    std::string const name = fileName(path);
    if (!isOfSet(name))
      throw UsageError(inQuotes(path) +
                       " is not named like a list, a manifest or a signature of one");
    add(name, RegularFile(directory, path), path);
    if (endsWith(name, ".list"))
      _lists.push_back(name);
  }

  void add(const std::string& name, const RegularFile& file, const std::string& path) {
    std::size_t const left = longestList - _size;
    auto const requireRoom = [&](uint64_t size) {
      if (size > left)
        throw Failure(STATUS_NOT_LOADED,
                      inQuotes(path) + " is too large: the files may have 1 GiB in all");
    };
    requireRoom(static_cast<uint64_t>(file.status().st_size));
    std::string content = file.content(left + 1);  // it may have grown
    requireRoom(content.size());
    _size += content.size();
    if (!_files.emplace(name, std::move(content)).second)
      throw UsageError("two files with the name " + inQuotes(name) + " are given");
  }

  void takeSignatureOf(const std::string& path) {
    std::string const name = fileName(path) + signatureEnding;
    if (isSignature(path) || _files.count(fileName(path)) == 0 || _files.count(name) != 0)
      return;
    Directory const directory(directoryOf(path));
    if (auto const file = RegularFile::ifThere(directory, path + signatureEnding))
      add(name, *file, path + signatureEnding);
  }

  std::map<std::string, std::optional<std::string>> _files;
  std::vector<std::string> _lists;
  std::size_t _size = 0;  // of all files; at most longestList
};

// The set and mode of a list, from its second line or, if that does not say, from its name.
Label labelOfList(const std::string& name, const std::string& content) {
  if (std::optional<Label> const own = parseLabel(listIn(content, name).label))
    return *own;
  Label label;
  std::size_t const first = name.find('.');
  std::size_t const second = first == std::string::npos ? first : name.find('.', first + 1);
  if (second == std::string::npos)
    throw UsageError(inQuotes(name) + " is not named like a list: SET.MODE.NAME.list");
  label.set = name.substr(0, first);
  label.mode = name.substr(first + 1, second - first - 1);
  return label;
}

Label labelOfSet(const Given& given) {
  for (const auto& [name, content] : given.files()) {
    if (endsWith(name, ".manifest"))
      return labelOfManifest(name);
  }
  if (given.lists().empty())
    throw UsageError("no list is given");
  const std::string& first = given.lists().front();
  return labelOfList(first, *given.files().at(first));
}

class Verification {
 public:
  Verification(Incoming& incoming, std::string where)
      : _incoming(incoming), _where(std::move(where)), _scratch(namesIn(incoming)) {
    for (const auto& [name, content] : incoming.content.files)
      writeWholeFile(_scratch / name, content.value_or(""));
  }

  void run() {
    for (const auto& [name, content] : _incoming.content.files)
      requireFitting(name);
    for (const std::string& name : _incoming.content.lists)
      requireLabel(name);
    for (const auto& [name, content] : _incoming.content.files) {
      if (!isSignature(name))
        requireVerified(name);
    }
    requireManifest();
  }

 private:
  static std::vector<std::string> namesIn(const Incoming& incoming) {
    std::vector<std::string> names;
    for (const auto& [name, content] : incoming.content.files)
      names.push_back(name);
    return names;
  }

  [[noreturn]] void refuse(const std::string& name, const std::string& reason) const {
    throw Failure(STATUS_NOT_LOADED, inQuotes(_where.empty() ? name : joined(_where, name)) + " " +
                                         reason + "; nothing was installed");
  }

  void requireFitting(const std::string& name) const {
    const std::string& set = _incoming.set;
    const std::string& mode = _incoming.mode;
    std::string const plain = withoutSignature(name);
    if (!isFileOf(name, set, mode) || name == blockerName(set, mode))
      throw UsageError(inQuotes(name) + " is not a file of the set " + inQuotes(set) + ", mode " +
                       inQuotes(mode) + ", as others are: install one set and mode at a time");
    if (name.find('\n') != std::string::npos)
      throw UsageError("no line of " + inQuotes(orderName) + " can name it: " + inQuotes(name));
    if (isSignature(name) && _incoming.content.files.count(plain) == 0)
      refuse(name, "is a signature without its file");
    if (!isSignature(name) && _incoming.content.files.count(name + signatureEnding) == 0)
      refuse(name, "has no signature");
  }

  void requireLabel(const std::string& name) const {
    std::optional<Label> const label =
        parseLabel(listIn(*_incoming.content.files.at(name), name).label);
    if (!label)
      say("warning: " + inQuotes(name) +
          " does not say in line 2 which list it is, so it can pass as another");
    else if (!isLabelOf(*label, name, _incoming.set, _incoming.mode))
      refuse(name, "says in line 2 that it is another list");
  }

  void requireVerified(const std::string& name) const {
    SignatureCheck const check = checkSignature(_scratch / name);
    if (!check.verified)
      refuse(name, "does not verify: " + whyNotVerified(check, "it"));
  }

  void requireManifest() {
    std::string const name = manifestName(_incoming.set, _incoming.mode);
    auto const file = _incoming.content.files.find(name);
    if (file == _incoming.content.files.end())
      return;
    std::vector<std::string>& lists = _incoming.content.lists;
    Manifest const manifest = parseManifest(*file->second, name, _incoming.set, _incoming.mode);
    std::vector<std::string> ordered;
    for (const ManifestLine& line : manifest.lists) {
      if (_incoming.content.files.count(line.name) != 0)
        ordered.push_back(line.name);
    }
    for (const std::string& list : lists) {
      if (std::find(ordered.begin(), ordered.end(), list) == ordered.end())
        ordered.push_back(list);
    }
    std::vector<std::string> paths;
    paths.reserve(ordered.size());
    for (const std::string& list : ordered)
      paths.push_back(_scratch / list);
    std::vector<ManifestDifference> const differences = differencesFrom(manifest, paths);
    for (const ManifestDifference& difference : differences)
      say(difference.what);
    if (!differences.empty())
      refuse(name, "describes another set");
    lists = ordered;
    _incoming.manifest = manifest;
  }

  Incoming& _incoming;
  std::string _where;
  ScratchDirectory _scratch;
};

}  // namespace

Incoming incomingFrom(const std::vector<std::string>& paths) {
  Given const given(paths);
  Label const label = labelOfSet(given);
  requireSetName(label.set);
  requireModeName(label.mode);
  Incoming incoming{label.set, label.mode, {}, std::nullopt};
  incoming.content.files = given.files();
  incoming.content.lists = given.lists();
  return verified(std::move(incoming), "");
}

Incoming verified(Incoming incoming, const std::string& where) {
  if (incoming.content.lists.empty())
    throw UsageError("no list is given");
  Verification(incoming, where).run();
  return incoming;
}

}  // namespace tool
