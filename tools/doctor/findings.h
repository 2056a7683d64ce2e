// The findings of `doctor`, written to standard output as they are found, as text or as JSON lines.

#ifndef ZEMO_TOOLS_DOCTOR_FINDINGS_H
#define ZEMO_TOOLS_DOCTOR_FINDINGS_H

#include <optional>
#include <string>
#include <vector>

#include "io/exit_status.h"

namespace tool {

// Problems of one kind; there may be very many.
class Repeated {
 public:
  // Names in `what` must be escaped, as in all functions here.
  void add(const std::string& what);

  std::size_t count() const { return _count; }
  const std::vector<std::string>& first() const { return _first; }  // at most ten

 private:
  std::vector<std::string> _first;
  std::size_t _count = 0;
};

class Findings {
 public:
  explicit Findings(bool verbose, bool json = false) : _verbose(verbose), _json(json) {}

  // Must be called before all others.
  void begin(const std::string& mode, const std::optional<std::string>& root,
             const std::optional<std::string>& lists) const;

  // From now on, findings are about another root, and the lines say so. Fixes are as seen there.
  void lookElsewhere() { _where = " in the other root"; }

  // Something is in order; written only in verbose mode.
  void well(const std::string& what);

  // Something is not in order. `fix` is the command or the edit that fixes it.
  void problem(ExitStatus status, const std::string& what, const std::string& fix);

  // The same for several problems with the same fix; if there are none, reports `otherwise` as in
  // order.
  void problems(ExitStatus status, const Repeated& what, const std::string& fix,
                const std::string& otherwise);

  // Everything is in order, but could be better; does not change the exit status.
  void hint(const std::string& what, const std::string& how);

  // `path` could not be examined; another check reports this.
  void leftOut(const std::string& path) { _leftOut = path; }

  // The same; for `path`, an already reported problem counts as `status`.
  void follows(ExitStatus status, const std::string& path) {
    _status |= status;
    leftOut(path);
  }

  // Must be called at the end. If no other check has reported a path that was left out, the path
  // was only briefly inaccessible and is not known to be in order.
  void settle();

  // Writes the numbers, for this many sets.
  void summarize(std::size_t sets) const;

  int status() const { return _status; }
  std::size_t problemCount() const { return _problems; }

 private:
  // One record for `count` findings, of which `what` has the first.
  void write(const char* kind, const std::vector<std::string>& what, std::size_t count,
             const std::string& fix, int status) const;

  bool _verbose;
  bool _json;
  std::string _where;
  int _status = STATUS_INTACT;
  std::size_t _problems = 0;
  std::size_t _well = 0;
  std::string _leftOut;
};

// `name` as one word of a shell command line, which a terminal can display safely.
std::string shellWord(const std::string& name);

// The library's log lines in `lines`, escaped, for use as a reason.
std::string reasonFrom(const std::vector<std::string>& lines);

}  // namespace tool

#endif
