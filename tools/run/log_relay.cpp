#include "run/log_relay.h"

#include <syslog.h>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>

#include "run/failure.h"
#include "text/escape.h"

namespace tool {
namespace {

thread_local std::vector<std::string>* collected = nullptr;

// What the C library's syslog does, by its variant with a list of arguments.
__attribute__((format(printf, 2, 3))) void send(int priority, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  vsyslog(priority, format, arguments);
  va_end(arguments);
}

void relay(const char* text) {
  if (collected != nullptr)
    collected->emplace_back(text);
  else
    say(escaped(text));
}

}  // namespace

CollectedLog::CollectedLog(std::vector<std::string>& lines) {
  collected = &lines;
}

CollectedLog::~CollectedLog() {
  collected = nullptr;
}

void startLogRelay() {
  openlog("zemo-selfcheck", LOG_PID, LOG_USER);
}

}  // namespace tool

// Takes the place of the C library's for all libraries of this process. LOG_PERROR would write
// names to the terminal as they are. The system's header gives its parameters names that are
// reserved. NOLINTNEXTLINE(readability-inconsistent-declaration-parameter-name)
extern "C" __attribute__((visibility("default"), format(printf, 2, 3))) void syslog(
    int priority, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  char* text = nullptr;
  int const length = vasprintf(&text, format, arguments);
  va_end(arguments);
  if (length < 0) {
    tool::say("out of memory for a log line");
    return;
  }
  tool::relay(text);
  tool::send(priority, "%s", text);
  free(text);
}
