// Binding the placeholders of package lists to a package.

#include <pwd.h>
#include <zemo/core.h>
#include <zemo/package.h>
#include <zemo/selfcheck/protected_file.h>

#include <utility>

#include "log.h"

namespace ZEMO::SELF_CHECK {
namespace {

// The system notification program. The library never runs it.
[[maybe_unused]] const std::string notifyProgram = "/usr/zemo/bin/zemowamnotify";

// Stores the ids of the package's user. Returns false, after logging and with `info` unchanged, if
// they cannot be determined.
bool bindUser(const std::string& package, PkgInfo& info) {
  std::string const user = ZEMOPackageTool::PMSGetPkgUserName(package);
  // For a package without its own user, the previously bound ids stay.
  if (user.empty() && VLIBErrGet() == ZEMO_PACKAGE_NO_USER)
    return true;

  // A user without a password entry is an error, unlike a package without a user: keeping the ids
  // of another package would check the files against the wrong owner.
  //
  // Not getpwnam_r(): two threads must not use the binding at the same time anyway.
  const passwd* const account = user.empty() ? nullptr : getpwnam(user.c_str());
  if (account == nullptr) {
    log::noPackageUser(package);
    return false;
  }
  info.uid = account->pw_uid;
  info.gid = account->pw_gid;
  return true;
}

}  // namespace

PkgInfo::~PkgInfo() = default;

PkgInfo ProtectedFile::_pkginfo;

bool ProtectedFile::setPkg(const std::string& pkg) {
  if (!ZEMOPackageTool::PMSCheckPackage(pkg)) {
    log::packageNotInstalled(pkg);
    return false;
  }
  std::string targetDir = "/var/packages/" + pkg + "/target";
  if (!bindUser(pkg, _pkginfo))
    return false;
  _pkginfo.targetDir = std::move(targetDir);
  _pkginfo.isSet = true;
  return true;
}

}  // namespace ZEMO::SELF_CHECK
