// The package library (libzemopkg.so.1): queries about installed packages.
//
// Packages are installed below /var/packages. The package NAME is installed if
// /var/packages/NAME/target is a directory. The single line of /var/packages/NAME/user names the
// user account that the package runs as. A package without that file has no user of its own; if the
// file is a dangling symbolic link, it counts as a file that cannot be read.
//
// A package name is taken verbatim and becomes part of these paths: a name with slashes or "..",
// such as a/../b, refers to the directory that the path leads to, and an empty name refers to
// /var/packages/target. Callers that get names from outside must reject such names themselves. A
// name containing a NUL matches no package; no other name is rejected.
//
// Threads: every function may be called from any thread.

#ifndef ZEMO_PACKAGE_H
#define ZEMO_PACKAGE_H

#include <zemo/export.h>

#include <string>

// The last error code (VLIBErrGet()) after PMSGetPkgUserName() has returned an empty name.
enum : int {
  ZEMO_PACKAGE_NO_USER = 0xD900,   // the package has no user of its own
  ZEMO_PACKAGE_BAD_USER = 0xD901,  // the user file is unreadable or not one line with one name
};

class ZEMOPackageTool {
 public:
  // Returns true if the package is installed.
  ZEMO_EXPORT static bool PMSCheckPackage(const std::string& name);

  // Returns the name of the user account that the package runs as, without a line end. Returns an
  // empty string, and sets this thread's last error code to one of the values above, if the package
  // has no user of its own or its user file is unusable. Does not examine whether the package is
  // installed or the account exists.
  ZEMO_EXPORT static std::string PMSGetPkgUserName(const std::string& name);
};

#endif
