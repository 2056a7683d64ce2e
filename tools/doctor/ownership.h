// Who can change a file: its owner, those whom its permission lets write, and those who can replace
// it or a directory above it. Access control lists are not looked at.

#ifndef ZEMO_TOOLS_DOCTOR_OWNERSHIP_H
#define ZEMO_TOOLS_DOCTOR_OWNERSHIP_H

#include <sys/stat.h>

#include <map>
#include <string>

#include "doctor/findings.h"

namespace tool {

enum class Kind { DIRECTORY, FILE };

class Ownership {
 public:
  explicit Ownership(Findings& findings) : _findings(findings) {}

  // Looks at `path`, an absolute one, and at every directory and link on the way to it. What is
  // not root's, or others may write to, is a problem, told once however often it is met; devices,
  // FIFOs and sockets are not looked at for that, since /dev/null is to be written by everybody.
  //
  // Returns true when the path leads to something of this kind. If not, that is a problem of
  // `status`. `fix` makes what does not exist; of what is at `path` in its place, the fix says
  // first that it has to be removed. If it is empty, that is all.
  bool look(const std::string& path, Kind kind, ExitStatus status, const std::string& fix);

 private:
  bool follow(const std::string& path, Kind kind, std::string& failure, bool& hidden);
  void judge(const std::string& path, const struct stat& status);

  Findings& _findings;
  std::map<std::string, bool> _judged;  // by path, whether it is well
  bool _allWell = true;                 // on the way that is being looked at
};

// True when this process may read `path`, and, if it is a directory, look into it.
bool isReadable(const std::string& path);

}  // namespace tool

#endif
