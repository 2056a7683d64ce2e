#include "make/dpkg_copy.h"

#include <sys/mount.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>

#include "io/exit_status.h"
#include "io/paths.h"

namespace tool {
namespace {

const std::string databaseDirectory = "/var/lib/dpkg";

// A status file with 10,000 packages has 20 MB.
constexpr std::size_t largestFile = std::size_t{256} << 20U;

void makeDirectory(const std::string& path) {
  if (mkdir(path.c_str(), 0700) != 0)
    throw Failure(STATUS_NOT_LOADED, withReason("cannot create " + inQuotes(path), errno));
}

bool isNumber(const std::string& name) {
  return std::all_of(name.begin(), name.end(), [](char c) { return c >= '0' && c <= '9'; });
}

}  // namespace

MemoryMount::MemoryMount(const std::string& place) : _place(place) {
  if (mount("zemo-selfcheck", place.c_str(), "tmpfs", MS_NOSUID | MS_NODEV | MS_NOEXEC,
            "mode=0700") != 0)
    throw Failure(STATUS_NOT_LOADED, withReason("cannot mount on " + inQuotes(place), errno));
}

MemoryMount::~MemoryMount() {
  (void)umount2(_place.c_str(), MNT_DETACH);
}

DpkgCopy::DpkgCopy(const Tree& root) : _root(root), _place({}), _mount(path()) {
  makeDirectory(_place / "info");
  makeDirectory(_place / "updates");
  writeWholeFile(_place / "status", root.content(databaseDirectory + "/status", largestFile));
  for (const char* const name : {"arch", "diversions", "info/format"})
    copyIfThere(name);
  // Changes that dpkg has not merged into the status file yet.
  for (const std::string& name : root.members(databaseDirectory + "/updates")) {
    if (isNumber(name))
      copyIfThere("updates/" + name);
  }
}

void DpkgCopy::addFilesOf(const std::string& package, const std::string& architecture) {
  std::string const qualified = package + ":" + architecture;
  for (const std::string& name : {package, qualified}) {
    copyIfThere(joined("info", name) + ".list");
    copyIfThere(joined("info", name) + ".md5sums");
  }
}

void DpkgCopy::copyIfThere(const std::string& name) {
  std::string const original = databaseDirectory + "/" + name;
  if (!_root.isAbsent(original))
    writeWholeFile(_place / name, _root.content(original, largestFile));
}

}  // namespace tool
