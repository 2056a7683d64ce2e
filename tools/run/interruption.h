// Ctrl-C, and the signals that ask a program to end.

#ifndef ZEMO_TOOLS_RUN_INTERRUPTION_H
#define ZEMO_TOOLS_RUN_INTERRUPTION_H

namespace tool {

// From now on SIGINT, SIGTERM and SIGHUP no longer end the program but are noted. Signals that were
// ignored at the start stay ignored. To be called once, after endSoonAfterInterruption() and before
// any thread is started.
void watchForInterruption();

// One of these signals has come.
bool interrupted();

// From now on a process that is still there a second after one of these signals ends with `status`,
// as it is: writing to a pipe that nobody empties would keep it for ever. What temporary_path.h
// knows of is removed. Later calls change the status.
void endSoonAfterInterruption(int status);

}  // namespace tool

#endif
