#include <syslog.h>

#include <cstdarg>

#include "program.h"
#include "run/log_relay.h"

// Takes the place of the C library's for all libraries of this process. LOG_PERROR would write
// names to the terminal as they are. It stands here, so that other programs that are made of this
// one's parts have a syslog() of their own. The system's header gives its parameters names that are
// reserved. NOLINTNEXTLINE(readability-inconsistent-declaration-parameter-name)
extern "C" __attribute__((visibility("default"), format(printf, 2, 3))) void syslog(
    int priority, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  tool::relayLogLine(priority, format, arguments);
  va_end(arguments);
}

int main(int argc, char** argv) {
  return tool::runProgram(argc, argv);
}
