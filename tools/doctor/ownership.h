// Checks which users can change a file: its owner, users with write permission, and users who can
// replace the file or a directory above it. Access control lists are not examined.

#ifndef ZEMO_TOOLS_DOCTOR_OWNERSHIP_H
#define ZEMO_TOOLS_DOCTOR_OWNERSHIP_H

#include <sys/stat.h>

#include <map>
#include <string>

#include "doctor/findings.h"
#include "root/other_root.h"

namespace tool {

enum class Kind { DIRECTORY, FILE };

class Ownership {
 public:
  // Paths are those of `root`, if it is not null.
  explicit Ownership(Findings& findings, const OtherRoot* root = nullptr)
      : _findings(findings), _root(root) {}

  // From now on, only the kinds of files are examined.
  void ignoreOwners() { _judges = false; }

  // Examines the absolute path `path` and every directory and link on the way to it. A file that
  // does not belong to root, or that others can write, is a problem and is reported once. Devices,
  // FIFOs and sockets are exempt, since everybody may write to /dev/null.
  //
  // Returns true if the path leads to a file of this kind. If not, this is a problem with `status`.
  // `fix` creates the missing file; if something else is at `path`, the message first says to
  // remove it. If `fix` is empty, the removal is the whole fix.
  bool look(const std::string& path, Kind kind, ExitStatus status, const std::string& fix);

 private:
  bool lookHere(const std::string& path, Kind kind, ExitStatus status, const std::string& fix);
  bool follow(const std::string& path, Kind kind, std::string& failure, bool& hidden);
  void judge(const std::string& path, const struct stat& status);

  Findings& _findings;
  const OtherRoot* _root;
  bool _judges = true;
  std::map<std::string, bool> _judged;  // by path: true if in order
  bool _allWell = true;                 // on the way being examined
};

// True if this process may read `path` and, if it is a directory, search it.
bool isReadable(const std::string& path);

}  // namespace tool

#endif
