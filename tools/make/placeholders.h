// The placeholders that a package's list has instead of ids and directories that differ between
// machines.

#ifndef ZEMO_TOOLS_MAKE_PLACEHOLDERS_H
#define ZEMO_TOOLS_MAKE_PLACEHOLDERS_H

#include <sys/types.h>
#include <zemo/selfcheck.h>

#include <cstdint>
#include <string>

#include "root/tree.h"

namespace tool {

class Placeholders {
 public:
  // No placeholders: everything is written unchanged.
  Placeholders() = default;

  // The placeholders of an installed package. Throws Failure(STATUS_NOT_LOADED) if it is not
  // installed or its user is unknown.
  explicit Placeholders(const std::string& package);

  // The same for a package of another root. Binds the library's placeholders to it, for reading
  // lists as those of the system's own set: the library would bind a package's set to the package
  // of this machine.
  Placeholders(const Tree& root, const std::string& package);

  // The line from which the library makes `entry`.
  std::string line(const ZEMO::SELF_CHECK::ProtectedFile& entry) const;

  // `path`, or a link's target, as the list writes it.
  std::string directory(const std::string& path) const;

  // The package's directory; empty if there is none.
  const std::string& packageDirectory() const { return _directory; }

  // True if `path`, or a link's target, cannot be written because a part of it would be treated as
  // a placeholder.
  bool confuses(const std::string& path) const;

 private:
  explicit Placeholders(const ZEMO::SELF_CHECK::PkgInfo& binding);

  std::string id(const std::string& column, uint32_t packageId) const;

  // True if `path` begins with the package's directory.
  bool isInside(const std::string& path) const;

  bool _isSet = false;
  uid_t _user = 0;
  gid_t _group = 0;
  std::string _directory;
};

}  // namespace tool

#endif
