#include <syslog.h>

#include <cstdarg>

#include "program.h"
#include "run/log_relay.h"

// Replaces the C library's syslog() for all libraries of this process, because LOG_PERROR would
// write names to the terminal unescaped. It is defined here so that other programs that use this
// program's parts can have a syslog() of their own. The system's header gives its parameters
// reserved names. NOLINTNEXTLINE(readability-inconsistent-declaration-parameter-name)
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
