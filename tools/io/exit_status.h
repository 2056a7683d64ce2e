// The exit status, the exceptions that end a command, and messages on standard error.

#ifndef ZEMO_TOOLS_IO_EXIT_STATUS_H
#define ZEMO_TOOLS_IO_EXIT_STATUS_H

#include <stdexcept>
#include <string>
#include <string_view>

namespace tool {

// The exit status is a set of these bits; none of them means that everything is in order.
enum ExitStatus : int {
  STATUS_INTACT = 0,
  STATUS_CHANGED = 1,      // something differs
  STATUS_MISSING = 2,      // something is missing
  STATUS_STRAY = 4,        // a directory with fixed members contains a stray member
  STATUS_UNCHECKED = 8,    // something could not be checked, read or written
  STATUS_NOT_LOADED = 16,  // nothing was done, or a set could not be loaded or verified
  STATUS_USAGE = 64,       // the arguments are wrong, and nothing was done
};

// Ends the command with `status` after writing `what` to standard error.
class Failure : public std::runtime_error {
 public:
  // `what` is written unchanged, so names in it must be escaped (see inQuotes() below).
  Failure(ExitStatus status, const std::string& what);

  ExitStatus status() const { return _status; }

 private:
  ExitStatus _status;
};

// Wrong arguments.
class UsageError : public Failure {
 public:
  // `hint`, which follows `reason` in the message, is for somebody who typed the arguments.
  explicit UsageError(const std::string& reason, const std::string& hint = "");

  const std::string& reason() const { return _reason; }

 private:
  std::string _reason;
};

// Writes one line to standard error, after the program's name; in the journal it has the priority
// LOG_ERR. Any thread may call this.
void say(std::string_view line);

// `name` escaped, in single quotes, for a message.
std::string inQuotes(std::string_view name);

// "`what`: the reason", where `error` is an errno value.
std::string withReason(const std::string& what, int error);

}  // namespace tool

#endif
