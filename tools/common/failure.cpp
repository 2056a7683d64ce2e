#include "common/failure.h"

#include <cstdio>
#include <system_error>

#include "common/escape.h"

namespace tool {

Failure::Failure(ExitStatus status, const std::string& what)
    : std::runtime_error(what), _status(status) {}

UsageError::UsageError(const std::string& what) : Failure(STATUS_USAGE, what) {}

void say(std::string_view line) {
  std::string text = "zemo-selfcheck: ";
  text += line;
  text += '\n';
  // One call, so that lines of several threads do not mix. Nobody is left to tell of its failure.
  (void)fwrite(text.data(), 1, text.size(), stderr);
}

std::string inQuotes(std::string_view name) {
  return "'" + escaped(name) + "'";
}

std::string withReason(const std::string& what, int error) {
  return what + ": " + std::generic_category().message(error);
}

}  // namespace tool
