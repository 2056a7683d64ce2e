#include "models/package.h"

#include <pwd.h>
#include <zemo/package.h>

#include "support/doubles/scripted_package.h"

// NOLINTNEXTLINE(readability-inconsistent-declaration-parameter-name): the system's are reserved
extern "C" passwd* getpwnam(const char* /*name*/) {
  static passwd account;
  account.pw_uid = fuzz::packageUser;
  account.pw_gid = fuzz::packageGroup;
  return &account;
}

namespace fuzz {

void installPackages() {
  scriptedPackages() = {{"demo", {"demo", 0}},
                        {"plain", {"", ZEMO_PACKAGE_NO_USER}},
                        {"broken", {"", ZEMO_PACKAGE_BAD_USER}}};
  packageCalls().clear();
}

int bind(const std::string& package, Binding& binding) {
  constexpr int notInstalled = 113;
  constexpr int noUser = 119;
  if (package == "broken")
    return noUser;
  if (package != "demo" && package != "plain")
    return notInstalled;
  if (package == "demo") {
    binding.uid = packageUser;
    binding.gid = packageGroup;
  }
  binding.directory = "/var/packages/" + package + "/target";
  binding.isSet = true;
  return 0;
}

}  // namespace fuzz
