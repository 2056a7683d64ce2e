#include "program.h"

#include <malloc.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <new>

#include "commands.h"
#include "io/descriptors.h"
#include "io/exit_status.h"
#include "run/interruption.h"
#include "run/log_relay.h"
#include "text/escape.h"

namespace tool {
namespace {

const char* const description =
    "Checks installed files against signed check lists, and makes, signs and explains such lists.";

const char* const overview =
    "Exit status: 0 if all is well, otherwise the sum of 1 (something changed), 2 (something is "
    "missing), 4 (a stray file in a directory with fixed members), 8 (something could not be "
    "checked), 16 (nothing was done, or a set could not be loaded or verified) and 64 (wrong "
    "usage).\n"
    "\n"
    "Examples:\n"
    "  zemo-selfcheck check             check the operating system's own set\n"
    "  zemo-selfcheck doctor            find problems with lists and keys\n"
    "  zemo-selfcheck help make         show how to make a list\n";

int parsedAndRun(int argc, const char* const* argv) {
  Chosen const chosen = allCommands().parse(argc, argv);
  int status = chosen.run();
  try {
    flushOutput();
  } catch (const Failure& failure) {
    say(failure.what());
    status |= failure.status();  // keep the status of what was found
  }
  return status;
}

int runAndReport(int argc, const char* const* argv) {
  try {
    return parsedAndRun(argc, argv);
  } catch (const Failure& failure) {
    say(failure.what());
    return failure.status();
  } catch (const std::bad_alloc&) {
    say("out of memory");
  } catch (const std::exception& error) {
    say(escaped(error.what()));
  }
  return STATUS_NOT_LOADED;
}

}  // namespace

Commands allCommands() {
  Commands commands("zemo-selfcheck", ZEMO_VERSION, description, overview);
  addCheck(commands);
  addFiles(commands);
  addVerify(commands);
  addShow(commands);
  addDiff(commands);
  addDoctor(commands);
  addMake(commands);
  addMerge(commands);
  addSign(commands);
  addInstall(commands);
  addRetire(commands);
  addInitHome(commands);
  addRemoveKey(commands);
  return commands;
}

int runProgram(int argc, const char* const* argv) {
  occupyStandardDescriptors();
  // A caller may have left it ignored, which loses the exit status of the programs that we run.
  (void)std::signal(SIGCHLD, SIG_DFL);
  // All threads share the heap of this one. Others would have heaps that grow by a page at a time,
  // and a set's map, which a thread builds, has thousands of pages.
  (void)mallopt(M_ARENA_MAX, 1);
  startLogRelay();
  int const status = runAndReport(argc, argv);
  if (interrupted()) {
    (void)fflush(stdout);
    _exit(status);  // threads that could not be stopped still need the objects
  }
  return status;
}

}  // namespace tool
