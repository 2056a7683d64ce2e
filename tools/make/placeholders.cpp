#include "make/placeholders.h"

#include "io/exit_status.h"
#include "io/paths.h"
#include "make/paths.h"
#include "root/package.h"
#include "sets/list_file.h"

using ZEMO::SELF_CHECK::PkgInfo;
using ZEMO::SELF_CHECK::ProtectedFile;

namespace tool {
namespace {

const std::string directoryMark = "$pkg_dir";

// An id that owns no file. It stays in the binding if the package has no user.
constexpr uint32_t nobodysId = UINT32_MAX;

PkgInfo bindingOf(const std::string& package) {
  ProtectedFile::_pkginfo = {};
  ProtectedFile::_pkginfo.uid = nobodysId;
  ProtectedFile::_pkginfo.gid = nobodysId;
  bool const bound = ProtectedFile::setPkg(package);
  PkgInfo const binding = ProtectedFile::_pkginfo;
  ProtectedFile::_pkginfo = {};
  if (!bound)
    throw Failure(STATUS_NOT_LOADED,
                  "cannot find user and directory of package " + inQuotes(package));
  return binding;
}

PkgInfo bindingIn(const Tree& root, const std::string& package) {
  PkgInfo binding = packageIn(root, package);
  ProtectedFile::_pkginfo = binding;
  if (root.isAbsent("/var/packages/" + package + "/user"))
    binding.uid = binding.gid = nobodysId;
  return binding;
}

}  // namespace

Placeholders::Placeholders(const PkgInfo& binding)
    : _isSet(true), _user(binding.uid), _group(binding.gid), _directory(binding.targetDir) {}

Placeholders::Placeholders(const std::string& package) : Placeholders(bindingOf(package)) {}

Placeholders::Placeholders(const Tree& root, const std::string& package)
    : Placeholders(bindingIn(root, package)) {}

bool Placeholders::isInside(const std::string& path) const {
  return _isSet && isAtOrBelow(_directory, path);
}

std::string Placeholders::directory(const std::string& path) const {
  return isInside(path) ? directoryMark + path.substr(_directory.size()) : path;
}

bool Placeholders::confuses(const std::string& path) const {
  return _isSet &&
         path.find(directoryMark, isInside(path) ? _directory.size() : 0) != std::string::npos;
}

std::string Placeholders::id(const std::string& column, uint32_t packageId) const {
  if (!_isSet)
    return column;
  if (packageId != nobodysId && column == std::to_string(packageId))
    return "$pkg";
  return column == "1" ? "$pkg_sys" : column;
}

std::string Placeholders::line(const ProtectedFile& entry) const {
  ProtectedFile written("");
  written._path = directory(entry._path);
  written._size = entry._size;
  // The library resolves the directory only in the targets of entries with the type of a link.
  written._hash = entry._type == "l" ? directory(entry._hash) : entry._hash;
  written._type = entry._type;
  written._permission = entry._permission;
  written._owner = id(entry._owner, _user);
  written._group = id(entry._group, _group);
  return entryLine(written);
}

}  // namespace tool
