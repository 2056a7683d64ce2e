// A package library (libzemopkg.so.1) with answers that tests set.

#ifndef ZEMO_TESTS_SUPPORT_DOUBLES_SCRIPTED_PACKAGE_H
#define ZEMO_TESTS_SUPPORT_DOUBLES_SCRIPTED_PACKAGE_H

#include <zemo/export.h>

#include <map>
#include <string>
#include <vector>

struct ScriptedPackage {
  std::string user;   // what PMSGetPkgUserName returns
  int errorCode = 0;  // the last error code that it leaves if `user` is empty
};

// The installed packages, by name.
ZEMO_EXPORT std::map<std::string, ScriptedPackage>& scriptedPackages();

// The calls that the library has made, such as "PMSCheckPackage demo", oldest first.
ZEMO_EXPORT std::vector<std::string>& packageCalls();

#endif
