// The system log, recorded. Test programs that link this define syslog themselves, so the library's
// lines come here instead of going to the log daemon.

#ifndef ZEMO_TESTS_SUPPORT_DOUBLES_RECORDED_LOG_H
#define ZEMO_TESTS_SUPPORT_DOUBLES_RECORDED_LOG_H

#include <iosfwd>
#include <string>
#include <vector>

struct LogLine {
  int priority;
  std::string format;                  // as given to syslog
  std::vector<std::string> arguments;  // the module, the line and the rest, as text
};
bool operator==(const LogLine& a, const LogLine& b);
std::ostream& operator<<(std::ostream& out, const LogLine& line);

// The library's log line with these arguments, at LOG_ERR. `text` is the format after "%s:%d ".
LogLine logged(const std::string& module, int line, const std::string& text);
LogLine logged(const std::string& module, int line, const std::string& text,
               const std::string& argument);

// Discards the recorded lines.
void clearLog();

// The lines recorded since the program started or the log was cleared, oldest first.
std::vector<LogLine> recordedLog();

#endif
