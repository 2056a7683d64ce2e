// The package library (libzemopkg.so.1): what the package manager knows about installed packages.
//
// Packages live below /var/packages. The package NAME is installed when /var/packages/NAME/target
// is a directory; the user account that it runs as is named by the single line of
// /var/packages/NAME/user, and a package without that file has no user of its own. A link to
// nothing is a file that cannot be read.
//
// A package name is taken verbatim and becomes part of these paths: a name with slashes or "..",
// such as a/../b, names whatever directory the path leads to, and an empty name names
// /var/packages/target. Callers that get names from outside have to reject such names themselves.
// Only a name with a NUL in it names no package.
//
// Threads: every function may be called from any thread.

#ifndef ZEMO_PACKAGE_H
#define ZEMO_PACKAGE_H

#include <zemo/export.h>

#include <string>

// Error codes that PMSGetPkgUserName leaves in the core library (VLIBErrGet) with an empty name.
enum : int {
  ZEMO_PACKAGE_NO_USER = 0xD900,   // the package has no user of its own
  ZEMO_PACKAGE_BAD_USER = 0xD901,  // the user file cannot be read or is not one line with one name
};

class ZEMOPackageTool {
 public:
  // Returns true when the package is installed.
  ZEMO_EXPORT static bool PMSCheckPackage(const std::string& name);

  // Returns the name of the user account that the package runs as, without a line end. Returns an
  // empty string, and sets this thread's last error code to one of the values above, when the
  // package has no user of its own or its user file is of no use. Whether the package is installed
  // or the account exists is not examined.
  ZEMO_EXPORT static std::string PMSGetPkgUserName(const std::string& name);
};

#endif
