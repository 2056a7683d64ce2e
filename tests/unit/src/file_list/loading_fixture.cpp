#include "loading_fixture.h"

#include <pwd.h>

#include "support/doubles/scripted_package.h"

using namespace ZEMO::SELF_CHECK;

// The password database: every user exists and has these ids.
extern "C" passwd* getpwnam(const char* /*name*/) {
  static passwd account;
  account.pw_uid = 5001;
  account.pw_gid = 5002;
  return &account;
}

void LoadingTest::SetUp() {
  PrivateRootTest::SetUp();
  if (IsSkipped())
    return;
  execCalls.clear();
  execResult = nullptr;
  scriptedPackages().clear();
  packageCalls().clear();
  ProtectedFile::_pkginfo = PkgInfo();
  clearLog();
}
