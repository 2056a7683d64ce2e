#include "support/doubles/recorded_log.h"

#include <syslog.h>

#include <cstdarg>
#include <mutex>
#include <ostream>

namespace {

std::mutex mutex;
std::vector<LogLine> lines;

// Splits the arguments that the library passes, which are only strings and ints.
std::vector<std::string> argumentsOf(const char* format, va_list values) {
  std::vector<std::string> arguments;
  for (const char* c = format; *c != '\0'; ++c) {
    if (*c != '%')
      continue;
    ++c;
    if (*c == 's')
      arguments.emplace_back(va_arg(values, const char*));
    else if (*c == 'd')
      arguments.push_back(std::to_string(va_arg(values, int)));
    else
      arguments.push_back(std::string("unexpected conversion %") + *c);
  }
  return arguments;
}

}  // namespace

// Weak, so that a test program can define its own.
extern "C" __attribute__((weak)) void syslog(int priority, const char* format, ...) {
  va_list values;
  va_start(values, format);
  LogLine line = {priority, format, argumentsOf(format, values)};
  va_end(values);
  std::lock_guard<std::mutex> const lock(mutex);
  lines.push_back(std::move(line));
}

bool operator==(const LogLine& a, const LogLine& b) {
  return a.priority == b.priority && a.format == b.format && a.arguments == b.arguments;
}

std::ostream& operator<<(std::ostream& out, const LogLine& line) {
  out << line.priority << " \"" << line.format << "\"";
  for (const std::string& argument : line.arguments)
    out << " [" << argument << "]";
  return out;
}

LogLine logged(const std::string& module, int line, const std::string& text) {
  return {LOG_ERR, "%s:%d " + text, {module, std::to_string(line)}};
}

LogLine logged(const std::string& module, int line, const std::string& text,
               const std::string& argument) {
  return {LOG_ERR, "%s:%d " + text, {module, std::to_string(line), argument}};
}

void clearLog() {
  std::lock_guard<std::mutex> const lock(mutex);
  lines.clear();
}

std::vector<LogLine> recordedLog() {
  std::lock_guard<std::mutex> const lock(mutex);
  return lines;
}
