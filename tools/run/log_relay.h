// The library's log lines. It gives them to syslog(); this program's syslog() (main.cpp) passes
// them on to the system log and shows them on standard error, too, with their names escaped.

#ifndef ZEMO_TOOLS_RUN_LOG_RELAY_H
#define ZEMO_TOOLS_RUN_LOG_RELAY_H

#include <cstdarg>
#include <string>
#include <vector>

namespace tool {

// While one lives, this thread's log lines are appended to `lines` instead of being shown. The
// system log gets them all the same.
class CollectedLog {
 public:
  explicit CollectedLog(std::vector<std::string>& lines);
  ~CollectedLog();
  CollectedLog(const CollectedLog&) = delete;
  CollectedLog& operator=(const CollectedLog&) = delete;
};

// Names the program to the system log.
void startLogRelay();

// What the program's syslog() does.
[[gnu::format(printf, 2, 0)]] void relayLogLine(int priority, const char* format,
                                                va_list arguments);

}  // namespace tool

#endif
