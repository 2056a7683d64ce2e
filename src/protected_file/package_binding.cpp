// Which package the placeholders of package lists stand for.

#include <pwd.h>
#include <zemo/core.h>
#include <zemo/package.h>
#include <zemo/selfcheck/protected_file.h>

#include <utility>

#include "log.h"

namespace ZEMO::SELF_CHECK {
namespace {

// The system notification program. Nothing in the library runs it.
[[maybe_unused]] const std::string notifyProgram = "/usr/zemo/bin/zemowamnotify";

// Stores the ids of the package's user. Returns false, logged and with `info` unchanged, when they
// cannot be found out.
bool bindUser(const std::string& package, PkgInfo& info) {
  std::string const user = ZEMOPackageTool::PMSGetPkgUserName(package);
  // A package without a user of its own keeps whatever ids were bound before.
  if (user.empty() && VLIBErrGet() == ZEMO_PACKAGE_NO_USER)
    return true;

  // A user without a password entry counts like no user at all: binding the ids of another package
  // instead would check the files against the wrong owner.
  //
  // Not getpwnam_r: the binding that is filled here must not be used by two threads at once either.
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
