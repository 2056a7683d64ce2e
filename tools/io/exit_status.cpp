#include "io/exit_status.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <system_error>

#include "text/escape.h"

namespace tool {
namespace {

// In JOURNAL_STREAM, systemd says which file the journal reads from. A program that inherits the
// variable may have a different standard error.
bool journalReadsErrors() {
  const char* const stream = getenv("JOURNAL_STREAM");
  struct stat status = {};
  return stream != nullptr && fstat(STDERR_FILENO, &status) == 0 &&
         stream == std::to_string(status.st_dev) + ":" + std::to_string(status.st_ino);
}

}  // namespace

Failure::Failure(ExitStatus status, const std::string& what)
    : std::runtime_error(what), _status(status) {}

UsageError::UsageError(const std::string& reason, const std::string& hint)
    : Failure(STATUS_USAGE, reason + hint), _reason(reason) {}

void say(std::string_view line) {
  static bool const marked = journalReadsErrors();
  std::string text = marked ? "<3>zemo-selfcheck: " : "zemo-selfcheck: ";
  text += line;
  text += '\n';
  // One call, so that lines of different threads do not mix. A failure cannot be reported anywhere.
  (void)fwrite(text.data(), 1, text.size(), stderr);
}

std::string inQuotes(std::string_view name) {
  return "'" + escaped(name) + "'";
}

std::string withReason(const std::string& what, int error) {
  return what + ": " + std::generic_category().message(error);
}

}  // namespace tool
