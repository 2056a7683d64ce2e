// What `doctor` has to say, written to standard output as it is found.

#ifndef ZEMO_TOOLS_DOCTOR_FINDINGS_H
#define ZEMO_TOOLS_DOCTOR_FINDINGS_H

#include <string>
#include <vector>

#include "run/failure.h"

namespace tool {

// Problems of one kind, of which there may be very many.
class Repeated {
 public:
  // `what` must have its names escaped, as in all functions here.
  void add(const std::string& what);

  std::size_t count() const { return _count; }
  const std::vector<std::string>& first() const { return _first; }  // ten at most

 private:
  std::vector<std::string> _first;
  std::size_t _count = 0;
};

class Findings {
 public:
  explicit Findings(bool verbose) : _verbose(verbose) {}

  // Something is as it should be; written in verbose mode only.
  void well(const std::string& what);

  // Something is not. `fix` is the command or the edit that helps.
  void problem(ExitStatus status, const std::string& what, const std::string& fix);

  // The same for several problems that are fixed alike; with none of them, `otherwise` is well.
  void problems(ExitStatus status, const Repeated& what, const std::string& fix,
                const std::string& otherwise);

  // `path` could not be looked at, of which another check tells.
  void leftOut(const std::string& path) { _leftOut = path; }

  // The same, and `status` is what a problem that has been told comes to for `path`.
  void follows(ExitStatus status, const std::string& path) {
    _status |= status;
    leftOut(path);
  }

  // To be called at the end. If no other check has told of what was left out, it could not be
  // looked at for a moment only, and is not known to be well.
  void settle();

  int status() const { return _status; }
  std::size_t problemCount() const { return _problems; }
  std::size_t wellCount() const { return _well; }

 private:
  bool _verbose;
  int _status = STATUS_INTACT;
  std::size_t _problems = 0;
  std::size_t _well = 0;
  std::string _leftOut;
};

// `name` as one word of a shell's command line that a terminal shows as it is.
std::string shellWord(const std::string& name);

// The library's log lines in `lines`, escaped, as a reason.
std::string reasonFrom(const std::vector<std::string>& lines);

}  // namespace tool

#endif
