// How the program ends, and how its commands say that they cannot go on.

#ifndef ZEMO_TOOLS_RUN_FAILURE_H
#define ZEMO_TOOLS_RUN_FAILURE_H

#include <stdexcept>
#include <string>
#include <string_view>

namespace tool {

// The exit status is a set of these bits; none of them means that all was found as it should be.
enum ExitStatus : int {
  STATUS_INTACT = 0,
  STATUS_CHANGED = 1,      // something differs
  STATUS_MISSING = 2,      // something is missing
  STATUS_STRAY = 4,        // a directory with fixed members holds another one
  STATUS_UNCHECKED = 8,    // something could not be checked, read or written
  STATUS_NOT_LOADED = 16,  // nothing was done, or a set could not be loaded or verified
  STATUS_USAGE = 64,       // the arguments are wrong, and nothing was done
};

// Ends the command with `status`, after `what` has been written to standard error.
class Failure : public std::runtime_error {
 public:
  // `what` is written as it is: names in it must have been escaped (or inQuotes(), below).
  Failure(ExitStatus status, const std::string& what);

  ExitStatus status() const { return _status; }

 private:
  ExitStatus _status;
};

// Wrong arguments.
class UsageError : public Failure {
 public:
  explicit UsageError(const std::string& what);
};

// Writes one line to standard error, after the program's name; for the journal as one of the
// priority LOG_ERR. Any thread may call it.
void say(std::string_view line);

// `name` escaped, in single quotes, for a message.
std::string inQuotes(std::string_view name);

// "`what`: the reason that `error`, an errno value, stands for".
std::string withReason(const std::string& what, int error);

}  // namespace tool

#endif
