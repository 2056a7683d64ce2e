#include "run/log_relay.h"

#include <syslog.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <utility>

#include "io/exit_status.h"
#include "text/escape.h"

namespace tool {
namespace {

thread_local std::vector<std::string>* collected = nullptr;
thread_local int* firstError = nullptr;

struct Held {
  std::atomic<bool> wanted{false};
  std::mutex mutex;                                // for the lines
  std::vector<std::pair<int, std::string>> lines;  // with their priorities
};

// Never destroyed: threads that could not be stopped may still log while the process ends.
Held& held() {
  static auto* const kept = new Held;
  return *kept;
}

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

void hold(int priority, const char* text) {
  std::lock_guard<std::mutex> const lock(held().mutex);
  held().lines.emplace_back(priority, text);
}

}  // namespace

CollectedLog::CollectedLog(std::vector<std::string>& lines, int* error) {
  collected = &lines;
  firstError = error;
}

CollectedLog::~CollectedLog() {
  collected = nullptr;
  firstError = nullptr;
}

void holdCollectedLog() {
  held().wanted = true;
}

void sendHeldLog() {
  std::vector<std::pair<int, std::string>> lines;
  {
    std::lock_guard<std::mutex> const lock(held().mutex);
    lines.swap(held().lines);
  }
  for (const auto& [priority, text] : lines)
    send(priority, "%s", text.c_str());
}

void startLogRelay() {
  openlog("zemo-selfcheck", LOG_PID, LOG_USER);
}

void relayLogLine(int priority, const char* format, va_list arguments) {
  if (firstError != nullptr)
    *std::exchange(firstError, nullptr) = errno;
  char* text = nullptr;
  if (vasprintf(&text, format, arguments) < 0) {
    say("out of memory for a log line");
    return;
  }
  relay(text);
  if (collected != nullptr && held().wanted)
    hold(priority, text);
  else
    send(priority, "%s", text);
  free(text);
}

}  // namespace tool
