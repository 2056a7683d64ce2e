// Handling of Ctrl-C and other signals that ask a program to end.

#ifndef ZEMO_TOOLS_RUN_INTERRUPTION_H
#define ZEMO_TOOLS_RUN_INTERRUPTION_H

namespace tool {

// After this call, SIGINT, SIGTERM and SIGHUP no longer end the program but are noted. Signals that
// were ignored at the start stay ignored. Must be called once, after endSoonAfterInterruption() and
// before any thread is started.
void watchForInterruption();

// True if one of these signals was received.
bool interrupted();

// After this call, if the process still exists a second after one of these signals, it ends at once
// with `status`: writing to a pipe that nobody reads could block it forever. The files and
// directories that temporary_path.h knows of are removed. Later calls change the status.
void endSoonAfterInterruption(int status);

}  // namespace tool

#endif
