// The system log, recorded: test programs that link this define syslog themselves, and the
// library's lines come here instead of to the log daemon.

#ifndef ZEMO_TESTS_SUPPORT_DOUBLES_RECORDED_LOG_H
#define ZEMO_TESTS_SUPPORT_DOUBLES_RECORDED_LOG_H

#include <iosfwd>
#include <string>
#include <vector>

struct LogLine {
  int priority;
  std::string format;                  // as given to syslog
  std::vector<std::string> arguments;  // the module, the line, and what follows, as text
};
bool operator==(const LogLine& a, const LogLine& b);
std::ostream& operator<<(std::ostream& out, const LogLine& line);

// The line of the library that is logged with these arguments at LOG_ERR. `text` is the format
// behind
// "%s:%d ".
LogLine logged(const std::string& module, int line, const std::string& text);
LogLine logged(const std::string& module, int line, const std::string& text,
               const std::string& argument);

// Forgets what was recorded.
void clearLog();

// What was recorded since the program started or the log was cleared, oldest first.
std::vector<LogLine> recordedLog();

#endif
