#include "support/doubles/scripted_package.h"

#include <zemo/core.h>
#include <zemo/package.h>

std::map<std::string, ScriptedPackage>& scriptedPackages() {
  static std::map<std::string, ScriptedPackage> packages;
  return packages;
}

std::vector<std::string>& packageCalls() {
  static std::vector<std::string> calls;
  return calls;
}

bool ZEMOPackageTool::PMSCheckPackage(const std::string& name) {
  packageCalls().push_back("PMSCheckPackage " + name);
  return scriptedPackages().count(name) != 0;
}

std::string ZEMOPackageTool::PMSGetPkgUserName(const std::string& name) {
  packageCalls().push_back("PMSGetPkgUserName " + name);
  const ScriptedPackage& package = scriptedPackages()[name];
  if (package.user.empty())
    VLIBErrSet(package.errorCode);
  return package.user;
}
