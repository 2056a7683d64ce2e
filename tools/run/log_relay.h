// The library's log lines. The library passes them to syslog(); this program's syslog() (main.cpp)
// passes them on to the system log and also shows them on standard error, with their names escaped.

#ifndef ZEMO_TOOLS_RUN_LOG_RELAY_H
#define ZEMO_TOOLS_RUN_LOG_RELAY_H

#include <cstdarg>
#include <string>
#include <vector>

namespace tool {

// While such an object exists, this thread's log lines are appended to `lines` instead of being
// shown. They still go to the system log. If `error` is given, it gets the value that errno has at
// the first line.
class CollectedLog {
 public:
  explicit CollectedLog(std::vector<std::string>& lines, int* error = nullptr);
  ~CollectedLog();
  CollectedLog(const CollectedLog&) = delete;
  CollectedLog& operator=(const CollectedLog&) = delete;
};

// From now on, the lines of threads with a CollectedLog go to the system log only when
// sendHeldLog() is called, because such a thread may have another root directory, where /dev/log is
// not the one of this machine.
void holdCollectedLog();

// Passes the held lines on to the system log. The calling thread must have this machine's root.
void sendHeldLog();

// Sets the program's name in the system log.
void startLogRelay();

// Implements the program's syslog().
[[gnu::format(printf, 2, 0)]] void relayLogLine(int priority, const char* format,
                                                va_list arguments);

}  // namespace tool

#endif
