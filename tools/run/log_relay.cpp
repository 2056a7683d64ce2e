#include "run/log_relay.h"

#include <syslog.h>

#include <cstdio>
#include <cstdlib>

#include "io/exit_status.h"
#include "text/escape.h"

namespace tool {
namespace {

thread_local std::vector<std::string>* collected = nullptr;

// Does the same as the C library's syslog(), using its variant with a list of arguments.
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

void relayLogLine(int priority, const char* format, va_list arguments) {
  char* text = nullptr;
  if (vasprintf(&text, format, arguments) < 0) {
    say("out of memory for a log line");
    return;
  }
  relay(text);
  send(priority, "%s", text);
  free(text);
}

}  // namespace tool
