// Ctrl-C, and the signals that ask a program to end.

#ifndef ZEMO_TOOLS_COMMON_INTERRUPTION_H
#define ZEMO_TOOLS_COMMON_INTERRUPTION_H

namespace tool {

// From now on SIGINT, SIGTERM and SIGHUP no longer end the program but are noted, and a second one
// ends it. Signals that were ignored at the start stay ignored. To be called once, before any
// thread is started.
void watchForInterruption();

// One of these signals has come.
bool interrupted();

}  // namespace tool

#endif
