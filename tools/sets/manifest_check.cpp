#include "sets/manifest_check.h"

#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <map>

#include "io/exit_status.h"
#include "io/paths.h"
#include "io/regular_file.h"
#include "sets/sets.h"

namespace tool {
namespace {

using Kind = ManifestDifference::Kind;
using State = ManifestCheck::State;

// A list's second line is short; more bytes of a list that differs are of no interest.
constexpr std::size_t startOfList = 4096;

bool isThere(const std::string& path) {
  struct stat status = {};
  return lstat(path.c_str(), &status) == 0 || errno != ENOENT;
}

std::string contentOf(const std::string& path) {
  return RegularFile::following(path).content(longestManifest + 1);
}

// The comparison of the lists in a directory with a manifest.
class Comparison {
 public:
  Comparison(const Manifest& manifest, const std::vector<std::string>& paths)
      : _manifest(manifest), _paths(paths) {
    for (const std::string& path : paths)
      _present.emplace(fileName(path), _present.size());
    for (std::size_t i = 0; i < manifest.lists.size(); ++i)
      _named.emplace(manifest.lists[i].name, i);
  }

  std::vector<ManifestDifference> differences() {
    for (const ManifestLine& line : _manifest.lists) {
      if (_present.count(line.name) == 0)
        add(Kind::MISSING, line.name, "is missing");
    }
    for (const std::string& path : _paths) {
      auto const line = _named.find(fileName(path));
      if (line == _named.end())
        add(Kind::EXTRA, fileName(path), "is not in the manifest");
      else
        compare(path, _manifest.lists[line->second]);
    }
    compareOrder();
    return std::move(_differences);
  }

 private:
  void add(Kind kind, const std::string& list, const std::string& what) {
    _differences.push_back({kind, list, "list " + inQuotes(list) + " " + what});
  }

  void compare(const std::string& path, const ManifestLine& line) try {
    RegularFile const file = RegularFile::following(path);
    bool const sized = static_cast<uint64_t>(file.status().st_size) == line.size;
    std::string const content =
        file.content(sized ? static_cast<std::size_t>(line.size) + 1 : startOfList);
    if (sized && content.size() == line.size &&
        manifestLine(line.name, content).digest == line.digest)
      return;
    std::optional<uint64_t> const serial = serialIn(content);
    if (!serial || !line.serial || *serial == *line.serial) {
      add(Kind::BYTES, line.name, "has other content than the manifest states");
      return;
    }
    bool const older = *serial < *line.serial;
    add(older ? Kind::OLDER : Kind::BYTES, line.name,
        std::string("is ") + (older ? "older" : "newer") + " than the manifest states: serial " +
            std::to_string(*serial) + ", not " + std::to_string(*line.serial));
  } catch (const Failure& failure) {
    add(Kind::BYTES, line.name, std::string("cannot be compared: ") + failure.what());
  }

  // Reports only the first: one list in another place puts all others in other places.
  void compareOrder() {
    std::vector<std::string> read;
    std::vector<std::string> meant;
    for (const std::string& path : _paths) {
      if (_named.count(fileName(path)) != 0)
        read.push_back(fileName(path));
    }
    for (const ManifestLine& line : _manifest.lists) {
      if (_present.count(line.name) != 0)
        meant.push_back(line.name);
    }
    auto const [is, should] = std::mismatch(read.begin(), read.end(), meant.begin(), meant.end());
    if (is != read.end() && should != meant.end())
      add(Kind::ORDER, *should,
          "is read after " + inQuotes(*is) + ", but the manifest states the other order");
  }

  const Manifest& _manifest;
  const std::vector<std::string>& _paths;
  std::map<std::string, std::size_t> _present;  // file names of lists in the directory
  std::map<std::string, std::size_t> _named;    // in the manifest
  std::vector<ManifestDifference> _differences;
};

void judge(ManifestCheck& check, const std::string& set, const std::string& mode) {
  std::string content;
  try {
    check.state = State::UNVERIFIED;
    content = contentOf(check.path);
    check.signature = checkSignature(check.path);
    if (!check.signature.verified) {
      check.reason = whyNotVerified(check.signature, "the manifest");
      return;
    }
    // GnuPG has read the file on its own.
    if (contentOf(check.path) != content) {
      check.reason = "it changed while it was being verified";
      return;
    }
    check.state = State::UNREADABLE;
    check.manifest = parseManifest(content, check.path, set, mode);
  } catch (const Failure& failure) {
    check.reason = failure.what();
    return;
  }
  check.differences = differencesFrom(*check.manifest, listsOf(set, mode));
  check.state = check.differences.empty() ? State::FITS : State::DIFFERS;
}

}  // namespace

std::vector<ManifestDifference> differencesFrom(const Manifest& manifest,
                                                const std::vector<std::string>& paths) {
  return Comparison(manifest, paths).differences();
}

ManifestCheck checkManifest(const std::string& set, const std::string& mode) {
  ManifestCheck check;
  check.path = joined(setDirectory(set), manifestName(set, mode));
  if (isThere(check.path)) {
    judge(check, set, mode);
    return check;
  }
  bool const lost = isThere(check.path + ".asc");
  check.state = lost ? State::UNVERIFIED : State::NONE;
  check.reason = lost ? "only its signature exists" : "there is no " + inQuotes(check.path);
  return check;
}

void requireSerial(ManifestCheck& check, uint64_t least) {
  if (check.state == State::NONE)
    check.reason +=
        ", but a manifest with the serial " + std::to_string(least) + " was accepted before";
  if (check.state != State::FITS || check.manifest->label.serial >= least)
    return;
  check.state = State::ROLLED_BACK;
  check.reason = "rolled back: the manifest has the serial " +
                 std::to_string(check.manifest->label.serial) + ", but " + std::to_string(least) +
                 " was accepted before";
}

std::string kindName(Kind kind) {
  static constexpr std::array<const char*, 5> names = {"missing", "extra", "order", "older",
                                                       "bytes"};
  return names.at(static_cast<std::size_t>(kind));
}

std::string stateName(State state) {
  static constexpr std::array<const char*, 6> names = {"none",    "unverified", "unreadable",
                                                       "differs", "fits",       "rolled_back"};
  return names.at(static_cast<std::size_t>(state));
}

std::vector<std::string> objectionsTo(const ManifestCheck& check) {
  std::vector<std::string> objections;
  if (check.state == State::UNVERIFIED)
    objections.push_back("the manifest " + inQuotes(check.path) +
                         " does not verify: " + check.reason);
  else if (!check.reason.empty())
    objections.push_back(check.reason);
  for (const ManifestDifference& difference : check.differences)
    objections.push_back(difference.what);
  return objections;
}

}  // namespace tool
